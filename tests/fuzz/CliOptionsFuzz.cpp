// The --map option of `qvane import` and the --tags option of `qvane export`, as typed on a
// command line: the option's text against a small file's columns, then the import or the export
// it leads to. The first byte picks the option; the rest is the option's text, then after a zero
// byte the file's text.
//
// What must hold: a mapping that is refused changes nothing, one that is taken imports one
// record per row, and export tags never stop the export.
#include "DocumentVerbs.h"

#include "document/RecordModel.h"
#include "importexport/ZKDataExportManager.h"
#include "importexport/ZKDataImportManager.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace qv;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) return 0;
    const QByteArray bytes(reinterpret_cast<const char*>(data) + 1, qsizetype(size - 1));
    const qsizetype cut = bytes.indexOf('\0');
    const QString option = QString::fromUtf8(cut < 0 ? bytes : bytes.left(cut));
    const QString file = cut < 0 ? QStringLiteral("Home,alpha,secret\nWork,beta,\n") : QString::fromUtf8(bytes.mid(cut + 1));

    if (data[0] & 1) {
        Array records;
        MyDataImportManager import(records, RecordModel::keyArray());
        import.now = [] { return 1000.0; };
        import.loadDataFromText(file, 2);
        import.ImportSettings();
        const QString error = cli::applyImportMap(import, RecordModel::keyArray(), option);
        if (!error.isEmpty()) return 0;
        qsizetype rows = 0;
        for (const QStringList& row : import.grid()) rows += row.isEmpty() ? 0 : 1;
        if (import.doNotImportFirstRecord && !import.grid().empty() && !import.grid().front().isEmpty()) --rows;
        import.DoImport();
        if (records.count() != rows) std::abort();
        return 0;
    }
    Array records;
    for (int i = 0; i < 3; ++i) {
        Dictionary r = RecordModel::newRecord(1000.0);
        r.set(QStringLiteral("name"), Value(file.left(40)));
        records.append(Value(r));
    }
    ZKDataExportManager exporter(records, RecordModel::keyArray());
    exporter.fileFormatToSave = 0;
    for (qsizetype i = 0; i < 3; ++i) exporter.addSelectedToRight({i});
    const QString error = cli::applyExportTags(exporter, option);
    if (!error.isEmpty()) return 0;
    exporter.exportText();
    return 0;
}
