#include "PrivateFile.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace qv {

bool openPrivately(QSaveFile& out) {
    // QSaveFile gives the temporary the target's mode when there is a target; otherwise the umask
    // decides, which on most systems lets every user read the file.
    const bool existing = QFileInfo::exists(out.fileName());
    if (!out.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) return false;
    if (!existing && !out.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner)) {
        out.cancelWriting();
        return false;
    }
    return true;
}

QString failureReason(const QFileDevice& file, int errorNumber) {
    if (errorNumber != 0) return QString::fromLocal8Bit(std::strerror(errorNumber));
    return file.errorString();
}

Status<> writeAll(QSaveFile& out, const char* data, qint64 size) {
    errno = 0;
    if (out.write(data, size) == size) return {};
    const int why = errno;
    out.cancelWriting();
    return Status<>::failed(why, failureReason(out, why));
}

Status<> writePrivately(const QString& path, const QByteArray& bytes) {
    QSaveFile out(path);
    if (!openPrivately(out)) return Status<>::failed(0, out.errorString());
    if (auto written = writeAll(out, bytes.constData(), bytes.size()); !written) return written;
    errno = 0;
    if (!out.commit()) {
        const int why = errno;
        return Status<>::failed(why, failureReason(out, why));
    }
    return {};
}

Status<> writeNewPrivately(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly,
                   QFileDevice::ReadOwner | QFileDevice::WriteOwner))
        return Status<>::failed(0, file.errorString());
    if (file.write(bytes) != bytes.size() || !file.flush() || ::fsync(file.handle()) != 0) {
        const QString why = file.errorString();
        file.remove();
        return Status<>::failed(0, why);
    }
    file.close();
    return {};
}

}  // namespace qv
