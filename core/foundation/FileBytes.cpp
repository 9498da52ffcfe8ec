#include "FileBytes.h"

#include <QFile>

namespace qv {

QByteArray readWholeFile(QFile& file) {
    const qint64 expected = file.size() - file.pos();
    if (expected <= 0) return file.readAll();
    QByteArray bytes(qsizetype(expected), Qt::Uninitialized);
    qint64 got = 0;
    while (got < expected) {
        const qint64 n = file.read(bytes.data() + got, expected - got);
        if (n <= 0) break;  // an error or a file that shrank: what was read, as readAll() gives it
        got += n;
    }
    bytes.truncate(qsizetype(got));
    if (got == expected && !file.atEnd()) bytes += file.readAll();  // a file that grew meanwhile
    return bytes;
}

}  // namespace qv
