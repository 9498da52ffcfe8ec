#pragma once

// Files that hold passwords (documents, exports, the copies kept of old documents) are written
// atomically and, when they are new, readable by their owner alone whatever the umask says. A
// file that is there already keeps its mode, and a symbolic link is written through to its target.
// A write that fails says why in the system's words ("No space left on device"); its kind is the
// system's error number where there is one, else 0.

#include "Result.h"

#include <QByteArray>
#include <QString>

class QFileDevice;
class QSaveFile;

namespace qv {

// Opens `out` for writing, unbuffered so that a short write shows at once rather than in a
// commit that would rename a cut file into place. The new file is made 0600 unless its target
// exists already. On a failure, out.errorString() says why.
bool openPrivately(QSaveFile& out);

// Writes all of the bytes to a file opened by openPrivately; on a failure the write is cancelled
// and the message is the reason.
Status<> writeAll(QSaveFile& out, const char* data, qint64 size);

// The reason of a failed write: the system's error number taken when it failed, else the file's
// own message. A write cut short by a full disk sets no message of Qt's own.
QString failureReason(const QFileDevice& file, int errorNumber);

// The bytes written to `path` (via a temporary beside it, renamed over it once complete); on a
// failure the previous file is untouched and the message is the reason.
Status<> writePrivately(const QString& path, const QByteArray& bytes);

// The bytes in a new file at `path`, the owner's alone, synced to the disk before this returns.
// A file already there is never written over: that is a failure. A failed write leaves nothing.
Status<> writeNewPrivately(const QString& path, const QByteArray& bytes);

}  // namespace qv
