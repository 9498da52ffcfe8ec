#include "ZKUrlResolutor.h"

#include <QFileInfo>
#include <QRegularExpression>

namespace qv {

QString trimSpaces(const QString& s) {
    qsizetype a = 0, b = s.size();
    while (a < b && s[a] == QLatin1Char(' ')) ++a;
    while (b > a && s[b - 1] == QLatin1Char(' ')) --b;
    return s.mid(a, b - a);
}

namespace {

// The whole text must match, as the original's predicates require.
bool matchesWhole(const QString& pattern, const QString& text) {
    const QRegularExpression re(QRegularExpression::anchoredPattern(pattern));
    return re.match(text).hasMatch();
}

const QString kEmail = QStringLiteral("[A-Z0-9a-z._%+-]+@[A-Za-z0-9.-]+\\.[A-Za-z]{2,6}");
const QString kDomain = QStringLiteral("^(?:[a-zA-Z0-9]+(?:\\-*[a-zA-Z0-9])*\\.)+[a-zA-Z]{2,6}$");
const QString kNumericDomain = QStringLiteral(
    "^(([0-2]*[0-9]+[0-9]+)\\.([0-2]*[0-9]+[0-9]+)\\.([0-2]*[0-9]+[0-9]+)\\.([0-2]*[0-9]+[0-9]+))$");

}  // namespace

bool ZKNetValidator::isValidEmail(const QString& text) { return matchesWhole(kEmail, trimSpaces(text)); }
bool ZKNetValidator::isValidDomain(const QString& text) { return matchesWhole(kDomain, trimSpaces(text)); }
bool ZKNetValidator::isNumericDomain(const QString& text) { return matchesWhole(kNumericDomain, trimSpaces(text)); }

bool ZKNetValidator::isValidEmailAlsoMultiple(const QString& text) {
    for (const QString& piece : trimSpaces(text).split(QLatin1Char(','))) {
        const QString p = trimSpaces(piece);
        if (!p.isEmpty() && !matchesWhole(kEmail, p)) return false;
    }
    return true;
}

ZKUrlResolutor::ZKUrlResolutor(Workspace& workspace, std::function<bool(const QString&)> fileExists)
    : workspace_(workspace), fileExists_(std::move(fileExists)) {
    if (!fileExists_) fileExists_ = [](const QString& path) { return QFileInfo::exists(path); };
}

bool ZKUrlResolutor::openUrl(const Text& url) { return openUrl(url, QString(), QString()); }
bool ZKUrlResolutor::openUrl(const Text& url, const Text& user) { return openUrl(url, user, QString()); }

bool ZKUrlResolutor::openUrl(const Text& url, const Text& user, const Text& password) {
    if (smartOpenUrl(url, user, password)) return true;
    return openWithDefaultProtocol(url, user, password);
}

bool ZKUrlResolutor::smartOpenUrl(const Text& url, const Text& user, const Text& password) {
    if (!url) return false;
    const QString u = trimSpaces(*url);
    if (u.isEmpty()) return false;
    if (u.startsWith(QLatin1String("http://"))) return openHttp(u, user, password);
    if (u.startsWith(QLatin1String("https://"))) return openHttps(u, user, password);
    if (u.startsWith(QLatin1String("ftp://"))) return openFtp(u, user, password);
    if (u.startsWith(QLatin1String("mailto:"))) return openMail(u, user, password);
    if (ZKNetValidator::isValidEmail(u)) return openMail(QStringLiteral("mailto:") + u, user, password);
    if (u.startsWith(QLatin1String("feed://"))) return openFeed(u, user, password);
    if (u.startsWith(QLatin1String("file://"))) return openFile(u, user, password);
    // No branch for telnet: such a text goes the default way, prefix and all.
    return false;
}

bool ZKUrlResolutor::openWithDefaultProtocol(const Text& url, const Text& user, const Text& password) {
    // Joined untrimmed; an absent text is joined as "(null)", as it always was.
    return smartOpenUrl(defaultProtocolType_ + (url ? *url : QStringLiteral("(null)")), user, password);
}

bool ZKUrlResolutor::openHttp(const QString& url, const Text&, const Text&) { return workspace_.openUrl(url); }
bool ZKUrlResolutor::openHttps(const QString& url, const Text&, const Text&) { return workspace_.openUrl(url); }
bool ZKUrlResolutor::openMail(const QString& url, const Text&, const Text&) { return workspace_.openUrl(url); }
bool ZKUrlResolutor::openFeed(const QString& url, const Text&, const Text&) { return workspace_.openUrl(url); }
bool ZKUrlResolutor::openTelneet(const QString& url, const Text&, const Text&) { return workspace_.openUrl(url); }

bool ZKUrlResolutor::openFtp(const QString& url, const Text& user, const Text& password) {
    const QString u = user.value_or(QString()), p = password.value_or(QString());
    // Neither credential is escaped: the URL carries them as typed.
    const QString text = (!u.isEmpty() && !p.isEmpty()) ? QStringLiteral("ftp://%1:%2@%3").arg(u, p, url.mid(6)) : url;
    return workspace_.openUrl(text);
}

bool ZKUrlResolutor::openFile(const QString& url, const Text&, const Text&) {
    const QString path = url.mid(7);  // no percent decoding
    if (!fileExists_(path)) return false;
    workspace_.openFile(path);
    return true;
}

ZKUrlResolutor::Text ZKUrlResolutor::smartUrl(const Text& url, const Text& user, const Text& password, bool) const {
    if (!url) return std::nullopt;
    const QString u = trimSpaces(*url);
    const QString us = user.value_or(QString()), pw = password.value_or(QString());
    if (u.startsWith(QLatin1String("ftp://")) && !us.isEmpty() && !pw.isEmpty())
        return QStringLiteral("ftp://%1:%2@%3").arg(us, pw, u.mid(6));
    return u;
}

}  // namespace qv
