#pragma once

// Keyed archives: the published layout that documents and their members are stored in.
//
// The top of the archive is a dictionary with "$version" 100000, "$archiver" "NSKeyedArchiver",
// "$top" {"root": UID} and "$objects", whose element 0 is "$null". Strings, numbers and data
// stand in "$objects" as they are; dictionaries, arrays, dates, mutable strings and data, and
// rectangles are objects with a "$class" pointing at a class record.
//
// Only the classes real documents hold are understood: mutable and immutable dictionary,
// array, string and data, number, date and the rectangle value. Anything else, a loop of
// references, a reference past the end or a wrong type where a class expects another is refused
// with a message.

#include "Result.h"
#include "Value.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <utility>
#include <vector>

namespace qv {

namespace archive {
inline constexpr int kVersion = 100000;
inline constexpr char kArchiverName[] = "NSKeyedArchiver";
}  // namespace archive

class KeyedArchiver {
public:
    // Dictionaries and arrays are written under their mutable class names unless they were read
    // as immutable; strings and data marked as mutable get their mutable object form.
    // Fails only for a value that contains itself or is nested too deeply.
    static Result<QByteArray> archivedDataWithRootObject(const Value& root);

    // Saving writes every record as a copy with a few keys changed. Instead of making a hundred
    // thousand copies first, the archiver asks the rewrite for each dictionary of the array what
    // its copy would hold (keys from the interned pool, in order) and writes that. It reads back
    // as a new mutable array of such copies would.
    // The entries point at values rather than holding copies (a copy of every string of every
    // record cost a count up and down on each); what they point at must stay as it is until
    // the rewrite is asked for the next element. A value made for the copy goes in `extra`.
    // A large array is written by two threads at once, so the rewrite is called from both and
    // must only read what it is given.
    using ElementRewrite =
        std::function<void(const Dictionary& element, std::vector<std::pair<const QString*, const Value*>>& entries,
                           Value& extra)>;
    static Result<QByteArray> archivedArrayWithRewrittenElements(const Array& root, const ElementRewrite& rewrite);
};

class KeyedUnarchiver {
public:
    // The root object; an absent value when the root is the archive's null. A failure with a
    // message when the data is not a keyed archive or is damaged.
    static Result<Value> unarchiveObjectWithData(const QByteArray& data);
    // Whether unarchiveObjectWithData would succeed, with the same failure when not: every object
    // is decoded the same way, but no element of an array is kept, so a document's records are
    // checked one after another in the memory of one.
    static Status<> checkArchive(const QByteArray& data);
};

}  // namespace qv
