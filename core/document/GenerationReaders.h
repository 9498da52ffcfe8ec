#pragma once

// A document's container is laid out by the generation that wrote it. One reader per family of
// generations takes the members into the document, still enciphered: the current format (members
// enciphered whole, the window's layout in a block of its own) and the old field-by-field files,
// whose four layouts add to one another from the plainest (records only) to the widest. The
// entry point picks the reader by the number the file carries.

#include <cstdint>

namespace qv {

class Dictionary;
class MyDocument;

namespace GenerationReaders {

enum class Family {
    Current,         // 30000, 40000 and the generation written today
    Wide,            // 2500 to 21207 (as listed): five column widths, two of them the wide ones
    Narrow,          // 2400: three column widths and two more, the window's frame, categories
    Framed,          // 2100 to 2300: the window's frame, categories
    WithCategories,  // 2000 to 2020: categories and records
    RecordsOnly,     // 1000, and every number that no release wrote: records alone
};

Family familyOf(std::uint64_t generation);

// Takes the members of `root` into `doc` with the reader of `generation`'s family. Nothing is
// checked here: what a member holds is found out when the password deciphers it.
void read(MyDocument& doc, const Dictionary& root, std::uint64_t generation);

}  // namespace GenerationReaders

}  // namespace qv
