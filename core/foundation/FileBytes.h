#pragma once

#include <QByteArray>

class QFile;

namespace qv {

// The rest of an open file in one buffer of just its size. QIODevice::readAll() grows its buffer
// as it reads and can end up holding twice the file: a large document's enciphered records,
// which keep sharing the buffer they were read into, would keep all of it. Anything that is not
// a plain file of known size (a pipe) is read with readAll().
QByteArray readWholeFile(QFile& file);

}  // namespace qv
