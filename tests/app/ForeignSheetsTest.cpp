#include "DocumentController.h"
#include "DocumentWindow.h"
#include "ForeignSheets.h"
#include "ImportExportSheets.h"
#include "document/DocumentKeys.h"
#include "document/RecordModel.h"
#include "importexport/ForeignImport.h"

#include <QApplication>
#include <QComboBox>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include "support/WindowDocuments.h"

#include "support/ModalScript.h"

#include <sys/stat.h>

#include <deque>

using namespace qv;
using namespace qv::app;
using qv::test::discard;
using qv::test::ModalScript;
using qv::test::clickButton;

namespace {

// The open panel picks a file and one of the type pop-up's entries; the save panel a path.
class Panel : public FilePanel {
public:
    QString openPath, savePath;
    QString type;  // the format whose entry is picked
    QStringList offered;
    std::optional<QString> runOpenPanel(const FilePanelOptions& o) override {
        offered = o.typeChoices;
        if (o.chosenType)
            for (int i = 0; i < o.typeChoices.size(); ++i)
                if (formatForChoice(i) == type) *o.chosenType = i;
        return openPath;
    }
    std::optional<QString> runSavePanel(const FilePanelOptions&) override { return savePath; }
};

DocumentWindow* openTwoRecords(DocumentController& controller, const QString& path) {
    MyDocument doc;
    doc.prepareNewDocument();
    for (int i = 0; i < 2; ++i) {
        Dictionary r = RecordModel::newRecord(0);
        r.set(keys::name, Value(QStringLiteral("Record %1").arg(i)));
        r.set(keys::password, Value(QStringLiteral("pw \"%1\",\n🔑").arg(i)));
        r.set(keys::categoryPtr, doc.myCategoryArray.at(0));
        doc.myArray.append(Value(r));
    }
    doc.plainPassword = QStringLiteral("secret");
    return qv::test::saveOpenAndUnlock(controller, path, doc);
}

QString categoryOf(const Value& r) {
    return r.toDictionary().valueForKeyPath(QStringLiteral("categoryPtr.cat_category")).toString();
}

}  // namespace

TEST(ForeignSheets, ImportPanelOffersTheFormatsAndPreviewsBeforeAdding) {
    QTemporaryDir dir;
    DocumentController controller;
    DocumentWindow* w = openTwoRecords(controller, dir.filePath(QStringLiteral("f.qvane")));
    ASSERT_NE(w, nullptr);
    Panel panel;
    w->setFilePanel(&panel);
    panel.openPath = QStringLiteral(QV_SAMPLES_DIR "/keepass.xml");
    panel.type = QStringLiteral("keepass-xml");

    ModalScript importing({[](QWidget* sheet) {
        auto* s = qobject_cast<ForeignImportSheet*>(sheet);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->preview()->rowCount(), 5);
        EXPECT_TRUE(s->findChild<QLabel*>(QStringLiteral("importSummary"))->text().startsWith(QStringLiteral("5 records")));
        QTest::mouseClick(s->findChild<QPushButton*>(QStringLiteral("doImport")), Qt::LeftButton);
    }});
    w->action(QStringLiteral("importFromTextFile:"))->trigger();
    ASSERT_TRUE(importing.done());
    // The described text import comes first, the other formats after it.
    ASSERT_EQ(panel.offered.size(), ForeignImport::formatNames().size() + 2);
    EXPECT_TRUE(panel.offered.first().startsWith(QStringLiteral("Tab, Comma or Semicolon Text")));
    const Array& records = w->document().myArray;
    ASSERT_EQ(records.count(), 7);
    EXPECT_EQ(categoryOf(records.at(0)), QStringLiteral("Generic"));
    QStringList imported;
    for (qsizetype i = 2; i < records.count(); ++i) imported << categoryOf(records.at(i));
    EXPECT_TRUE(imported.contains(QStringLiteral("Bank / Savings")));
    EXPECT_TRUE(imported.contains(QString::fromUtf8("日本語")));
    EXPECT_TRUE(w->isWindowModified());

    // A damaged file: the user is told why, and nothing is added.
    QFile bad(dir.filePath(QStringLiteral("bad.xml")));
    ASSERT_TRUE(bad.open(QIODevice::WriteOnly));
    bad.write("<KeePassFile><Root><Group>\n<Entry>\n</Root>");
    bad.close();
    panel.openPath = bad.fileName();
    ModalScript refusing({clickButton(QStringLiteral("OK"))});
    w->action(QStringLiteral("importFromTextFile:"))->trigger();
    ASSERT_TRUE(refusing.done());
    ASSERT_EQ(refusing.seen.size(), 1);
    EXPECT_TRUE(refusing.seen[0].contains(QStringLiteral("XML line 3"))) << refusing.seen[0].toStdString();
    EXPECT_EQ(records.count(), 7);
    discard(w);
}

TEST(ForeignSheets, ExportSheetWarnsThenWritesTheVaultFormatForTheOwnerOnly) {
    QTemporaryDir dir;
    DocumentController controller;
    DocumentWindow* w = openTwoRecords(controller, dir.filePath(QStringLiteral("e.qvane")));
    ASSERT_NE(w, nullptr);
    Panel panel;
    w->setFilePanel(&panel);
    panel.savePath = dir.filePath(QStringLiteral("vault.json"));

    ModalScript exporting({[](QWidget* sheet) {
                          auto* s = qobject_cast<ExportSheet*>(sheet);
                          ASSERT_NE(s, nullptr);
                          auto* format = s->findChild<QComboBox*>(QStringLiteral("exportFormat"));
                          const int index = format->findData(QStringLiteral("bitwarden-json"));
                          ASSERT_GT(index, 5);  // after the six described formats
                          format->setCurrentIndex(index);
                          QTest::mouseClick(s->findChild<QPushButton*>(QStringLiteral("doExport")), Qt::LeftButton);
                      },
                      clickButton(QStringLiteral("Export"))});
    w->action(QStringLiteral("exportAllToTextFile:"))->trigger();
    ASSERT_TRUE(exporting.done());
    ASSERT_EQ(exporting.seen.size(), 2);
    EXPECT_EQ(exporting.seen[1], QStringLiteral("The file will hold every password in clear text."));
    struct stat st {};
    ASSERT_EQ(::stat(QFile::encodeName(panel.savePath).constData(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    QFile f(panel.savePath);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    const QJsonArray items = QJsonDocument::fromJson(f.readAll()).object().value(QStringLiteral("items")).toArray();
    ASSERT_EQ(items.size(), 2);
    EXPECT_EQ(items.at(1).toObject().value(QStringLiteral("login")).toObject().value(QStringLiteral("password")).toString(),
              QString::fromUtf8("pw \"1\",\n🔑"));
    discard(w);
}
