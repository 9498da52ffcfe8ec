// Bookmark data from the preferences, which anyone who can write the user's settings file can
// change: the path, the zero byte and the identity after it, resolved against the real file
// system. Half the inputs are a bookmark of a real file with the fuzzer's bytes put in the middle
// or at the end, so the renamed-file search is reached too.
//
// What must hold: a bookmark resolves to an absolute path that exists or to nothing, and it is
// stale only when it resolves.
#include "shell/ZKBookmark.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include <unistd.h>

using namespace qv;

namespace {

// A folder of its own with one file in it, made once.
const QString& knownFile() {
    static const QString path = [] {
        const QString dir = QDir::temp().filePath(QStringLiteral("qv-bookmark-fuzz-%1").arg(::getpid()));
        QDir().mkpath(dir);
        const QString file = QDir(dir).filePath(QStringLiteral("start.qvane"));
        QFile f(file);
        if (f.open(QIODevice::WriteOnly)) f.write("x");
        return file;
    }();
    return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) return 0;
    QByteArray bookmark(reinterpret_cast<const char*>(data) + 1, qsizetype(size - 1));
    if (data[0] & 1) {
        const auto real = ZKBookmark::bookmarkForURL_RO(knownFile());
        if (!real) std::abort();
        bookmark = (data[0] & 2) ? *real + bookmark : real->left(data[0] % (real->size() + 1)) + bookmark;
    }
    bool stale = true;
    const auto path = ZKBookmark::urlForBookmark(bookmark, &stale);
    if (path) {
        if (!QDir::isAbsolutePath(*path) || !QFileInfo::exists(*path)) std::abort();
    } else if (stale) {
        std::abort();
    }
    bool docStale = true;
    if (ZKBookmark::urlForDocBookmark(bookmark, QString(), &docStale) != path || docStale != stale) std::abort();
    return 0;
}
