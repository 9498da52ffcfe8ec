#pragma once

// Files that hold passwords (documents, exports, the copies kept of old documents) are written
// atomically and, when they are new, readable by their owner alone whatever the umask says. A
// file that is there already keeps its mode, and a symbolic link is written through to its target.
// A write that fails says why in the system's words ("No space left on device").

#include <QString>

class QFileDevice;
class QSaveFile;

namespace qv {

// Opens `out` for writing, unbuffered so that a short write shows at once rather than in a
// commit that would rename a cut file into place. The new file is made 0600 unless its target
// exists already.
bool openPrivately(QSaveFile& out);

// Writes all of the bytes to a file opened by openPrivately; false with the reason otherwise.
bool writeAll(QSaveFile& out, const char* data, qint64 size, QString* error);

// The reason of a failed write: the system's error number taken when it failed, else the file's
// own message. A write cut short by a full disk sets no message of Qt's own.
QString failureReason(const QFileDevice& file, int errorNumber);

// The bytes written to `path` (via a temporary beside it, renamed over it once complete); on a
// failure false, the previous file untouched and `error` the reason.
bool writePrivately(const QString& path, const QByteArray& bytes, QString* error);

}  // namespace qv
