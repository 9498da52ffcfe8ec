// The clipboard holder that `qvane clip` starts as `quorvane --clip`.

#include "ClipMode.h"

#include "../support/EventLoop.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QProcess>

#include <gtest/gtest.h>

using qv::app::ClipboardHolder;
using qv::app::ClipboardPasteboard;

namespace {

QString clipboardText() {
    const QMimeData* m = QGuiApplication::clipboard()->mimeData();
    return m && m->hasText() ? m->text() : QString();
}

}  // namespace

TEST(ClipboardHolder, HoldsTheValueAsASecretThenClearsItWhenTimeIsUp) {
    bool finished = false;
    ClipboardHolder holder(QStringLiteral("s3cret-value"), 1);
    QObject::connect(&holder, &ClipboardHolder::finished, [&] { finished = true; });
    const QMimeData* m = QGuiApplication::clipboard()->mimeData();
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->text(), QStringLiteral("s3cret-value"));
    EXPECT_EQ(m->data(ClipboardPasteboard::kSecretHintType), QByteArray("secret"));
    qv::test::spinFor(200);
    EXPECT_FALSE(finished) << "its own copy does not end the holder";
    ASSERT_TRUE(qv::test::spinUntil([&] { return finished; }, 10000));
    EXPECT_TRUE(clipboardText().isEmpty());
}

TEST(ClipboardHolder, LeavesEarlyAndClearsNothingWhenSomethingElseWasCopied) {
    bool finished = false;
    ClipboardHolder holder(QStringLiteral("s3cret-value"), 30);
    QObject::connect(&holder, &ClipboardHolder::finished, [&] { finished = true; });
    QGuiApplication::clipboard()->setText(QStringLiteral("copied by the user"));
    ASSERT_TRUE(qv::test::spinUntil([&] { return finished; }));
    EXPECT_EQ(clipboardText(), QStringLiteral("copied by the user"));
}

TEST(CommandLine, ClipModeWithoutADisplayExitsWithEight) {
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) env.remove(QLatin1String(name));
    p.setProcessEnvironment(env);
    p.start(QStringLiteral(QUORVANE_PATH), {QStringLiteral("--clip"), QStringLiteral("--seconds"), QStringLiteral("5")});
    p.write("value");
    p.closeWriteChannel();
    ASSERT_TRUE(p.waitForFinished(20000));
    EXPECT_EQ(p.exitCode(), 8);
    EXPECT_TRUE(p.readAllStandardError().contains("no display"));
    EXPECT_TRUE(p.readAllStandardOutput().isEmpty()) << "it never says it copied";
}
