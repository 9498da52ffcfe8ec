#pragma once

// The record test of the filter and the comparisons of sorting.
//
// Search is one substring, case ignored (fully folded, so "ß" is "ss"), accents significant,
// canonically equivalent spellings equal; only name, url, account, note, userID and email are
// looked at. Sorting compares text by code units, by the user's locale, or by the locale ignoring
// case (the preference tableSortCompare), and everything else by value.

#include "foundation/Value.h"

#include <QString>

#include <functional>
#include <memory>

namespace qv {

class RecordSearch {
public:
    // Prepares `searchString` once for many records.
    explicit RecordSearch(const QString& searchString);
    bool isEmpty() const { return needle_.isEmpty(); }
    // The search string as it is compared: fold()ed.
    const QString& foldedNeedle() const { return needle_; }
    // Whether the text contains the search string, by the rules above.
    bool matches(const QString& text) const;
    // The whole record test: category name equality (exact), then the six fields.
    static bool recordPasses(const Dictionary& record, const QString& categoryString, const RecordSearch& search);

    // The form both sides are compared in: composed, case folded.
    static QString fold(const QString& s);

private:
    QString needle_;
    bool needleIsAscii_ = false;
};

// The sentence of the filter strip: " category = 'X' and search string = 'Y'".
QString filterSentence(const QString& categoryString, const QString& searchString);

enum class TextComparison { Compare = 0, LocalizedCompare = 1, LocalizedCaseInsensitiveCompare = 2 };
// 0 and 1 select themselves; any other value the case-insensitive localized comparison.
TextComparison textComparisonForPreference(std::int64_t tableSortCompare);

// A comparator of two values by the column table: text columns with the chosen comparison, the
// other columns always by plain comparison. Missing values come first.
using ValueComparator = std::function<int(const Value&, const Value&)>;
ValueComparator makeValueComparator(TextComparison comparison);
// The same order as a key per value: text becomes its collation key (data), compared by bytes
// with compareValues; other values stay as they are.
std::function<Value(const Value&)> makeSortKey(TextComparison comparison);
int compareValues(const Value& a, const Value& b);  // plain comparison ("compare:")

// The sort key path and comparator of a column identifier.
struct ColumnSort {
    QString keyPath;
    bool usesPreferredComparison;
};
ColumnSort columnSortFor(const QString& identifier);
// The sort a click on a column's header applies, the column's prototype: as above, except that
// the three bookkeeping columns sort by the keys their records hold (creationDate for
// "createdDate"), so that a click on Created does sort.
ColumnSort columnPrototypeFor(const QString& identifier);

}  // namespace qv
