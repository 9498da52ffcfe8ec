#include "ZKBookmark.h"

#include <QDir>
#include <QFileInfo>

#include <sys/stat.h>

namespace qv {

namespace {

// "device:inode" of an existing file, or nothing.
std::optional<QByteArray> identityOf(const QString& path) {
    struct stat st {};
    if (::stat(QFile::encodeName(path).constData(), &st) != 0) return std::nullopt;
    return QByteArray::number(qulonglong(st.st_dev)) + ':' + QByteArray::number(qulonglong(st.st_ino));
}

std::optional<QByteArray> makeBookmark(const QString& path) {
    if (path.isEmpty()) return std::nullopt;
    const QString absolute = QFileInfo(path).absoluteFilePath();
    const auto identity = identityOf(absolute);
    if (!identity) return std::nullopt;
    return absolute.toUtf8() + '\0' + *identity;
}

std::optional<QString> resolve(const QByteArray& bookmark, bool* isStale) {
    if (isStale) *isStale = false;
    const qsizetype cut = bookmark.indexOf('\0');
    const QString path = QString::fromUtf8(cut < 0 ? bookmark : bookmark.left(cut));
    const QByteArray identity = cut < 0 ? QByteArray() : bookmark.mid(cut + 1);
    if (path.isEmpty() || !QDir::isAbsolutePath(path)) return std::nullopt;
    if (QFileInfo::exists(path)) return path;
    if (identity.isEmpty()) return std::nullopt;
    // Renamed or moved within its folder: the same file under another name.
    const QDir folder = QFileInfo(path).absoluteDir();
    const QStringList names = folder.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QString& name : names) {
        const QString candidate = folder.absoluteFilePath(name);
        if (identityOf(candidate) == identity) {
            if (isStale) *isStale = true;
            return candidate;
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<QByteArray> ZKBookmark::bookmarkForURL_RO(const QString& path) { return makeBookmark(path); }
std::optional<QByteArray> ZKBookmark::bookmarkForURL_RW(const QString& path) { return makeBookmark(path); }
std::optional<QByteArray> ZKBookmark::docBookmarkForURL_RO(const QString& path, const QString&) { return makeBookmark(path); }
std::optional<QByteArray> ZKBookmark::docBookmarkForURL_RW(const QString& path, const QString&) { return makeBookmark(path); }

std::optional<QString> ZKBookmark::urlForBookmark(const QByteArray& bookmark, bool* isStale) {
    return resolve(bookmark, isStale);
}

std::optional<QString> ZKBookmark::urlForDocBookmark(const QByteArray& bookmark, const QString&, bool* isStale) {
    return resolve(bookmark, isStale);
}

bool ZKBookmark::startAccessingSecurityScopedResource(const QString& path) {
    return !path.isEmpty() && QFileInfo::exists(path);
}

}  // namespace qv
