#include "importexport/ZKDataExportManager.h"
#include "importexport/ZKDataImportManager.h"
#include "importexport/ZKSmartStringFileReader.h"

#include "browsing/DocumentBrowser.h"
#include "document/DocumentKeys.h"
#include "document/DocumentTexts.h"
#include "document/RecordModel.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

using namespace qv;
using Reader = ZKSmartStringFileReader;

namespace {

QStringList L(std::initializer_list<const char*> items) {
    QStringList out;
    for (const char* i : items) out << QString::fromUtf8(i);
    return out;
}

QString writeFile(QTemporaryDir& dir, const char* name, const QByteArray& bytes) {
    const QString path = dir.filePath(QLatin1String(name));
    QFile f(path);
    f.open(QIODevice::WriteOnly);
    f.write(bytes);
    return path;
}

// A document of three records in two categories, for the export formats.
struct Doc {
    MyDocument doc;
    Doc() {
        doc.prepareNewDocument();
        Dictionary bank = RecordModel::newCategory(QStringLiteral("Bank"), 2);
        doc.myCategoryArray.append(Value(bank));
        auto add = [&](const char* name, const char* user, const char* note, const Value& cat) {
            Dictionary r = RecordModel::newRecord(0);
            r.set(keys::name, Value(name));
            r.set(keys::userID, Value(user));
            r.set(keys::note, Value(note));
            r.set(keys::categoryPtr, cat);
            doc.myArray.append(Value(r));
        };
        add("Savings", "js", "line one\r\nline two", Value(bank));
        add("Mail, home", "j\tsmith", "say \"hi\"", doc.myCategoryArray.at(0));
        add("Orphan", "", "", Value());
    }
    ZKDataExportManager exporter(int format, std::initializer_list<qsizetype> fields) {
        ZKDataExportManager e(doc.myArray, RecordModel::keyArray());
        e.fileFormatToSave = format;
        std::vector<qsizetype> chosen(fields);
        e.addSelectedToRight(chosen);
        return e;
    }
};

}  // namespace

TEST(TextFileReader, EncodingsAndTheAutomaticChains) {
    QTemporaryDir dir;
    const QByteArray roman("caf\x8E\n", 5);  // é in Mac OS Roman
    const QString romanPath = writeFile(dir, "roman.txt", roman);
    EXPECT_FALSE(Reader::autoReadFromFile(romanPath, 0).has_value());  // the running error decides
    EXPECT_EQ(Reader::autoReadFromFile(romanPath, 30), QString::fromUtf8("caf\xC3\xA9\n"));
    EXPECT_EQ(Reader::autoReadFromData(roman, 0), QString::fromUtf8("caf\xC3\xA9\n"));  // first success wins
    EXPECT_FALSE(Reader::autoReadFromFile(romanPath, 7).has_value());  // unassigned codes are automatic

    const QString utf8 = writeFile(dir, "utf8.txt", QByteArray("\xC3\xA9t\xC3\xA9"));
    EXPECT_EQ(Reader::autoReadFromFile(utf8, 0), QString::fromUtf8("\xC3\xA9t\xC3\xA9"));
    const QString utf16 = writeFile(dir, "utf16.txt", QByteArray("\xFF\xFE" "a\0b\0", 6));
    EXPECT_EQ(Reader::autoReadFromFile(utf16, 0), QStringLiteral("ab"));
    EXPECT_EQ(Reader::autoReadFromFile(utf16, 12), QStringLiteral("ab"));
    EXPECT_FALSE(Reader::autoReadFromFile(dir.filePath(QStringLiteral("missing")), 0).has_value());
    EXPECT_FALSE(Reader::autoReadFromFile(dir.filePath(QStringLiteral("missing")), 1).has_value());
    EXPECT_FALSE(Reader::autoReadFromFile(utf8, 50).has_value());  // ASCII refuses bytes above 127

    QString lines = QStringLiteral("a\r\nb\rc\n\rd");
    EXPECT_EQ(Reader::replaceStringWithNewline(lines), QStringLiteral("a\nb\nc\n\nd"));
}

TEST(TextFileReader, WideEncodingsRefuseWhatIsNotValidInThem) {
    const QByteArray b(QByteArray::fromHex("D83DDE00"));  // one character beyond the BMP, UTF-16BE
    EXPECT_EQ(Reader::decode(b, Reader::UTF16BE), QString::fromUtf8("\xF0\x9F\x98\x80"));
    EXPECT_EQ(Reader::decode(QByteArray::fromHex("0001F600"), Reader::UTF32BE), QString::fromUtf8("\xF0\x9F\x98\x80"));
    EXPECT_EQ(Reader::decode(QByteArray::fromHex("FFFE6100"), Reader::UTF16), QStringLiteral("a"));

    EXPECT_FALSE(Reader::decode(QByteArray::fromHex("610062"), Reader::UTF16LE));      // an odd trailing byte
    EXPECT_FALSE(Reader::decode(QByteArray::fromHex("FEFF0061DC00"), Reader::UTF16));  // a lone low surrogate
    EXPECT_FALSE(Reader::decode(QByteArray::fromHex("D83D0061"), Reader::UTF16BE));   // a high one without its low
    EXPECT_FALSE(Reader::decode(QByteArray::fromHex("D83D"), Reader::UTF16BE));
    EXPECT_FALSE(Reader::decode(QByteArray::fromHex("6100000062"), Reader::UTF32LE));  // a wrong length
    EXPECT_FALSE(Reader::decode(QByteArray::fromHex("00110000"), Reader::UTF32BE));   // beyond U+10FFFF
    EXPECT_FALSE(Reader::decode(QByteArray::fromHex("0000D800"), Reader::UTF32BE));   // a surrogate's value
    // Automatic reading of such bytes can't settle on a wide encoding either.
    QTemporaryDir dir;
    const QString odd = writeFile(dir, "odd.txt", QByteArray::fromHex("FFFE610062"));
    EXPECT_FALSE(Reader::autoReadFromFile(odd, 0).has_value());
    EXPECT_FALSE(Reader::autoReadFromFile(odd, 10).has_value());
}

TEST(RowSplitters, QuotesSeparatorsWhatTheyDeliberatelyDoNotAndTheDialectChosen) {
    using rows::componentsOfCsvRow;
    EXPECT_EQ(componentsOfCsvRow(QStringLiteral("a,\"b,c\",d")), L({"a", "b,c", "d"}));
    EXPECT_EQ(componentsOfCsvRow(QStringLiteral("\"a\"\"b\"")), L({"a\"\"b"}));  // no escape
    EXPECT_EQ(componentsOfCsvRow(QStringLiteral(" \"x\" ,y")), L({" \"x\" ", "y"}));  // spaces kept
    EXPECT_EQ(componentsOfCsvRow(QStringLiteral("a,\"b,c,d")), L({"a", "\"b,c,d"}));  // unbalanced
    EXPECT_EQ(componentsOfCsvRow(QStringLiteral("a,b,")), L({"a", "b", ""}));
    EXPECT_EQ(componentsOfCsvRow(QStringLiteral("a,\"")), L({"a", "\""}));  // a lone quote stays
    EXPECT_FALSE(componentsOfCsvRow(QStringLiteral("   ")).has_value());
    EXPECT_EQ(rows::componentsOfCsvUsingSemicolonRow(QStringLiteral("a;\"b;c\"")), L({"a", "b;c"}));

    // Dialect detection: totals and ties.
    auto detect = [](const char* text) { return rows::detectDialect(QString::fromLatin1(text)); };
    EXPECT_EQ(detect("a,b\nc,d\n"), 2);              // 4 / 2 / 3
    EXPECT_EQ(detect("a\nb\nc\nd\ne\n"), 1);         // 5 / 5 / 6
    EXPECT_EQ(detect("a,b\n\n\n\n\n"), 1);           // 2 / 1 / 6: blank lines count for tab only
    EXPECT_EQ(detect("a;b;c\nd;e;f\n"), 3);
    EXPECT_EQ(detect(""), 1);

    ZKDataImportManager grid{Array(), Array()};
    grid.loadDataFromText(QStringLiteral("a,b,c\nd,e,f,g,h\n"), 0);
    EXPECT_EQ(grid.grid().size(), 2u);
    EXPECT_EQ(grid.grid()[0].size(), 3);
    EXPECT_EQ(grid.destFieldArray().size(), 5u);  // as long as the longest row
    grid.loadDataFromText(QString(), 0);
    EXPECT_TRUE(grid.grid().empty());
    EXPECT_EQ(grid.destFieldArray().size(), 1u);
    grid.loadDataFromText(QStringLiteral("   \nx\n"), 2);
    EXPECT_EQ(grid.grid().size(), 1u);  // a row of spaces is dropped by the quoted splitter
    grid.loadDataFromText(QStringLiteral("   \nx\n"), 1);
    EXPECT_EQ(grid.grid().size(), 2u);  // and kept as one field under tab
    grid.loadDataFromText(QStringLiteral("a,b\n"), 4);
    EXPECT_TRUE(grid.grid().empty() && grid.destFieldArray().empty());
}

// The rows of a loaded file are cut out of its text when asked for; by number and in order they
// must give what splitting each kept line gives, across the index's steps of 64 rows, with lines
// that give no row (empty, only spaces) and CR LF line ends in between.
TEST(ImportRows, ByNumberAndInOrderMatchTheLinesSplitOneByOne) {
    for (int dialect : {1, 2, 3}) {
        SCOPED_TRACE(dialect);
        const QChar sep = dialect == 1 ? QLatin1Char('\t') : dialect == 2 ? QLatin1Char(',') : QLatin1Char(';');
        QString text;
        std::vector<QStringList> expected;
        for (int i = 0; i < 300; ++i) {
            if (i % 7 == 3) text += QStringLiteral("\r\n");  // an empty line: never a row
            if (dialect != 1 && i % 11 == 5) text += QStringLiteral("   \n");  // spaces: a row only under tab
            if (dialect == 1 && i % 11 == 5) {
                text += QStringLiteral("   \n");
                expected.push_back({QStringLiteral("   ")});
            }
            QStringList fields{QStringLiteral("r%1").arg(i), QStringLiteral("v").repeated(i % 5)};
            if (i % 3 == 0) fields << QStringLiteral("third");
            QString line = fields.join(sep);
            if (dialect != 1 && i % 13 == 0) {  // a quoted field holding the separator
                line += sep + QStringLiteral("\"x%1y\"").arg(sep);
                fields << QStringLiteral("x%1y").arg(sep);
            }
            text += line + (i % 2 ? QStringLiteral("\r\n") : QStringLiteral("\n"));
            expected.push_back(fields);
        }
        text += QStringLiteral("last") + sep + QStringLiteral("row");  // no line end after it
        expected.push_back({QStringLiteral("last"), QStringLiteral("row")});

        ZKDataImportManager m{Array(), Array()};
        m.loadDataFromText(text, dialect);
        const ImportRows& rows = m.grid();
        ASSERT_EQ(rows.size(), expected.size());
        EXPECT_EQ(m.numOfMaxFieldInImportedData, dialect == 1 ? 3 : 4);
        for (std::size_t i = expected.size(); i-- > 0;) ASSERT_EQ(rows[i], expected[i]) << "row " << i;
        std::size_t i = 0;
        for (const QStringList& row : rows) {
            ASSERT_LT(i, expected.size());
            EXPECT_EQ(row, expected[i]) << "row " << i;
            ++i;
        }
        EXPECT_EQ(i, expected.size());
        EXPECT_EQ(rows.front(), expected.front());
        EXPECT_TRUE(rows[expected.size()].isEmpty());  // past the end: nothing, no crash
    }
}

// Each row becomes one record with the fields of that row, in the file's order, whatever the
// distance between rows; once imported, the rows read as empty and are not imported twice.
TEST(ImportRows, TheImportTakesEveryRowOnceInOrderAndLetsTheTextGo) {
    MyDocument doc;
    doc.prepareNewDocument();
    MyDataImportManager m(doc.myArray, doc.myKeyArrayForImport);
    m.now = [] { return 50.0; };
    QString text = QStringLiteral("Name\tUrl\tPin\n");
    for (int i = 0; i < 200; ++i) {
        text += QStringLiteral("n%1\tu%1").arg(i) + (i % 4 ? QStringLiteral("\t%1").arg(i) : QString()) + QStringLiteral("\n");
        if (i % 9 == 0) text += QStringLiteral("\n\n");
    }
    m.loadDataFromText(text, 0);
    ASSERT_EQ(m.grid().size(), 201u);
    m.tryAssignFromFirstRow();
    m.DoImport();
    ASSERT_EQ(doc.myArray.count(), 200);
    for (int i = 0; i < 200; ++i) {
        const Dictionary r = doc.myArray.at(i).toDictionary();
        EXPECT_EQ(r.value(keys::name).toString(), QStringLiteral("n%1").arg(i));
        EXPECT_EQ(r.value(keys::url).toString(), QStringLiteral("u%1").arg(i));
        EXPECT_EQ(r.value(keys::pin).toString(), i % 4 ? QString::number(i) : QString());
    }
    EXPECT_EQ(m.grid().size(), 201u);
    for (const QStringList& row : m.grid()) EXPECT_TRUE(row.isEmpty());
    EXPECT_TRUE(m.grid()[7].isEmpty());
    m.DoImport();  // nothing left to take
    EXPECT_EQ(doc.myArray.count(), 200);
}

TEST(ImportSession, MappingToolsAndTheImportWithCategories) {
    MyDocument doc;
    doc.prepareNewDocument();
    DocumentBrowser browser(doc);
    MyDataImportManager m(doc.myArray, doc.myKeyArrayForImport);
    m.now = [] { return 50.0; };
    m.loadDataFromText(QStringLiteral("c0\tc1\tc2\tc3\tc4\tc5\tc6\tc7\tc8\tc9\tc10\tc11\n"), 0);
    m.AssignCascadeImportFields();
    EXPECT_EQ(m.numberOfImportedFields, 10);
    EXPECT_EQ(m.destFieldArray()[10].destination, 0);
    EXPECT_EQ(m.fromElementInRowToFieldKey(0), keys::categoryNAME);
    EXPECT_EQ(m.fromElementInRowToFieldKey(9), keys::note);

    m.ResetImportFields();
    m.destinationSelected(0, 3);
    m.destinationSelected(1, 3);  // the latest pick wins
    EXPECT_EQ(m.destFieldArray()[0].destination, 0);
    EXPECT_EQ(m.numberOfImportedFields, 1);
    m.destinationSelected(2, 1);  // counted and flagged, but its key is empty
    EXPECT_EQ(m.numberOfImportedFields, 2);

    m.loadDataFromText(QStringLiteral("NAME,Url,pin,Category\nBank,https://b.example,1234,Money\n"
                                      "Shop,https://s.example,,Money\nMail,,,\n"), 0);
    m.tryAssignFromFirstRow();
    EXPECT_EQ(m.destFieldArray()[0].destination, 3);
    EXPECT_EQ(m.destFieldArray()[1].destination, 4);
    EXPECT_EQ(m.destFieldArray()[2].destination, 8);
    EXPECT_TRUE(m.doNotImportFirstRecord);
    bool told = false;
    m.requester = [&] { told = true; };
    m.DoImport();
    EXPECT_TRUE(told);
    ASSERT_EQ(doc.myArray.count(), 3);
    browser.justFinishedImporting();
    const Dictionary bank = doc.myArray.at(0).toDictionary();
    EXPECT_EQ(bank.value(keys::pin).toString(), QStringLiteral("1234"));
    EXPECT_EQ(bank.valueForKeyPath(QStringLiteral("categoryPtr.cat_category")).toString(), QStringLiteral("Money"));
    EXPECT_TRUE(doc.myArray.at(1).toDictionary().value(keys::categoryPtr).isIdenticalTo(bank.value(keys::categoryPtr)));
    EXPECT_EQ(doc.myCategoryArray.count(), 2);  // Generic and one Money
    for (const Value& r : doc.myArray) EXPECT_FALSE(r.toDictionary().contains(keys::categoryNAME));
    // An empty cell goes through the usual choice for new records: the category of the selected
    // record, which is the first one here.
    EXPECT_EQ(doc.myArray.at(2).toDictionary().valueForKeyPath(QStringLiteral("categoryPtr.cat_category")).toString(),
              QStringLiteral("Money"));
    EXPECT_TRUE(doc.isDocumentEdited());

    MyDataImportManager empty(Array(), doc.myKeyArrayForImport);
    empty.loadDataFromText(QString(), 0);
    empty.tryAssignFromFirstRow();  // no header row: nothing mapped, no failure
    EXPECT_EQ(empty.numberOfImportedFields, 0);
}

TEST(ExportFormats, ExactTextOfEachFormat) {
    Doc d;
    // Fields: Category, Name, User ID, Note.
    auto text = [&](int format, bool header) {
        ZKDataExportManager e = d.exporter(format, {0, 1, 4, 9});
        e.useFieldNamesAsFirstRow = header;
        return e.exportText();
    };
    EXPECT_EQ(text(1, true), QStringLiteral("Category\tName\tUser ID\tNote\n"
                                            "Bank\tSavings\tjs\tline one line two\n"
                                            "Generic\tMail, home\tj smith\tsay \"hi\"\n"
                                            "\tOrphan\t\t"));
    EXPECT_EQ(text(2, false), QStringLiteral("\"Bank\",\"Savings\",\"js\",\"line one line two\"\n"
                                             "\"Generic\",\"Mail, home\",\"j\tsmith\",\"say \"hi\"\"\n"
                                             "\"\",\"Orphan\",\"\",\"\""));
    EXPECT_EQ(text(5, false), QStringLiteral("Bank,Savings,js,line one line two\n"
                                             "Generic,Mail home,j\tsmith,say \"hi\"\n"
                                             ",Orphan,,"));
    EXPECT_EQ(text(3, false).left(43), QStringLiteral("<table><tr><td>Bank</td><td>Savings</td><td"));
    EXPECT_TRUE(text(4, false).startsWith(QStringLiteral("<!DOCTYPE html><html><body><table><tr>")));
    EXPECT_TRUE(text(4, false).endsWith(QStringLiteral("</tr></table></body></html>")));
    EXPECT_EQ(text(9, false), QStringLiteral("BankSavingsjsline one\r\nline twoGenericMail, homej\tsmithsay \"hi\"Orphan"));

    // Nothing chosen, three records, tab: two line ends.
    ZKDataExportManager none(d.doc.myArray, RecordModel::keyArray());
    EXPECT_EQ(none.exportText(), QStringLiteral("\n\n"));

    // A header with no records: tab ends without a line end, the table closes its row.
    ZKDataExportManager emptyTab(Array(), RecordModel::keyArray());
    emptyTab.addSelectedToRight({1, 2});
    emptyTab.useFieldNamesAsFirstRow = true;
    EXPECT_EQ(emptyTab.exportText(), QStringLiteral("Name\tUrl"));
    emptyTab.fileFormatToSave = 3;
    EXPECT_EQ(emptyTab.exportText(), QStringLiteral("<table><tr><td>Name</td><td>Url</td></tr></table>"));

    // Custom: the presets' "\n" and "\t" become real characters; "no" ends without the last end.
    ZKDataExportManager custom = d.exporter(0, {1});
    custom.setCustomFields(1);
    custom.field_separator = QStringLiteral("\\t");
    custom.use_end_of_record_in_last_record = QStringLiteral("no");
    EXPECT_EQ(custom.exportText(), QStringLiteral("Savings\nMail, home\nOrphan"));
    custom.use_end_of_record_in_last_record = QStringLiteral(" yes");
    EXPECT_TRUE(custom.exportText().endsWith(QLatin1Char('\n')));
    for (const char* no : {"01", "+1", "0", ""}) {
        custom.use_end_of_record_in_last_record = QLatin1String(no);
        EXPECT_FALSE(custom.exportText().endsWith(QLatin1Char('\n'))) << no;
    }
    custom.use_end_of_record_in_last_record = QStringLiteral("\t7");
    EXPECT_TRUE(custom.exportText().endsWith(QLatin1Char('\n')));
    EXPECT_EQ(ZKDataExportManager::suggestedNameFor(QStringLiteral("Vault.qvane")), QStringLiteral("Vault Export"));
    EXPECT_EQ(ZKDataExportManager::fileExtensionForFormat(3), QStringLiteral("txt"));

    // Moving fields in the right-hand list.
    ZKDataExportManager order = d.exporter(1, {1, 2, 3});
    EXPECT_EQ(order.moveUp(2), 1);
    EXPECT_EQ(order.rightKeyArray.at(1).toDictionary().value(keys::publicKey).toString(), QStringLiteral("Account"));
    EXPECT_EQ(order.moveDown(2), 2);  // already last
}

TEST(ExportImportRoundTrip, TenFieldsComeBack) {
    Doc d;
    ZKDataExportManager e(d.doc.myArray, RecordModel::keyArray());
    e.addAllToRight();
    e.fileFormatToSave = 2;
    e.useFieldNamesAsFirstRow = true;
    const QString text = e.exportText();

    MyDocument target;
    target.prepareNewDocument();
    DocumentBrowser browser(target);
    MyDataImportManager m(target.myArray, target.myKeyArrayForImport);
    m.loadDataFromText(text, 0);
    m.tryAssignFromFirstRow();
    EXPECT_EQ(m.numberOfImportedFields, 10);
    m.DoImport();
    browser.justFinishedImporting();
    ASSERT_EQ(target.myArray.count(), 3);
    for (qsizetype i = 0; i < 3; ++i) {
        const Dictionary in = d.doc.myArray.at(i).toDictionary(), out = target.myArray.at(i).toDictionary();
        for (const QString* k : {&keys::name, &keys::userID, &keys::url, &keys::account, &keys::password})
            EXPECT_EQ(out.value(*k).toString(), in.value(*k).toString()) << i << " " << k->toStdString();
    }
    // The documented cleaning: a line end in a note became a space.
    EXPECT_EQ(target.myArray.at(0).toDictionary().value(keys::note).toString(), QStringLiteral("line one line two"));
}

TEST(ExportFile, TheFileIsTheTextInUtf8WhateverTheFieldSizes) {
    // The file is encoded as the text is made, a buffer at a time: a note longer than the buffer,
    // a surrogate pair split between two fields that nothing separates (format 9), lone
    // surrogates inside and at the very end come out as the whole text converted at once.
    Doc d;
    const Array& r = d.doc.myArray;
    r.at(0).toDictionary().set(keys::note, Value(QString(300000, QLatin1Char('x')) + QStringLiteral("\U0001F511") + QChar(0xDC00)));
    r.at(1).toDictionary().set(keys::name, Value(QStringLiteral("Mail") + QChar(0xD83D)));
    r.at(1).toDictionary().set(keys::note, Value(QChar(0xDD11) + QStringLiteral("key")));
    r.at(2).toDictionary().set(keys::note, Value(QStringLiteral("end") + QChar(0xD83D)));
    QTemporaryDir dir;
    for (int format : {1, 2, 9}) {
        ZKDataExportManager e = d.exporter(format, {1, 9});
        const QString path = dir.filePath(QStringLiteral("out.txt"));
        ASSERT_TRUE(e.writeToFile(path));
        QFile f(path);
        ASSERT_TRUE(f.open(QIODevice::ReadOnly));
        const QByteArray bytes = f.readAll();
        EXPECT_EQ(bytes, e.exportText().toUtf8()) << "format " << format;
        EXPECT_EQ(bytes.contains("Mail\xF0\x9F\x94\x91key"), format == 9);
    }
}

namespace {
// Logs the steps of an export as its hooks and the file panel see them.
class LoggingExport : public ZKDataExportManager {
public:
    using ZKDataExportManager::ZKDataExportManager;
    QStringList* log = nullptr;

protected:
    void willExport() override { *log << QStringLiteral("willExport"); }
    void didExport() override { *log << QStringLiteral("didExport"); }
};

class LoggingPanel : public FilePanel {
public:
    QStringList* log = nullptr;
    FilePanelOptions options;
    std::optional<QString> answer;
    std::optional<QString> runOpenPanel(const FilePanelOptions&) override { return std::nullopt; }
    std::optional<QString> runSavePanel(const FilePanelOptions& o) override {
        *log << QStringLiteral("panel");
        options = o;
        return answer;
    }
};
}  // namespace

TEST(ExportFile, WillExportRunsBeforeThePanelAndACancelledPanelEndsTheExport) {
    QTemporaryDir dir;
    QStringList log;
    LoggingExport e(Array(), RecordModel::keyArray());
    e.log = &log;
    e.fileFormatToSave = 5;
    e.suggestedFileName = ZKDataExportManager::suggestedNameFor(QStringLiteral("Vault.qvane"));
    LoggingPanel panel;
    panel.log = &log;
    EXPECT_FALSE(e.chooseFile(panel, [&] { log << QStringLiteral("sheet ends"); }).has_value());
    EXPECT_EQ(log, (QStringList{QStringLiteral("willExport"), QStringLiteral("sheet ends"), QStringLiteral("panel")}));
    EXPECT_EQ(panel.options.suggestedName, QStringLiteral("Vault Export.csv"));
    EXPECT_EQ(panel.options.allowedExtensions, QStringList{QStringLiteral("csv")});

    log.clear();
    panel.answer = dir.filePath(QStringLiteral("out.csv"));
    const auto path = e.chooseFile(panel);
    ASSERT_TRUE(path.has_value());
    ASSERT_TRUE(e.writeToFile(*path));
    EXPECT_EQ(log, (QStringList{QStringLiteral("willExport"), QStringLiteral("panel"), QStringLiteral("didExport")}));
}

TEST(ExportFile, AFileThatCannotBeWrittenGivesTheReasonAndLeavesNothingBehind) {
    // The folder the file was to go in does not exist (say, a removed drive): the export fails
    // with the system's reason, tells its end all the same, and leaves no file or part of one.
    QTemporaryDir dir;
    QStringList log;
    LoggingExport e(Array(), RecordModel::keyArray());
    e.log = &log;
    e.addAllToRight();
    const QString path = dir.filePath(QStringLiteral("gone/out.txt"));
    const auto written = e.writeToFile(path);
    ASSERT_FALSE(written);
    EXPECT_FALSE(written.message().isEmpty());
    EXPECT_EQ(log, QStringList{QStringLiteral("didExport")});
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_TRUE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).isEmpty());
}

namespace {

// A document for the comparison below: categories with ids 1, 2, 5 and 6, two of them with the
// same title, records in them, and the rows of a file already imported into it: a category a
// row for most, titles met again, the default category's title, an existing title, and rows with
// no category between them (which take the category chosen for a new record).
struct ImportedNotYetFiled {
    MyDocument doc;
    std::unique_ptr<DocumentBrowser> browser;
    qsizetype before = 0;
    ImportedNotYetFiled() {
        doc.prepareNewDocument();
        for (const auto& [title, id] : {std::pair{"Work", 2}, std::pair{"Home", 5}, std::pair{"Work", 6}})
            doc.myCategoryArray.append(Value(RecordModel::newCategory(QString::fromLatin1(title), id)));
        for (int i = 0; i < 6; ++i) {
            Dictionary r = RecordModel::newRecord(100);
            r.set(keys::name, Value(QStringLiteral("Old %1").arg(i)));
            r.set(keys::categoryPtr, doc.myCategoryArray.at(i % doc.myCategoryArray.count()));
            RecordModel::assignCategory(doc.myCategoryArray, doc.myCategoryArray.at(i % doc.myCategoryArray.count()), Value(r),
                                        [] { return Value(); });
            doc.myArray.append(Value(r));
        }
        browser = std::make_unique<DocumentBrowser>(doc);
        browser->bindTables();
        before = doc.myArray.count();
        QString text;
        for (int i = 0; i < 600; ++i) {
            const QString title = i % 9 == 4   ? QString()
                                  : i % 50 == 7 ? QStringLiteral("Work")
                                  : i % 50 == 8 ? texts::defaultCategoryName
                                  : i % 3 == 0  ? QStringLiteral("Again %1").arg(i % 7)
                                                : QStringLiteral("Row %1").arg(i);
            text += QStringLiteral("%1\tEntry %2\n").arg(title).arg(i);
        }
        MyDataImportManager m(doc.myArray, doc.myKeyArrayForImport);
        m.now = [] { return 5000.0; };
        m.loadDataFromText(text, 1);
        m.ImportSettings();
        m.AssignCascadeImportFields();
        m.DoImport();
    }
};

// Each category in the list's order, each record with its category, then the arrangement and the
// selections of both lists.
QStringList filed(ImportedNotYetFiled& f) {
    auto title = [](const Value& c) {
        const Dictionary d = c.toDictionary();
        return QStringLiteral("%1#%2").arg(d.value(keys::cat_category).toString()).arg(d.value(keys::cat_uniqueID).toInt64());
    };
    QStringList out;
    for (const Value& c : f.doc.myCategoryArray) {
        QStringList names;
        for (const Value& r : c.toDictionary().value(keys::records).toArray()) names << r.toDictionary().value(keys::name).toString();
        out << title(c) + QStringLiteral(" uses %1: ").arg(c.toDictionary().value(keys::cat_howManyUsingThis).toInt64()) +
                   names.join(QLatin1Char(','));
    }
    for (const Value& r : f.doc.myArray) {
        const Dictionary d = r.toDictionary();
        out << d.value(keys::name).toString() + QLatin1String(" in ") + title(d.value(keys::categoryPtr)) +
                   QStringLiteral(" keys %1").arg(d.keys().join(QLatin1Char(',')));
    }
    QStringList arranged, selected;
    for (const Value& c : f.browser->myCategoryArrayController().arrangedObjects()) arranged << title(c);
    for (const Value& c : f.browser->myCategoryArrayController().selectedObjects()) selected << title(c);
    out << arranged.join(QLatin1Char(',')) << selected.join(QLatin1Char(','));
    for (const Value& r : f.browser->myArrayController().selectedObjects()) out << r.toDictionary().value(keys::name).toString();
    return out;
}

}  // namespace

TEST(ImportSession, CategoriesMadeInOnePassAreThoseMadeOneByOne) {
    for (const bool fromFirstImported : {false, true}) {
        // One by one: each title looked for among all categories, and added (arranged, selected)
        // when missing, as the list controller does for a single category.
        ImportedNotYetFiled expected;
        {
            DocumentBrowser& b = *expected.browser;
            b.myArrayController().setContent(expected.doc.myArray);
            for (qsizetype i = fromFirstImported ? expected.before : 0; i < expected.doc.myArray.count(); ++i) {
                const Value r = expected.doc.myArray.at(i);
                Dictionary record = r.toDictionary();
                const QString t = record.value(keys::categoryNAME).toString();
                if (!t.isEmpty()) {
                    Value c = b.myCategoryArrayController().categoryWithTitle(t);
                    if (c.isAbsent()) c = b.myCategoryArrayController().addWithName(t);
                    b.myArrayController().assignCategory(c, r);
                } else {
                    b.myArrayController().assignCategory(b.myArrayController().catToAssignToNewObject(), r);
                }
                record.remove(keys::categoryNAME);
            }
            b.justFinishedImporting(expected.doc.myArray.count());  // what follows the filing
        }
        ImportedNotYetFiled actual;
        int turns = 0;
        actual.browser->justFinishedImporting(fromFirstImported ? actual.before : 0, [&turns] { ++turns; });
        const QStringList want = filed(expected);
        EXPECT_EQ(filed(actual), want);
        EXPECT_GT(turns, 600);
        // The comparison has something to compare: new categories a row, ids filling the gaps.
        EXPECT_GT(expected.doc.myCategoryArray.count(), 300);
        EXPECT_TRUE(want.join(QLatin1Char('\n')).contains(QStringLiteral("#3 uses")));
    }
}
