#pragma once

// Lasting references to files. Linux has no security-scoped bookmarks, so a bookmark here is the
// file's absolute path, followed by the identity of the file (device and inode) when it was
// made. A file that was renamed or moved within its folder is found again by that identity, and
// the bookmark is then stale: it still leads to the file but should be made anew. A file that
// is gone resolves to nothing.

#include <QByteArray>
#include <QString>

#include <optional>

namespace qv {

class ZKBookmark {
public:
    // Nothing when the file does not exist.
    static std::optional<QByteArray> bookmarkForURL_RO(const QString& path);
    static std::optional<QByteArray> bookmarkForURL_RW(const QString& path);
    static std::optional<QByteArray> docBookmarkForURL_RO(const QString& path, const QString& docUrl);
    static std::optional<QByteArray> docBookmarkForURL_RW(const QString& path, const QString& docUrl);

    // The file's path, or nothing. `isStale` is cleared first, then set when the file was found
    // under another name.
    static std::optional<QString> urlForBookmark(const QByteArray& bookmark, bool* isStale);
    static std::optional<QString> urlForDocBookmark(const QByteArray& bookmark, const QString& docUrl, bool* isStale);

    // What stands for the sandbox's permission: the file must be there to be reached.
    static bool startAccessingSecurityScopedResource(const QString& path);
    static void stopAccessingSecurityScopedResource(const QString&) {}
};

}  // namespace qv
