#include "shell/InstanceMessage.h"

#include <gtest/gtest.h>

using qv::InstanceMessage;
using State = InstanceMessage::State;

TEST(InstanceMessage, PathsArriveInPiecesAndAnEmptyLineEndsThem) {
    InstanceMessage m;
    EXPECT_EQ(m.append("/tmp/a.qv"), State::Incomplete);
    EXPECT_EQ(m.append("ane\n/tmp/\xc3\xa9t\xc3\xa9.qvane\n"), State::Incomplete);
    EXPECT_TRUE(m.files().isEmpty());  // nothing before the end
    EXPECT_EQ(m.append("\n"), State::Complete);
    EXPECT_EQ(m.files(), (QStringList{QStringLiteral("/tmp/a.qvane"), QStringLiteral("/tmp/\u00e9t\u00e9.qvane")}));
    EXPECT_EQ(m.append("/tmp/later.qvane\n\n"), State::Complete);  // what follows is not read
    EXPECT_EQ(m.files().size(), 2);

    // The first empty line ends it, whether or not more came in the same piece.
    InstanceMessage eager;
    EXPECT_EQ(eager.append("/tmp/a.qvane\n\n/tmp/b.qvane\n\n"), State::Complete);
    EXPECT_EQ(eager.files(), QStringList{QStringLiteral("/tmp/a.qvane")});

    InstanceMessage front;  // no file: only come to the front
    EXPECT_EQ(front.append("\n"), State::Complete);
    EXPECT_TRUE(front.files().isEmpty());
}

TEST(InstanceMessage, AMessageBeyondOneMebibyteIsDroppedWithoutKeepingIt) {
    InstanceMessage exact;
    const QByteArray path = "/" + QByteArray(InstanceMessage::kMaximumSize - 3, 'p') + "\n";
    EXPECT_EQ(exact.append(path.left(1000)), State::Incomplete);
    EXPECT_EQ(exact.append(path.mid(1000) + "\n"), State::Complete);  // exactly the limit
    EXPECT_EQ(exact.files().size(), 1);

    InstanceMessage endless;
    const QByteArray chunk(64 * 1024, 'x');
    State s = State::Incomplete;
    int chunks = 0;
    while (s == State::Incomplete && chunks < 1000) {
        s = endless.append(chunk);
        ++chunks;
    }
    EXPECT_EQ(s, State::TooLong);
    EXPECT_EQ(chunks, 17);  // 16 chunks are the limit; the 17th passes it
    EXPECT_EQ(endless.append("\n\n"), State::TooLong);
    EXPECT_TRUE(endless.files().isEmpty());
}
