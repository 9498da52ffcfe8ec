// Text files to import, from untrusted bytes: the reader in every encoding code, the dialect
// detection, the tab and quoted splitters, the mapping tools and the making of records.
// The first byte picks the encoding code, the second the file format and the mapping.
//
// What must hold: the grid has no more columns than the mapping knows of, and the import makes
// one record per row it was given, less the first when that row names the columns.
#include "document/RecordModel.h"
#include "importexport/ZKDataImportManager.h"
#include "importexport/ZKSmartStringFileReader.h"

#include "FuzzImport.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace qv;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const int code = fuzz::kImportEncodingCodes[data[0] % std::size(fuzz::kImportEncodingCodes)];
    const int format = data[1] & 3;
    const int mapping = (data[1] >> 2) & 3;
    const QByteArray bytes(reinterpret_cast<const char*>(data) + 2, qsizetype(size - 2));

    auto text = ZKSmartStringFileReader::autoReadFromData(bytes, code);
    if (!text) return 0;
    Array records;
    MyDataImportManager import(records, RecordModel::keyArray());
    import.now = [] { return 1000.0; };
    import.loadDataFromText(*text, format);
    for (const QStringList& row : import.grid())
        if (row.size() > import.numOfMaxFieldInImportedData) std::abort();
    fuzz::mapAndImportOneRecordPerRow(import, records, mapping);
    return 0;
}
