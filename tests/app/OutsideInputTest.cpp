// The desktop program facing what comes from outside: a file of another generation is kept as it
// was before the first save writes over it, a field's half surrogate pair never reaches the
// document, and a connection to the single-instance socket that never ends its message is dropped.

#include "DocumentController.h"
#include "DocumentWindow.h"
#include "SingleInstance.h"

#include "browsing/DocumentBrowser.h"
#include "document/DocumentKeys.h"
#include "document/RecordModel.h"
#include "foundation/KeyedArchive.h"
#include "shell/InstanceMessage.h"
#include "support/WindowDocuments.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QLocalSocket>
#include <QMessageBox>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace qv;
using namespace qv::app;
using qv::test::contents;

namespace {

// A document of generation 4.0 with one record.
QByteArray generation40000(const QString& password) {
    MyDocument doc;
    doc.prepareNewDocument();
    doc.myArray.append(Value(RecordModel::newRecord(0)));
    doc.plainPassword = password;
    Dictionary root = KeyedUnarchiver::unarchiveObjectWithData(doc.dataOfType(QString()).value())->toDictionary();
    root.set(keys::appversion, Value::integer(40000));
    return KeyedArchiver::archivedDataWithRootObject(Value(root)).value();
}

DocumentWindow* openUnlocked(DocumentController& controller, const QString& path, const QString& password) {
    DocumentWindow* w = controller.openDocument(path);
    if (!w) return nullptr;
    QTest::keyClicks(w->passwordToDecryptField(), password);
    QTest::keyClick(w->passwordToDecryptField(), Qt::Key_Return);
    return w;
}

void edit(DocumentWindow* w) {
    w->document().emailArray.append(Value(Dictionary{{keys::email, Value("new@example.com")}}));
    w->document().updateChangeCount(ZKCryptoDoc::kChangeDone);
}

}  // namespace

TEST(OldGenerationCopy, TheFirstSaveOverAnOlderFileKeepsItBesideOnceAndNeverOverwritesACopy) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("vault.qvane"));
    const QByteArray old = generation40000(QStringLiteral("secret"));
    {
        QFile f(path);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(old);
    }
    // A copy left by an earlier session stays as it is; the new one takes the next name.
    const QString earlier = dir.filePath(QStringLiteral("vault (generation 4.0).qvane"));
    {
        QFile f(earlier);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write("earlier copy");
    }
    DocumentController controller;
    controller.setAutosavingDelay(0.05);
    DocumentWindow* w = openUnlocked(controller, path, QStringLiteral("secret"));
    ASSERT_NE(w, nullptr);
    ASSERT_FALSE(w->document().isEncrypted());
    edit(w);
    controller.scheduleAutosave(w);  // the save that used to write over the old file unannounced
    const QString copy = dir.filePath(QStringLiteral("vault (generation 4.0) 2.qvane"));
    for (int i = 0; i < 300 && !QFile::exists(copy); ++i) QTest::qWait(10);
    for (int i = 0; i < 300 && w->document().isDocumentEdited(); ++i) QTest::qWait(10);
    EXPECT_FALSE(w->document().isDocumentEdited());
    EXPECT_EQ(contents(copy), old);
    EXPECT_NE(contents(path), old);
    EXPECT_EQ(contents(earlier), QByteArray("earlier copy"));
    struct stat st {};
    ASSERT_EQ(::stat(QFile::encodeName(copy).constData(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    // Said once, in a notice on the window.
    auto* notice = w->findChild<QMessageBox*>(QStringLiteral("oldGenerationCopyNotice"));
    ASSERT_NE(notice, nullptr);
    EXPECT_TRUE(notice->text().contains(QStringLiteral("vault (generation 4.0) 2.qvane")));
    notice->close();
    QTest::qWait(20);

    // The file is of the current generation now: later saves make no more copies.
    edit(w);
    EXPECT_TRUE(controller.saveDocument(w));
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files).size(), 3);
    EXPECT_EQ(w->findChild<QMessageBox*>(QStringLiteral("oldGenerationCopyNotice")), nullptr);
    w->close();
}

TEST(OutsideInput, AFieldsLoneSurrogateIsStoredAsTheReplacementCharacter) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("vault.qvane"));
    {
        MyDocument doc;
        doc.prepareNewDocument();
        doc.myArray.append(Value(RecordModel::newRecord(0)));
        doc.plainPassword = QStringLiteral("secret");
        QFile f(path);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(doc.dataOfType(QString()).value());
    }
    DocumentController controller;
    controller.setAutosavingDelay(0);
    DocumentWindow* w = openUnlocked(controller, path, QStringLiteral("secret"));
    ASSERT_NE(w, nullptr);
    w->browser().myArrayController().setSelectionIndex(0);
    w->browser().editContentToggle();  // the lock of the record form open
    auto* name = w->findChild<QLineEdit*>(keys::name + QStringLiteral("Field"));
    ASSERT_NE(name, nullptr);
    name->setText(QStringLiteral("pasted ") + QChar(char16_t(0xDC00)));  // half of a pair, as a paste can bring
    Q_EMIT name->editingFinished();
    EXPECT_EQ(w->document().myArray.at(0).toDictionary().value(keys::name).toString(),
              QStringLiteral("pasted \uFFFD"));
    w->document().updateChangeCount(ZKCryptoDoc::kChangeCleared);
    w->close();
}

TEST(OutsideInput, AConnectionThatSendsMoreThanAMebibyteWithoutEndingIsDropped) {
    const QString name = QStringLiteral("quorvane-limit-test-%1").arg(QCoreApplication::applicationPid());
    SingleInstance primary(name);
    ASSERT_TRUE(primary.becomePrimary());
    int messages = 0;
    QObject::connect(&primary, &SingleInstance::filesReceived, [&](const QStringList&) { ++messages; });
    QString socketDir = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (socketDir.isEmpty()) socketDir = QDir::tempPath();
    QLocalSocket hostile;
    hostile.connectToServer(QDir(socketDir).filePath(name + QStringLiteral(".socket")));
    ASSERT_TRUE(hostile.waitForConnected(3000));
    const QByteArray chunk(64 * 1024, 'x');
    qint64 written = 0;
    for (int i = 0; i < 64 && hostile.state() == QLocalSocket::ConnectedState; ++i) {
        written += hostile.write(chunk);
        hostile.flush();
        QTest::qWait(5);
    }
    for (int i = 0; i < 300 && hostile.state() == QLocalSocket::ConnectedState; ++i) QTest::qWait(10);
    EXPECT_EQ(hostile.state(), QLocalSocket::UnconnectedState) << written << " bytes written";
    EXPECT_EQ(messages, 0);
}
