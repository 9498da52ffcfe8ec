#include "document/MyDocument.h"
#include "document/PasswordTexts.h"

#include "support/Fakes.h"
#include "support/ManualQueue.h"

#include <gtest/gtest.h>

#include <new>

using namespace qv;
using Sheet = DocumentWindowUi::PasswordSheet;

namespace {

// A new document in a fake window, whose main-queue steps wait until the test runs them.
struct Fixture {
    test::FakeDocumentWindowUi ui;
    MyDocument doc;
    test::ManualQueue queue;

    Fixture() {
        doc.setUi(&ui);
        doc.postToMainQueue = queue.poster();
        doc.prepareNewDocument();
    }
    void runQueue() { queue.run(); }
    // The user types into the sheet's fields and confirms, in turn, each of `entries`.
    void typeAtSheets(std::vector<std::pair<QString, QString>> entries, const QString& previous = {}) {
        auto list = std::make_shared<std::deque<std::pair<QString, QString>>>(entries.begin(), entries.end());
        ui.atPasswordSheet = [this, list, previous](Sheet) {
            if (list->empty()) return kAlertSecondButtonReturn;
            doc.plainPasswordPrevious = previous;
            doc.plainPasswordInserted = list->front().first;
            doc.plainPasswordInsertedRetype = list->front().second;
            list->pop_front();
            return kAlertFirstButtonReturn;
        };
    }
    QString lastAlert() const { return ui.alerts.empty() ? QString() : ui.alerts.back().messageText; }
};

}  // namespace

TEST(MandatoryPassword, LoopsUntilSixUtf16UnitsAndCancelCloses) {
    Fixture f;
    f.typeAtSheets({{QStringLiteral("12345"), QStringLiteral("12345")},
                    {QStringLiteral("123456"), QStringLiteral("654321")},
                    {QStringLiteral("123456"), QStringLiteral("123456")}});
    f.doc.windowDidBecomeKey();
    EXPECT_TRUE(f.ui.sheetsShown.empty());  // asked from the main queue, after the event
    f.runQueue();
    ASSERT_EQ(f.ui.alerts.size(), 3u);
    EXPECT_EQ(f.ui.alerts[0].messageText, texts::mandatoryTooShortMessage);
    EXPECT_EQ(f.ui.alerts[1].messageText, texts::mandatoryNonEqualMessage);
    EXPECT_EQ(f.ui.alerts[2].messageText, texts::passwordAcceptedMessage);
    EXPECT_EQ(f.ui.alerts[2].informativeText, texts::passwordAcceptedMandatoryInformative);
    EXPECT_EQ(f.doc.plainPassword, QStringLiteral("123456"));
    EXPECT_TRUE(f.doc.plainPasswordInserted.isEmpty());
    EXPECT_TRUE(f.doc.isDocumentEdited());
    EXPECT_TRUE(f.doc.showClearPasswordInInsertPasswordSheet.toBool());
    // Only the first key-window event asks.
    f.doc.windowDidBecomeKey();
    f.runQueue();
    EXPECT_EQ(f.ui.sheetsShown.size(), 3u);

    Fixture cancelled;
    cancelled.doc.windowDidBecomeKey();
    cancelled.runQueue();
    EXPECT_TRUE(cancelled.ui.closed);
    EXPECT_TRUE(cancelled.ui.alerts.empty());

    // The length counts UTF-16 units: three characters outside the BMP are six.
    Fixture clefs;
    const QString threeClefs = QString::fromUtf8("\xF0\x9D\x84\x9E\xF0\x9D\x84\x9E\xF0\x9D\x84\x9E");
    clefs.typeAtSheets({{threeClefs, threeClefs}});
    clefs.doc.askMandatoryPasswordToProtectDocument();
    EXPECT_EQ(clefs.doc.plainPassword, threeClefs);
}

TEST(ChangePassword, ChecksInOrderAndRetryReopensThroughTheQueue) {
    struct Case {
        QString previous, inserted, retype, expect;
    } cases[] = {
        {QStringLiteral("wrong"), QStringLiteral("abc"), QStringLiteral("xyz"), texts::passwordMustMatchMessage},
        {QStringLiteral("secret"), QStringLiteral("abc"), QStringLiteral("xyz"), texts::passwordNotEqualMessage},
        {QStringLiteral("secret"), QStringLiteral("abcde"), QStringLiteral("abcde"), texts::passwordTooShortMessage},
        {QStringLiteral("secret"), QStringLiteral("abcdef"), QStringLiteral("abcdef"), texts::passwordChangedMessage},
    };
    for (const Case& c : cases) {
        Fixture f;
        f.doc.plainPassword = QStringLiteral("secret");
        f.doc.updateChangeCount(ZKCryptoDoc::kChangeCleared);
        f.typeAtSheets({{c.inserted, c.retype}}, c.previous);
        f.ui.answers = {kAlertFirstButtonReturn};  // "Retry" on a refusal
        f.doc.documentPassword();
        EXPECT_EQ(f.lastAlert(), c.expect) << c.expect.toStdString();
        const bool accepted = c.expect == texts::passwordChangedMessage;
        EXPECT_EQ(f.doc.plainPassword, accepted ? c.inserted : QStringLiteral("secret"));
        EXPECT_EQ(f.doc.isDocumentEdited(), accepted);
        if (accepted) {
            EXPECT_TRUE(f.doc.plainPasswordPrevious.isEmpty());
            EXPECT_TRUE(f.doc.plainPasswordInsertedRetype.isEmpty());
        } else {
            EXPECT_EQ(f.ui.sheetsShown.size(), 1u);
            f.runQueue();  // the retry opens the change sheet again
            EXPECT_EQ(f.ui.sheetsShown.size(), 2u);
            EXPECT_EQ(f.ui.sheetsShown.back(), Sheet::Change);
        }
    }
}

TEST(SubmitPassword, EmptyWrongAndRight) {
    Fixture writer;
    writer.doc.plainPassword = QStringLiteral("secret");
    const QByteArray file = writer.doc.dataOfType(QString()).value();

    Fixture f;
    ASSERT_TRUE(f.doc.readFromData(file, QString()));
    f.doc.submitPasswordToDecrypt(Sender{0, {}, QString(), -1});
    EXPECT_TRUE(f.ui.alerts.empty());
    EXPECT_TRUE(f.doc.isEncrypted());

    f.doc.submitPasswordToDecrypt(Sender{0, {}, QStringLiteral("guess"), -1});
    EXPECT_EQ(f.lastAlert(), texts::wrongPassword);
    EXPECT_EQ(f.doc.plainPassword, QStringLiteral("guess"));  // kept until the next attempt
    EXPECT_TRUE(f.doc.isEncrypted());
    EXPECT_EQ(f.doc.validateUserInterfaceItem(QStringLiteral("saveDocument:")), false);
    EXPECT_TRUE(f.doc.closesWithoutAsking());

    f.doc.submitPasswordToDecrypt(Sender{0, {}, QStringLiteral("secret"), -1});
    EXPECT_FALSE(f.doc.isEncrypted());
    EXPECT_TRUE(f.doc.plainPasswordInserted.isEmpty());
    EXPECT_FALSE(f.doc.isDocumentEdited());
    EXPECT_EQ(f.doc.validateUserInterfaceItem(QStringLiteral("printDocument:")), true);
    EXPECT_FALSE(f.doc.validateUserInterfaceItem(QStringLiteral("copy:")).has_value());
    EXPECT_FALSE(f.doc.closesWithoutAsking());
}

namespace {

// A document whose deciphering runs out of memory, as a very large file can.
class StarvedDocument : public MyDocument {
public:
    std::int32_t Decript() override { throw std::bad_alloc(); }
};

QStringList progressCalls(const QStringList& calls) { return calls.filter(QStringLiteral("progress")); }

}  // namespace

TEST(SubmitPassword, TheProgressStopsHoweverTheAttemptEnds) {
    Fixture writer;
    writer.doc.plainPassword = QStringLiteral("secret");
    const QByteArray file = writer.doc.dataOfType(QString()).value();
    const auto startsAndEndsStopped = [](const QStringList& calls) {
        const QStringList p = progressCalls(calls);
        return !p.isEmpty() && p.first() == QStringLiteral("progress 1") && p.last() == QStringLiteral("progress 0");
    };

    Fixture f;
    ASSERT_TRUE(f.doc.readFromData(file, QString()));
    f.ui.calls.clear();
    f.doc.submitPasswordToDecrypt(Sender{0, {}, QStringLiteral("guess"), -1});
    EXPECT_TRUE(startsAndEndsStopped(f.ui.calls)) << f.ui.calls.join(u',').toStdString();
    f.ui.calls.clear();
    f.doc.submitPasswordToDecrypt(Sender{0, {}, QStringLiteral("secret"), -1});
    EXPECT_TRUE(startsAndEndsStopped(f.ui.calls)) << f.ui.calls.join(u',').toStdString();

    // Out of memory while deciphering: the attempt ends, with the bar stopped and no alert.
    test::FakeDocumentWindowUi ui;
    StarvedDocument starved;
    starved.setUi(&ui);
    ASSERT_TRUE(starved.readFromData(file, QString()));
    ui.calls.clear();
    EXPECT_THROW(starved.submitPasswordToDecrypt(Sender{0, {}, QStringLiteral("secret"), -1}), std::bad_alloc);
    EXPECT_EQ(progressCalls(ui.calls), (QStringList{QStringLiteral("progress 1"), QStringLiteral("progress 0")}));
    EXPECT_TRUE(starved.isEncrypted());
    EXPECT_TRUE(ui.alerts.empty());
}
