#include "document/AutomaticLockTimer.h"
#include "document/DocumentKeys.h"
#include "document/DocumentTexts.h"
#include "document/MyDocument.h"
#include "document/RecordModel.h"

#include "support/Fakes.h"
#include "support/ManualQueue.h"

#include <gtest/gtest.h>


using namespace qv;

namespace {

// An open, saved document in a fake window, with a queue the test runs by hand.
struct Open {
    test::FakeDocumentWindowUi ui;
    MyDocument doc;
    test::ManualQueue queue;

    Open() {
        doc.setUi(&ui);
        doc.postToMainQueue = queue.poster();
        doc.prepareNewDocument();
        doc.plainPassword = QStringLiteral("secret");
        doc.dataOfType(QString());
        doc.fileURL = QStringLiteral("/tmp/open.qvane");
    }
    void runQueue() { queue.run(); }
};

}  // namespace

TEST(Lock, KeepsUnsavedEditsWhichComeBackWithoutADirtyMark) {
    Open o;
    Dictionary edit = RecordModel::newRecord(1);
    edit.set(keys::name, Value("unsaved"));
    o.doc.myArray.append(Value(edit));
    o.doc.updateChangeCount(ZKCryptoDoc::kChangeDone);
    const Value membersBefore = o.doc.myEncryptedArrayData;

    o.ui.answers = {kAlertFirstButtonReturn};
    o.doc.lockDocument();
    EXPECT_EQ(o.ui.alerts.back().messageText, texts::lockQuestion);
    EXPECT_FALSE(o.doc.isEncrypted());  // the lock runs from the main queue
    o.runQueue();
    EXPECT_TRUE(o.doc.isEncrypted());
    EXPECT_EQ(o.doc.getEncryptedTabIndex(), 1);
    EXPECT_FALSE(o.doc.YouCanSave);
    EXPECT_FALSE(o.doc.dataOfType(QString()));
    EXPECT_FALSE(o.doc.canAutosave());
    EXPECT_FALSE(o.ui.toolbarVisible);
    EXPECT_TRUE(o.doc.makeToolbarVisibleAtDecrypt);
    EXPECT_FALSE(o.doc.myEncryptedArrayData == membersBefore);
    const Dictionary layout = o.doc.OSXPlatformDictionary.toDictionary();
    EXPECT_FALSE(layout.contains(keys::makeToolbarVisibleAtDecrypt));
    EXPECT_TRUE(layout.value(keys::columnSizes) == o.ui.columns);
    EXPECT_EQ(o.doc.validateUserInterfaceItem(QStringLiteral("documentPassword:")), false);

    o.doc.submitPasswordToDecrypt(Sender{0, {}, QStringLiteral("wrong!"), -1});
    EXPECT_TRUE(o.doc.isEncrypted());
    o.doc.submitPasswordToDecrypt(Sender{0, {}, QStringLiteral("secret"), -1});
    EXPECT_FALSE(o.doc.isEncrypted());
    ASSERT_EQ(o.doc.myArray.count(), 1);
    EXPECT_EQ(o.doc.myArray.at(0).toDictionary().value(keys::name).toString(), QStringLiteral("unsaved"));
    EXPECT_FALSE(o.doc.isDocumentEdited());
    EXPECT_TRUE(o.ui.toolbarVisible);
}

TEST(Lock, CancelAndTheAutomaticPathsSkips) {
    Open o;
    o.ui.answers = {kAlertSecondButtonReturn};
    o.doc.lockDocument();
    o.runQueue();
    EXPECT_FALSE(o.doc.isEncrypted());

    Open neverSaved;
    neverSaved.doc.fileURL.clear();
    neverSaved.doc.lockAutomatically();
    EXPECT_TRUE(neverSaved.queue.empty());

    Open noPassword;
    noPassword.doc.plainPassword.clear();
    noPassword.doc.lockAutomatically();
    EXPECT_TRUE(noPassword.queue.empty());

    o.doc.lockAutomatically();
    EXPECT_EQ(o.ui.endedSheets, 1);  // an open sheet is ended first
    o.runQueue();
    EXPECT_TRUE(o.doc.isEncrypted());
    o.doc.lockAutomatically();  // already locked: skipped
    EXPECT_TRUE(o.queue.empty());
}

TEST(AutomaticLockTimer, AtLeastThirtySecondsAndCancelledOnReturn) {
    double scheduled = -1;
    std::function<void()> pending;
    int cancels = 0, locks = 0;
    AutomaticLockTimer timer(
        [&](double s, std::function<void()> fire) {
            scheduled = s;
            pending = std::move(fire);
        },
        [&] { ++cancels; }, [&] { ++locks; });

    timer.applicationDidResignActive(true, 10);
    EXPECT_EQ(scheduled, 30.0);
    timer.applicationDidBecomeActive();
    EXPECT_EQ(cancels, 1);
    EXPECT_FALSE(timer.isArmed());

    scheduled = -1;
    timer.applicationDidResignActive(true, 0);
    EXPECT_EQ(scheduled, -1.0);
    timer.applicationDidResignActive(false, 300);
    EXPECT_EQ(scheduled, -1.0);

    timer.applicationDidResignActive(true, 120);
    EXPECT_EQ(scheduled, 120.0);
    pending();
    EXPECT_EQ(locks, 1);
    EXPECT_FALSE(timer.isArmed());
    timer.applicationDidBecomeActive();  // nothing left to cancel
    EXPECT_EQ(cancels, 1);
}
