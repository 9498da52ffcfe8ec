// Import from a file's bytes, the way `qvane import` and the window read one: the bytes are
// written to a file and go through loadDataFromFile (the reader's whole-file paths, its marks and
// guesses included), then the mapping and the making of records. The first byte picks the
// encoding code, the second the file format and the mapping.
//
// What must hold: no field holds a lone surrogate, the grid fits the mapping, and the import makes
// one record per row.
#include "document/RecordModel.h"
#include "foundation/UnicodeText.h"
#include "importexport/ZKDataImportManager.h"
#include "importexport/ZKSmartStringFileReader.h"

#include "FuzzImport.h"

#include <QDir>
#include <QFile>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include <unistd.h>

using namespace qv;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    static const QString path = QDir::temp().filePath(QStringLiteral("qv-import-fuzz-%1.txt").arg(::getpid()));
    const int code = fuzz::kImportEncodingCodes[data[0] % std::size(fuzz::kImportEncodingCodes)];
    const int format = data[1] & 3;
    const int mapping = (data[1] >> 2) & 3;
    {
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate)) std::abort();
        f.write(reinterpret_cast<const char*>(data) + 2, qint64(size - 2));
    }
    Array records;
    MyDataImportManager import(records, RecordModel::keyArray());
    import.now = [] { return 1000.0; };
    import.loadDataFromFile(path, format, code);
    for (const QStringList& row : import.grid()) {
        if (row.size() > import.numOfMaxFieldInImportedData) std::abort();
        for (const QString& field : row)
            if (hasLoneSurrogate(field)) std::abort();
    }
    fuzz::mapAndImportOneRecordPerRow(import, records, mapping);
    return 0;
}
