#pragma once

// The record filter of the window's search field, kept fast for typing: the searched fields of
// every record are folded once into one prepared text, and a keystroke that only adds to the
// search text looks again at the records the previous one kept, nothing else.
//
// The index follows the content by identity: a record added, removed or moved is seen at the
// next pass and the index made again. A record changed in place cannot be seen that way, so
// whoever changes one says so with invalidate(); the category names are read at every pass, so
// a renamed category needs nothing.

#include "RecordSearch.h"

#include "foundation/Value.h"

#include <QString>

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace qv {

class RecordSearchIndex {
public:
    // Forgets the prepared text and the last result: the next pass folds the records again.
    void invalidate();

    // The positions, in ascending order, of the records of `content` that pass the test of
    // RecordSearch::recordPasses with this category name and search text.
    std::vector<qsizetype> filter(const Array& content, const QString& categoryString, const QString& searchString);

    // For tests and benchmarks: whether the index is made, and how many times it was made.
    bool isBuilt() const { return built_; }
    int builds() const { return builds_; }

    // Where one record's folded text is, in its part's narrow or wide text.
    struct Entry {
        qsizetype start;
        qsizetype length;
        std::uint32_t category;  // into categories_; 0: the record has no category dictionary
        bool wide;
    };
    // What one of the two threads of a build made, for the first records or the others. Its
    // text is every record's searched fields, folded, each followed by a separator: in eight
    // bits a unit when all of a record's fit, else in sixteen. Cleared, not freed, by
    // invalidate(), so that the next build reuses the memory.
    struct Part {
        std::vector<Entry> entries;
        std::vector<char> narrow;
        std::vector<char16_t> wide;
        std::vector<Value> categories;  // slot 0: none
        std::unordered_map<const void*, std::uint32_t> slots;
    };

private:
    bool followsContent(const Array& content) const;
    void build(const Array& content);
    // The candidates (all records when null) that pass, looked up in the index.
    std::vector<qsizetype> searchIndex(const QString& categoryString, const QString& needle,
                                       const std::vector<qsizetype>* candidates) const;
    // The same by reading the records themselves, for a search text the index cannot hold.
    static std::vector<qsizetype> searchRecords(const Array& content, const QString& categoryString,
                                                const QString& searchString, const std::vector<qsizetype>* candidates);

    bool built_ = false;
    int builds_ = 0;
    std::vector<Value> records_;  // held, so that an identity seen here is never reused meanwhile
    Part parts_[2];
    size_t split_ = 0;               // the first record of the second part
    std::vector<Value> categories_;  // both parts' categories, in the first part's numbering

    // The last pass, which a longer search text narrows.
    bool haveLast_ = false;
    QString lastNeedle_, lastCategory_;
    std::vector<qsizetype> lastResult_;
};

}  // namespace qv
