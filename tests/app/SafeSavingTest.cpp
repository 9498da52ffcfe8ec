// What the desktop program does to keep documents and secrets safe: saves that fail leave the
// previous file whole and say so, bytes that would not open never reach the disk, another
// program's changes are not overwritten without asking, and the opt-in clipboard clearing and
// session lock.

#include "DocumentController.h"
#include "DocumentWindow.h"
#include "PlatformServices.h"

#include "document/DocumentFile.h"
#include "document/DocumentKeys.h"
#include "document/RecordModel.h"
#include "foundation/UserDefaults.h"
#include "shell/MyAppDelegate.h"
#include "support/WindowDocuments.h"

#include <QApplication>
#include <QClipboard>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QProcess>
#include <QPushButton>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include <csignal>

#include <sys/resource.h>

using namespace qv;
using namespace qv::app;
using qv::test::contents;
using qv::test::waitFor;

namespace {

QByteArray documentBytes(const QString& password, int records) {
    MyDocument doc;
    doc.prepareNewDocument();
    for (int i = 0; i < records; ++i) {
        Dictionary r = RecordModel::newRecord(i);
        r.set(keys::note, Value(QString(300, QLatin1Char('x'))));
        doc.myArray.append(Value(r));
    }
    doc.plainPassword = password;
    return doc.dataOfType(QString()).value();
}

// Presses `button` on the next message box and remembers its text.
struct AnswerNextBox {
    QString seen;
    explicit AnswerNextBox(const QString& button) {
        QTimer::singleShot(20, [this, button] { answer(button, 100); });
    }
    void answer(const QString& button, int tries) {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box) {
            if (tries > 0) QTimer::singleShot(20, [this, button, tries] { answer(button, tries - 1); });
            return;
        }
        seen = box->text();
        for (QAbstractButton* b : box->buttons())
            if (b->text() == button) return b->click();
        ADD_FAILURE() << "no button " << button.toStdString();
        box->reject();
    }
};

// An opened, unlocked document with one edit waiting to be saved.
DocumentWindow* openEdited(DocumentController& controller, const QString& path, const QString& password) {
    DocumentWindow* w = controller.openDocument(path);
    if (!w) return nullptr;
    QTest::keyClicks(w->passwordToDecryptField(), password);
    QTest::keyClick(w->passwordToDecryptField(), Qt::Key_Return);
    w->document().emailArray.append(Value(Dictionary{{keys::email, Value("new@example.com")}}));
    w->document().updateChangeCount(ZKCryptoDoc::kChangeDone);
    return w;
}

// Files bigger than `bytes` can't be written by this process while it lives: the disk is full as
// far as the save can tell.
class FullDisk {
public:
    explicit FullDisk(rlim_t bytes) {
        getrlimit(RLIMIT_FSIZE, &saved_);
        previous_ = std::signal(SIGXFSZ, SIG_IGN);
        rlimit l = saved_;
        l.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &l);
    }
    ~FullDisk() {
        setrlimit(RLIMIT_FSIZE, &saved_);
        std::signal(SIGXFSZ, previous_);
    }

private:
    rlimit saved_{};
    void (*previous_)(int) = nullptr;
};

}  // namespace

TEST(SafeSaving, BytesThatDoNotOpenNeverReplaceTheFile) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("vault.qvane"));
    const QByteArray before = documentBytes(QStringLiteral("secret"), 1);
    ASSERT_TRUE(DocumentFile::writeAtomically(path, before));

    QByteArray damaged = documentBytes(QStringLiteral("secret"), 3);
    damaged[damaged.size() / 2] = char(damaged[damaged.size() / 2] ^ 0x40);
    DocumentFileStatus written = DocumentFile::write(path, damaged, QStringLiteral("secret"));
    ASSERT_FALSE(written);
    EXPECT_FALSE(written.message().isEmpty());
    // Whole, but made with another password than the document's.
    written = DocumentFile::write(path, documentBytes(QStringLiteral("other!"), 2), QStringLiteral("secret"));
    ASSERT_FALSE(written);
    EXPECT_EQ(written.kind(), DocumentFileError::DoesNotReadBack);
    EXPECT_EQ(contents(path), before);

    // The check value passes, but the records decipher to something that is no archive.
    for (int member = 0; member < 2; ++member) {
        MyDocument writer;
        writer.prepareNewDocument();
        writer.plainPassword = QStringLiteral("secret");
        ASSERT_TRUE(writer.dataOfType(QString()));
        const auto garbage = writer.myCommonCrypto->encrypt(QByteArray("not an archive at all"));
        (member == 0 ? writer.myEncryptedArrayData : writer.myEncryptedEmailArrayData) = Value::data(*garbage);
        writer.setIsEncrypted(true);  // written as the members stand
        written = DocumentFile::write(path, writer.dataOfType(QString()).value(), QStringLiteral("secret"));
        EXPECT_EQ(written.kind(), DocumentFileError::DoesNotReadBack) << member;
    }
    EXPECT_EQ(contents(path), before);

    const QByteArray good = documentBytes(QStringLiteral("secret"), 2);
    EXPECT_TRUE(DocumentFile::write(path, good, QStringLiteral("secret")));
    EXPECT_EQ(contents(path), good);
}

TEST(SafeSaving, AFullDiskOrAMissingFolderLeavesThePreviousFileAndSaysSo) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("vault.qvane"));
    const QByteArray before = documentBytes(QStringLiteral("secret"), 1);
    ASSERT_TRUE(DocumentFile::writeAtomically(path, before));
    DocumentController controller;
    controller.setAutosavingDelay(0);
    DocumentWindow* w = openEdited(controller, path, QStringLiteral("secret"));
    ASSERT_NE(w, nullptr);
    for (int i = 0; i < 200; ++i) w->document().myArray.append(Value(RecordModel::newRecord(i)));

    {
        FullDisk full(QFileInfo(path).size() + 100);
        AnswerNextBox ok(QStringLiteral("OK"));
        EXPECT_FALSE(controller.saveDocument(w));
        EXPECT_TRUE(ok.seen.startsWith(QStringLiteral("The document could not be saved.")))
            << ok.seen.toStdString();
    }
    EXPECT_EQ(contents(path), before);
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files), QStringList{QStringLiteral("vault.qvane")});
    EXPECT_TRUE(w->document().isDocumentEdited());

    // The folder went away (a drive unplugged, say): the same message, the edits kept.
    w->setFilePath(dir.filePath(QStringLiteral("gone/vault.qvane")));
    {
        AnswerNextBox ok(QStringLiteral("OK"));
        EXPECT_FALSE(controller.saveDocument(w));
        EXPECT_TRUE(ok.seen.startsWith(QStringLiteral("The document could not be saved.")));
    }
    EXPECT_TRUE(w->document().isDocumentEdited());
    w->setFilePath(path);
    EXPECT_TRUE(controller.saveDocument(w));
    EXPECT_FALSE(w->document().isDocumentEdited());
    w->close();
}

TEST(SafeSaving, AFileChangedByAnotherProgramIsNotOverwrittenWithoutAsking) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("vault.qvane"));
    ASSERT_TRUE(DocumentFile::writeAtomically(path, documentBytes(QStringLiteral("secret"), 1)));
    DocumentController controller;
    controller.setAutosavingDelay(0.05);
    controller.setWatchingFiles(false);  // the question at saving time, without the watcher's offer
    DocumentWindow* w = openEdited(controller, path, QStringLiteral("secret"));
    ASSERT_NE(w, nullptr);
    ASSERT_TRUE(waitFor([&] { return !w->document().isDocumentEdited(); }));  // autosaved: no question

    // Another program (a sync client, a second copy of this program) writes the file.
    const QByteArray theirs = documentBytes(QStringLiteral("secret"), 5);
    ASSERT_TRUE(DocumentFile::writeAtomically(path, theirs));
    EXPECT_TRUE(controller.fileChangedOnDisk(w));

    // Autosaving leaves it alone and says nothing.
    w->document().updateChangeCount(ZKCryptoDoc::kChangeDone);
    QTest::qWait(200);
    EXPECT_EQ(contents(path), theirs);
    EXPECT_TRUE(w->document().isDocumentEdited());

    // A save by hand asks; Cancel keeps their file.
    {
        AnswerNextBox cancel(QStringLiteral("Cancel"));
        EXPECT_FALSE(controller.saveDocument(w));
        EXPECT_TRUE(cancel.seen.contains(QStringLiteral("was changed by another program")));
    }
    EXPECT_EQ(contents(path), theirs);
    {
        AnswerNextBox overwrite(QStringLiteral("Save Anyway"));
        EXPECT_TRUE(controller.saveDocument(w));
        EXPECT_FALSE(overwrite.seen.isEmpty());
    }
    EXPECT_NE(contents(path), theirs);
    EXPECT_FALSE(controller.fileChangedOnDisk(w));
    w->close();
}

TEST(Clipboard, ValuesAreMarkedSecretAndClearedOnlyWhenAskedAndStillOurs) {
    ClipboardPasteboard pasteboard;
    QClipboard* clipboard = QGuiApplication::clipboard();

    pasteboard.setString(QStringLiteral("hunter2"));
    ASSERT_NE(clipboard->mimeData(), nullptr);
    EXPECT_EQ(clipboard->text(), QStringLiteral("hunter2"));
    EXPECT_EQ(clipboard->mimeData()->data(ClipboardPasteboard::kSecretHintType), QByteArray("secret"));
    EXPECT_FALSE(pasteboard.isClearPending());  // off unless the user asks

    std::int64_t seconds = 30;
    pasteboard.setClearAfter([&] { return seconds; });
    pasteboard.setString(QStringLiteral("hunter3"));
    EXPECT_TRUE(pasteboard.isClearPending());
    pasteboard.clearIfStillCopied();
    EXPECT_TRUE(clipboard->text().isEmpty());

    // Something copied since then by the user is left where it is.
    pasteboard.setString(QStringLiteral("hunter4"));
    clipboard->setText(QStringLiteral("the user's own text"));
    pasteboard.clearIfStillCopied();
    EXPECT_EQ(clipboard->text(), QStringLiteral("the user's own text"));

    seconds = 0;
    pasteboard.setString(QStringLiteral("hunter5"));
    EXPECT_FALSE(pasteboard.isClearPending());
}

TEST(SessionLock, DesktopSignalsLockEveryDocumentOnlyWhenTheUserAskedForIt) {
    const QString daemon = QStandardPaths::findExecutable(QStringLiteral("dbus-daemon"));
    if (daemon.isEmpty()) GTEST_SKIP() << "dbus-daemon is not installed";
    QProcess bus;
    bus.start(daemon, {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address")});
    ASSERT_TRUE(bus.waitForReadyRead(5000));
    const QString address = QString::fromUtf8(bus.readLine()).trimmed();
    QDBusConnection connection = QDBusConnection::connectToBus(address, QStringLiteral("quorvane-test-bus"));
    ASSERT_TRUE(connection.isConnected());

    SessionLockWatcher watcher(connection, connection);
    EXPECT_EQ(watcher.listening(), 5);
    int locks = 0;
    QObject::connect(&watcher, &SessionLockWatcher::sessionLocking, [&] { ++locks; });
    auto send = [&](const QString& path, const QString& interface, const QString& name, QVariantList args) {
        QDBusMessage m = QDBusMessage::createSignal(path, interface, name);
        m.setArguments(args);
        connection.send(m);
    };
    const auto screenSaver = [&](bool active) {
        send(QStringLiteral("/org/freedesktop/ScreenSaver"), QStringLiteral("org.freedesktop.ScreenSaver"),
             QStringLiteral("ActiveChanged"), {active});
    };
    screenSaver(false);  // the screen comes back: nothing to do
    screenSaver(true);
    send(QStringLiteral("/org/gnome/ScreenSaver"), QStringLiteral("org.gnome.ScreenSaver"),
         QStringLiteral("ActiveChanged"), {true});
    send(QStringLiteral("/org/freedesktop/login1"), QStringLiteral("org.freedesktop.login1.Manager"),
         QStringLiteral("PrepareForSleep"), {true});
    send(QStringLiteral("/org/freedesktop/login1/session/_32"), QStringLiteral("org.freedesktop.login1.Session"),
         QStringLiteral("Lock"), {});
    EXPECT_TRUE(waitFor([&] { return locks == 4; })) << locks;

    // The program's own watcher is on the buses of the environment; here, the private one.
    qputenv("DBUS_SESSION_BUS_ADDRESS", address.toUtf8());
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", address.toUtf8());
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("vault.qvane"));
    ASSERT_TRUE(DocumentFile::writeAtomically(path, documentBytes(QStringLiteral("secret"), 1)));
    MemoryUserDefaults defaults;
    AppServices services;
    services.defaults = &defaults;
    DocumentController controller;
    controller.setAutosavingDelay(0);
    controller.setServices(&services);
    DocumentWindow* w = openEdited(controller, path, QStringLiteral("secret"));
    ASSERT_NE(w, nullptr);
    ASSERT_FALSE(w->document().isEncrypted());
    screenSaver(true);
    QTest::qWait(200);
    EXPECT_FALSE(w->document().isEncrypted());  // not asked for: as it always was

    defaults.setObject(prefs::lockDocumentsWhenSessionLocks, Value::boolean(true));
    controller.applyLockWhenSessionLocks();
    QTest::qWait(100);
    screenSaver(true);
    EXPECT_TRUE(waitFor([&] { return w->document().isEncrypted(); }));
    w->close();
    connection.disconnectFromBus(QStringLiteral("quorvane-test-bus"));
    bus.kill();
    bus.waitForFinished();
}
