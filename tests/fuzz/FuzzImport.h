#pragma once

// What the two import targets share: the encoding codes a first byte picks from, and the mapping
// and import with the check that one record is made per row given (less a first row of titles).

#include "importexport/ZKDataImportManager.h"
#include "importexport/ZKSmartStringFileReader.h"

#include <cstdlib>

namespace qv::fuzz {

inline constexpr int kImportEncodingCodes[] = {
    ZKSmartStringFileReader::Automatic, ZKSmartStringFileReader::UTF8,    ZKSmartStringFileReader::UTF16,
    ZKSmartStringFileReader::UTF16BE,   ZKSmartStringFileReader::UTF16LE, ZKSmartStringFileReader::UTF32,
    ZKSmartStringFileReader::UTF32BE,   ZKSmartStringFileReader::UTF32LE, ZKSmartStringFileReader::MacOSRoman,
    ZKSmartStringFileReader::ASCII};

// `mapping` 0 to 3 picks one of the sheet's ways of assigning columns.
inline void mapAndImportOneRecordPerRow(MyDataImportManager& import, const Array& records, int mapping) {
    if (std::int64_t(import.destFieldArray().size()) != import.numOfMaxFieldInImportedData) std::abort();
    import.ImportSettings();
    switch (mapping) {
    case 0: import.AssignCascadeImportFields(); break;
    case 1: import.tryAssignFromFirstRow(); break;
    case 2: import.AllImportFieldsToCreateNewColumn(); break;
    default: import.destinationSelected(0, 5); break;
    }
    import.showNextRecord();
    import.showPrevRecord();
    qsizetype rows = 0;
    for (const QStringList& row : import.grid()) rows += row.isEmpty() ? 0 : 1;
    if (import.doNotImportFirstRecord && !import.grid().empty() && !import.grid().front().isEmpty()) --rows;
    import.DoImport();
    if (records.count() != rows) std::abort();
}

}  // namespace qv::fuzz
