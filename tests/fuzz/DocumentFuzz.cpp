// Whole documents from untrusted bytes, opened with a known password: the container, the
// current generation's members and every old generation's field-by-field branch.
//
// Random bytes almost never survive a decryption, so most inputs are a plain template instead:
// a keyed archive shaped like a document whose enciphered places hold plain bytes. The target
// enciphers them with the password first (members with the current engine, old fields with the
// old one), so the fuzzer reaches what lies behind the cipher. The first byte chooses: even, the
// rest is a file as it stands; odd, a template.
//
// What must hold: reading ends in a document or a refusal; a document that opens saves, and
// the saved bytes open again with the same password and the same number of records.
#include "FuzzDocuments.h"

#include "browsing/DocumentBrowser.h"
#include "document/LegacyMigration.h"
#include "document/MyDocument.h"
#include "foundation/KeyedArchive.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace qv;

namespace {

struct Opened {
    bool read = false;
    bool decrypted = false;
    qsizetype records = 0;
    std::optional<QByteArray> saved;
};

Opened openAndSave(const QByteArray& bytes) {
    Opened o;
    MyDocument doc;
    const MyDocument::ReadStatus read = doc.read(bytes);
    if (!read) {
        if (read.message().isEmpty()) std::abort();  // a refusal always says why
        return o;
    }
    o.read = true;
    DocumentBrowser browser(doc);
    doc.plainPassword = fuzzdoc::kPassword;
    if (doc.Decript() != 0) return o;
    doc.decryptDone();
    o.decrypted = true;
    o.records = doc.myArray.count();
    o.saved = doc.dataOfType(QStringLiteral("qvane"));
    return o;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) return 0;
    QByteArray bytes(reinterpret_cast<const char*>(data) + 1, qsizetype(size - 1));
    if (data[0] & 1) {
        const auto sealed = fuzzdoc::sealTemplate(bytes);
        if (!sealed) return 0;
        bytes = *sealed;
    }
    const Opened first = openAndSave(bytes);
    if (!first.decrypted) return 0;
    if (!first.saved) std::abort();  // an open document can always be saved
    const Opened again = openAndSave(*first.saved);
    if (!again.decrypted || again.records != first.records) std::abort();
    return 0;
}
