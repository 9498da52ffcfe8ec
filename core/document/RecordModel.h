#pragma once

// The shapes a document holds: new records, categories, e-mail entries, colour dictionaries and
// the two key arrays that map column titles to record keys.

#include "foundation/Value.h"

#include <cstdint>
#include <functional>

namespace qv {

// Now, in seconds since 2001-01-01, the unit of every date in a document.
double nowSince2001();

struct RgbaColor {
    double r = 0, g = 0, b = 0, a = 1;
};

class ZKColorUtilOSX {
public:
    // Components stored as doubles.
    static Dictionary dictFromNSColor(const RgbaColor& color);
    // Each component read as a 32-bit float, as the original reads them.
    static RgbaColor NSColorFromDict(const Dictionary& dict);
};

namespace RecordModel {

// A record with the keys in the order the record list controller builds them; the category is
// set by the caller (it is the list controller's choice).
Dictionary newRecord(double now);
// A category with the given title and id, grey background and white text, no records.
Dictionary newCategory(const QString& title, std::int64_t uniqueID);
Dictionary newEmailEntry(double now);
// All keys of the record, new dates, and no usageCount at all.
Dictionary duplicateRecord(const Dictionary& record, double now);

// Ten dictionaries of publicKey (the column title) and innerKey (a key path on a record).
Array keyArray();

// ---- Categories and their records ----
// The list controllers and an old file's conversion both build the tables with these, so that
// categories are numbered, records counted and a record without a category placed alike.

// The lowest id from 1 that no category of `categories` has.
std::int64_t unusedCategoryID(const Array& categories);
// `title` when no category has it, else the first free "title N"; past 31999 the last one tried,
// even though it is in use.
QString unusedCategoryTitle(const Array& categories, const QString& title);
// The first category with exactly this title, or nothing.
Value categoryWithTitle(const Array& categories, const QString& title);
// The category a new record gets when nothing chose one: that of `lastRecord` (the record added
// or selected last), or the last category when there is no such record.
Value categoryForNewRecord(const Array& categories, const Value& lastRecord);
// Takes `record` out of its category's list, when that category is among `categories` (by
// value): every equal entry goes, as a removal by value does, and the count follows.
void removeFromCategory(const Array& categories, const Value& record);
// Points `record` at `category` and adds it to the category's list, the count following; false,
// and nothing changed, when it is there already. It leaves its former category first (see
// removeFromCategory). No category: `fallback` chooses one, after the record has left its own.
bool assignCategory(const Array& categories, const Value& category, const Value& record,
                    const std::function<Value()>& fallback);

}  // namespace RecordModel

}  // namespace qv
