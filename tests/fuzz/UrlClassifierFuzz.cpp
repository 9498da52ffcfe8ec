// A record's URL field and credentials, from untrusted bytes: the classification of the text
// (web, FTP with credentials, mail, feed, file, the default scheme's second try), the e-mail and
// domain validators, and the URL shown with credentials. The input is the URL, the user and the
// password, cut at the first two zero bytes; the first byte says which files exist.
//
// What must hold: at most two tries reach the desktop (the text, then with the default scheme),
// and only an FTP address ever carries the credentials.
#include "shell/ZKUrlResolutor.h"

#include <QByteArrayList>
#include <QStringList>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace qv;

namespace {

class Handed final : public Workspace {
public:
    QStringList urls, files;
    bool answer = true;
    bool openUrl(const QString& url) override {
        urls << url;
        return answer;
    }
    bool openFile(const QString& path) override {
        files << path;
        return answer;
    }
    bool revealFile(const QString&) override { return false; }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) return 0;
    const std::uint8_t flags = data[0];
    const QByteArray bytes(reinterpret_cast<const char*>(data) + 1, qsizetype(size - 1));
    const QList<QByteArray> parts = bytes.split('\0');
    auto part = [&](qsizetype i) -> ZKUrlResolutor::Text {
        if (i >= parts.size()) return std::nullopt;  // an absent field
        return QString::fromUtf8(parts[i]);
    };
    const auto url = part(0), user = part(1), password = part(2);

    Handed workspace;
    workspace.answer = flags & 1;
    ZKUrlResolutor resolutor(workspace, [flags](const QString& path) { return (flags & 2) && !path.isEmpty(); });
    if (flags & 4) resolutor.setDefaultProtocolType(QStringLiteral("https://"));
    resolutor.openUrl(url, user, password);
    if (workspace.urls.size() + workspace.files.size() > 2) std::abort();

    const QString u = user.value_or(QString()), p = password.value_or(QString());
    if (!u.isEmpty() && !p.isEmpty()) {
        // Outside FTP the credentials are never handed on: whatever went out holding them must
        // also go out for the same address without any (the text itself may hold them, or hold
        // them by chance, as "mailto:" does for the user "o" and the password "p...").
        Handed bare;
        bare.answer = workspace.answer;
        ZKUrlResolutor plain(bare, [flags](const QString& path) { return (flags & 2) && !path.isEmpty(); });
        if (flags & 4) plain.setDefaultProtocolType(QStringLiteral("https://"));
        plain.openUrl(url, QString(), QString());
        const QString credentials = u + QLatin1Char(':') + p + QLatin1Char('@');
        for (const QString& handed : workspace.urls)
            if (handed.contains(credentials) && !handed.startsWith(QLatin1String("ftp://")) && !bare.urls.contains(handed))
                std::abort();
    }
    const auto shown = resolutor.smartUrl(url, user, password, flags & 8);
    if (shown.has_value() != url.has_value()) std::abort();

    if (url) {
        ZKNetValidator::isValidEmail(*url);
        ZKNetValidator::isValidEmailAlsoMultiple(*url);
        ZKNetValidator::isValidDomain(*url);
        ZKNetValidator::isNumericDomain(*url);
    }
    return 0;
}
