#include "InstanceMessage.h"

#include <algorithm>

namespace qv {

InstanceMessage::State InstanceMessage::append(const QByteArray& bytes) {
    if (state_ != State::Incomplete) return state_;
    // The message ends at its first empty line, however the bytes were cut into pieces; at most
    // one byte past the limit is ever kept.
    const qsizetype from = std::max<qsizetype>(0, buffer_.size() - 1);
    buffer_ += bytes.left(kMaximumSize + 1 - buffer_.size());
    const qsizetype blank = buffer_.indexOf("\n\n", from);
    const qsizetype end = buffer_.startsWith('\n') ? 1 : blank >= 0 ? blank + 2 : -1;
    if (end > 0 && end <= kMaximumSize) {
        buffer_.truncate(end);
        state_ = State::Complete;
    } else if (buffer_.size() > kMaximumSize) {
        buffer_ = QByteArray();
        state_ = State::TooLong;
    }
    return state_;
}

QStringList InstanceMessage::files() const {
    QStringList files;
    if (state_ != State::Complete) return files;
    for (const QByteArray& line : buffer_.split('\n'))
        if (!line.isEmpty()) files << QString::fromUtf8(line);
    return files;
}

}  // namespace qv
