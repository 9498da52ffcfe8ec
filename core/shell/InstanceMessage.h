#pragma once

// The message a later launch hands to the running program: the absolute paths of its files in
// UTF-8, one a line, ended by an empty line (a message of a lone line end names no file and only
// brings the program to the front). Any program of the user can connect and send, so a message is
// read to its end or to a limit, never further.

#include <QByteArray>
#include <QStringList>

namespace qv {

class InstanceMessage {
public:
    // Far more than any list of paths a launch hands over.
    static constexpr qsizetype kMaximumSize = qsizetype(1) << 20;
    enum class State { Incomplete, Complete, TooLong };

    // Takes the bytes that came. The message ends at its first empty line; once it is complete or
    // too long, later bytes are not looked at.
    State append(const QByteArray& bytes);
    State state() const { return state_; }
    // The files named, once complete.
    QStringList files() const;

private:
    QByteArray buffer_;
    State state_ = State::Incomplete;
};

}  // namespace qv
