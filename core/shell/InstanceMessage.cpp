#include "InstanceMessage.h"

#include "foundation/UnicodeText.h"

namespace qv {

InstanceMessage::State InstanceMessage::append(const QByteArray& bytes) {
    if (state_ != State::Incomplete) return state_;
    if (buffer_.size() + bytes.size() > kMaximumSize) {
        buffer_.clear();
        return state_ = State::TooLong;
    }
    buffer_ += bytes;
    if (buffer_.endsWith("\n\n") || buffer_ == "\n") state_ = State::Complete;
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
