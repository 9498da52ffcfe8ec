// Other password managers' files, from untrusted bytes: every reader (the first byte picks the
// format, or auto), the KeePass database header and key derivation parameters, and the XML reader
// with an inner stream. Whatever was read, written out again in each export format and read back,
// gives the same entries.
//
// What must hold: no crash, no hang; a reader's count is the number of entries it handed over;
// an export of what was read reads back to the same fields.
#include "document/DocumentKeys.h"
#include "importexport/ForeignExport.h"
#include "importexport/ForeignImport.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace qv;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) return 0;
    QStringList formats = ForeignImport::formatNames();
    formats << QStringLiteral("auto");
    const QString format = formats[data[0] % formats.size()];
    const QByteArray bytes(reinterpret_cast<const char*>(data) + 1, qsizetype(size - 1));

    std::vector<ForeignEntry> entries;
    auto keep = [&entries](ForeignEntry&& e) { entries.push_back(std::move(e)); };
    const ForeignImport::Read r = data[0] >= 0xF0
        // The database's XML with a stream that flips every bit: protected values are read too.
        ? ForeignImport::readKeePassXml(bytes, keep, [](const QByteArray& b) {
              QByteArray out = b;
              for (char& c : out) c = char(~c);
              return out;
          })
        : ForeignImport::read(format, bytes, QStringLiteral("x"), keep);
    if (r && *r != qsizetype(entries.size())) std::abort();
    if (!r && r.message().isEmpty()) std::abort();
    if (!r || entries.empty()) return 0;

    ForeignRecordMaker maker([] { return 1000.0; });
    for (ForeignEntry& e : entries) maker.add(std::move(e));
    Array records;
    for (const Dictionary& d : maker.records()) records.append(Value(d.shallowCopy()));
    for (const QString& out : ForeignExport::formatNames()) {
        std::vector<ForeignEntry> back;
        const auto again = ForeignImport::read(out, ForeignExport::exportBytes(out, records), {},
                                               [&back](ForeignEntry&& e) { back.push_back(std::move(e)); });
        if (!again || qsizetype(back.size()) != records.count()) std::abort();
        for (qsizetype i = 0; i < records.count(); ++i) {
            const Dictionary rec = records.at(i).toDictionary();
            if (back[size_t(i)].password != rec.value(keys::password).toString() ||
                back[size_t(i)].notes != rec.value(keys::note).toString())
                std::abort();
        }
    }
    return 0;
}
