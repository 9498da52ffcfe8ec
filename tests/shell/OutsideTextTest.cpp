// Text from outside the program is valid Unicode before it reaches a document.

#include "foundation/UnicodeText.h"
#include "shell/ZKDragDropView.h"

#include <gtest/gtest.h>

using namespace qv;

namespace {
const QChar kHigh(char16_t(0xD83D)), kLow(char16_t(0xDE00)), kReplacement(QChar::ReplacementCharacter);
}

TEST(OutsideText, LoneSurrogatesBecomeTheReplacementCharacterAndPairsStay) {
    const QString pair = QString(kHigh) + kLow;  // one emoji
    EXPECT_EQ(withoutLoneSurrogates(QStringLiteral("a") + pair + QStringLiteral("b")), QStringLiteral("a") + pair + QStringLiteral("b"));
    EXPECT_EQ(withoutLoneSurrogates(QString(kHigh)), QString(kReplacement));
    EXPECT_EQ(withoutLoneSurrogates(QString(kLow) + kHigh), QString(kReplacement) + kReplacement);  // the wrong order
    EXPECT_EQ(withoutLoneSurrogates(QString(kHigh) + kHigh + kLow), QString(kReplacement) + kHigh + kLow);
    EXPECT_EQ(withoutLoneSurrogates(QStringLiteral("x") + kLow + QStringLiteral("y")),
              QStringLiteral("x") + kReplacement + QStringLiteral("y"));
    EXPECT_FALSE(hasLoneSurrogate(pair));
    EXPECT_TRUE(hasLoneSurrogate(QStringLiteral("ok") + kHigh));
}

TEST(OutsideText, ADroppedPathOrAddressIsMadeValidBeforeAnyoneSeesIt) {
    ZKDragDropViewFileUrl view;
    QStringList seen;
    view.observer = [&](const QString&, const QString& value) { seen << value; };
    DraggingInfo files;
    files.filenames = QStringList{QStringLiteral("/tmp/a") + kHigh + QStringLiteral(".txt")};
    files.operationMask = DraggingInfo::Link;
    view.performDragOperation(files);
    DraggingInfo urls;
    urls.urls = QStringList{QStringLiteral("http://example.org/") + kLow};
    urls.operationMask = DraggingInfo::Link;
    view.performDragOperation(urls);
    ASSERT_EQ(seen.size(), 2);
    EXPECT_EQ(seen[0], QStringLiteral("/tmp/a") + kReplacement + QStringLiteral(".txt"));
    EXPECT_EQ(view.myUrlPathDropped, QStringLiteral("http://example.org/") + kReplacement);
}
