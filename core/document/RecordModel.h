#pragma once

// The shapes a document holds: new records, categories, e-mail entries, colour dictionaries and
// the two key arrays that map column titles to record keys.

#include "foundation/Value.h"

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

}  // namespace RecordModel

}  // namespace qv
