#include "PrivateFile.h"

#include <QFileInfo>
#include <QSaveFile>

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

bool writeAll(QSaveFile& out, const char* data, qint64 size, QString* error) {
    errno = 0;
    if (out.write(data, size) == size) return true;
    const int why = errno;
    out.cancelWriting();
    if (error) *error = failureReason(out, why);
    return false;
}

bool writePrivately(const QString& path, const QByteArray& bytes, QString* error) {
    QSaveFile out(path);
    if (!openPrivately(out)) {
        if (error) *error = out.errorString();
        return false;
    }
    if (!writeAll(out, bytes.constData(), bytes.size(), error)) return false;
    errno = 0;
    if (!out.commit()) {
        if (error) *error = failureReason(out, errno);
        return false;
    }
    return true;
}

}  // namespace qv
