#include "importexport/ForeignExport.h"
#include "importexport/ForeignImport.h"
#include "importexport/KdbxReader.h"
#include "importexport/Rfc4180.h"

#include "browsing/DocumentBrowser.h"
#include "document/DocumentKeys.h"
#include "document/RecordModel.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace qv;

namespace {

QString U(const char* s) { return QString::fromUtf8(s); }

// What a failed result says, and what it is; nothing for a success.
template <class R>
std::string messageOf(const R& r) {
    return r.ok() ? std::string() : r.message().toStdString();
}
template <class R>
auto problemOf(const R& r) {
    return r.ok() ? std::nullopt : std::optional(r.kind());
}

QByteArray sample(const char* name) {
    QFile f(QStringLiteral(QV_SAMPLES_DIR "/") + QLatin1String(name));
    EXPECT_TRUE(f.open(QIODevice::ReadOnly)) << name;
    return f.readAll();
}

struct Read {
    ForeignImport::Read result = qsizetype(0);
    std::vector<ForeignEntry> entries;
};

Read readAll(const QString& format, const QByteArray& data, const QString& password = {}) {
    Read r;
    r.result = ForeignImport::read(format, data, password, [&r](ForeignEntry&& e) { r.entries.push_back(std::move(e)); });
    return r;
}

const ForeignEntry* byTitle(const Read& r, const QString& title) {
    for (const ForeignEntry& e : r.entries)
        if (e.title == title) return &e;
    return nullptr;
}

QString categoryOf(const Value& record) {
    return record.toDictionary().valueForKeyPath(QStringLiteral("categoryPtr.cat_category")).toString();
}

}  // namespace

TEST(Rfc4180, QuotesSeparatorsLineBreaksAndMarks) {
    const QString text = QChar(0xFEFF) + U("a,\"b \"\"q\"\", c\",\r\n\"multi\nline\",,\"\"\r\n\r\nlast,x,y\n");
    rfc4180::Reader reader(text);
    // A record's fields; "<none>" for the end or a failure.
    auto fieldsOf = [](const Result<rfc4180::Reader::Record>& record) {
        return record.ok() && *record ? **record : QStringList{U("<none>")};
    };
    EXPECT_EQ(fieldsOf(reader.next()), (QStringList{U("a"), U("b \"q\", c"), QString()}));
    EXPECT_EQ(fieldsOf(reader.next()), (QStringList{U("multi\nline"), QString(), QString()}));
    EXPECT_EQ(fieldsOf(reader.next()), (QStringList{U("last"), U("x"), U("y")}));
    EXPECT_EQ(reader.recordLine(), 5);  // the blank line is passed over, the line count is not
    const auto end = reader.next();
    ASSERT_TRUE(end.ok()) << messageOf(end);
    EXPECT_FALSE(end->has_value());

    // Errors name the line where the trouble is, and stay.
    const QString unclosedText = U("a,b\nc,\"never\nclosed\n");  // the reader only views its text
    rfc4180::Reader unclosed(unclosedText);
    EXPECT_EQ(fieldsOf(unclosed.next()), (QStringList{U("a"), U("b")}));
    const auto neverClosed = unclosed.next();
    EXPECT_TRUE(QString::fromStdString(messageOf(neverClosed)).startsWith(U("line 2:"))) << messageOf(neverClosed);
    EXPECT_EQ(messageOf(unclosed.next()), messageOf(neverClosed));
    const QString strayText = U("a,b\nc,d\"e\n");
    rfc4180::Reader stray(strayText);
    EXPECT_EQ(fieldsOf(stray.next()), (QStringList{U("a"), U("b")}));
    EXPECT_TRUE(QString::fromStdString(messageOf(stray.next())).startsWith(U("line 2:")));

    // Written and read back unchanged, whatever the field holds.
    const QStringList awkward = {U("q\"uote"), U("com,ma"), U("cr\r\nlf"), U("tab\there"), QString(), U("日本🔑")};
    const QString line = rfc4180::joinRecord(awkward, false, U("\r\n"));
    rfc4180::Reader back(line);
    EXPECT_EQ(fieldsOf(back.next()), awkward);
}

// Each sample has five entries or more, nested groups or folders, a multi-line note with quotes
// and non-Latin text; each is told apart by its content alone.
TEST(ForeignSamples, EachFormatReadsItsSample) {
    struct Case {
        const char* file;
        const char* format;
        qsizetype count;
    };
    for (const Case& c : {Case{"keepass.xml", "keepass-xml", 5}, Case{"bitwarden.json", "bitwarden-json", 5},
                          Case{"bitwarden.csv", "bitwarden-csv", 5}, Case{"chrome.csv", "chrome-csv", 5},
                          Case{"firefox.csv", "firefox-csv", 5}, Case{"generic.csv", "csv", 5}}) {
        const QByteArray data = sample(c.file);
        EXPECT_EQ(ForeignImport::detectFormat(data), QLatin1String(c.format)) << c.file;
        const Read r = readAll(QStringLiteral("auto"), data);
        EXPECT_TRUE(r.result.ok()) << c.file << ": " << messageOf(r.result);
        EXPECT_EQ(qsizetype(r.entries.size()), c.count) << c.file;
        EXPECT_EQ(r.result.ok() ? *r.result : -1, c.count) << c.file;
    }
}

TEST(ForeignSamples, KeePassXmlFieldsGroupsTimesAndRecycleBin) {
    const Read r = readAll(QStringLiteral("keepass-xml"), sample("keepass.xml"));
    const ForeignEntry* savings = byTitle(r, U("Savings account"));
    ASSERT_TRUE(savings);
    EXPECT_EQ(savings->group, (QStringList{U("Bank"), U("Savings")}));  // the root group is no category
    EXPECT_EQ(savings->password, U("s\"ecret,1"));
    EXPECT_EQ(savings->userName, U("jsmith"));
    // Custom strings follow the note as lines, whatever their order in the entry; a string named
    // like one of the record's own fields fills that field.
    EXPECT_EQ(savings->notes, U("Branch said: \"keep the card\"\nSecond line, with a comma\nPIN code: 4321"));
    EXPECT_EQ(savings->email, U("j@bank.example"));
    ASSERT_TRUE(savings->created && savings->modified);
    EXPECT_EQ(ForeignImport::isoFromDate(*savings->created), U("2020-01-02T03:04:05.000Z"));
    EXPECT_EQ(ForeignImport::isoFromDate(*savings->modified), U("2022-02-03T04:05:06.000Z"));
    EXPECT_FALSE(byTitle(r, U("Old savings")));  // a history version is not an entry
    EXPECT_FALSE(byTitle(r, U("Deleted one")));   // nor is what lies in the recycle bin
    const ForeignEntry* mail = byTitle(r, U("メール"));
    ASSERT_TRUE(mail);
    EXPECT_EQ(mail->group, QStringList{U("日本語")});
    EXPECT_EQ(mail->password, U("パスワード🔑"));
    EXPECT_EQ(mail->notes, U("otp: otpauth://totp/x?secret=ABC"));
    const ForeignEntry* router = byTitle(r, U("Router"));
    ASSERT_TRUE(router);
    EXPECT_TRUE(router->group.isEmpty());
    EXPECT_EQ(router->password, U("r0uter&<pw>"));
}

TEST(ForeignSamples, KeePassXmlInPiecesOfOneByteReadsTheSame) {
    // A database's content comes in pieces that may end anywhere, inside a value too.
    const QByteArray xml = sample("keepass.xml");
    const Read whole = readAll(QStringLiteral("keepass-xml"), xml);
    Read pieces;
    qsizetype at = 0;
    pieces.result = ForeignImport::readKeePassXmlPieces(
        [&](QByteArray* piece) -> Result<bool> {
            if (at >= xml.size()) return false;
            *piece = xml.mid(at++, 1);
            return true;
        },
        [&pieces](ForeignEntry&& e) { pieces.entries.push_back(std::move(e)); });
    ASSERT_TRUE(pieces.result.ok()) << messageOf(pieces.result);
    ASSERT_EQ(pieces.entries.size(), whole.entries.size());
    for (size_t i = 0; i < whole.entries.size(); ++i) {
        EXPECT_EQ(pieces.entries[i].title, whole.entries[i].title);
        EXPECT_EQ(pieces.entries[i].password, whole.entries[i].password);
        EXPECT_EQ(pieces.entries[i].notes, whole.entries[i].notes);
        EXPECT_EQ(pieces.entries[i].group, whole.entries[i].group);
        EXPECT_EQ(pieces.entries[i].created, whole.entries[i].created);
    }
}

TEST(ForeignSamples, PiecesThatBreakOffGiveTheirOwnReason) {
    // Inflating a database's content can fail partway: the reason given is that failure, not the
    // XML reader's complaint about a text cut short. Asked once the whole text is in, a failing
    // source changes nothing.
    const QByteArray xml = sample("keepass.xml");
    auto readFailingFrom = [&xml](qsizetype failAt) {
        Read r;
        qsizetype at = 0;
        r.result = ForeignImport::readKeePassXmlPieces(
            [&](QByteArray* piece) -> Result<bool> {
                if (at >= failAt) return Result<bool>::failed(0, U("the content's gzip stream is damaged"));
                *piece = xml.mid(at, 64);
                at += 64;
                return true;
            },
            [&r](ForeignEntry&& e) { r.entries.push_back(std::move(e)); });
        return r;
    };
    const Read cut = readFailingFrom(xml.size() / 2);
    EXPECT_EQ(problemOf(cut.result), ForeignImport::Problem::Malformed);
    EXPECT_EQ(messageOf(cut.result), "the content's gzip stream is damaged");
    const Read whole = readFailingFrom(xml.size());
    EXPECT_TRUE(whole.result.ok()) << messageOf(whole.result);
    EXPECT_EQ(whole.entries.size(), 5u);
}

TEST(ForeignExportFile, AnUnknownFormatOrAPlaceThatCannotBeWrittenIsRefusedWithTheReason) {
    QTemporaryDir dir;
    const QString path = dir.filePath(U("out.csv"));
    const auto unknown = ForeignExport::writeToFile(U("lastpass-csv"), Array(), path);
    ASSERT_FALSE(unknown);
    EXPECT_EQ(unknown.message(), U("unknown format \"lastpass-csv\""));
    const auto nowhere = ForeignExport::writeToFile(U("csv"), Array(), dir.filePath(U("gone/out.csv")));
    ASSERT_FALSE(nowhere);
    EXPECT_FALSE(nowhere.message().isEmpty());
    EXPECT_TRUE(QDir(dir.path()).isEmpty());  // nothing written, not even a part
}

TEST(ForeignSamples, VaultAndBrowserFieldsAndFolders) {
    const Read json = readAll(QStringLiteral("bitwarden-json"), sample("bitwarden.json"));
    const ForeignEntry* savings = byTitle(json, U("Savings account"));
    ASSERT_TRUE(savings);
    EXPECT_EQ(savings->group, (QStringList{U("Bank"), U("Savings")}));
    EXPECT_EQ(savings->url, U("https://bank.example"));
    EXPECT_EQ(savings->pin, U("4321"));
    EXPECT_EQ(savings->notes, U("Branch said: \"keep the card\"\nSecond line, with a comma\nURI: https://m.bank.example\n"
                                "TOTP: otpauth://totp/b?secret=XYZ\nSecurity question: first pet"));
    EXPECT_EQ(ForeignImport::isoFromDate(*savings->modified), U("2022-02-03T04:05:06.123Z"));
    const ForeignEntry* card = byTitle(json, U("Visa"));
    ASSERT_TRUE(card);
    EXPECT_TRUE(card->notes.contains(U("\nnumber: 4111111111111111")));
    EXPECT_TRUE(byTitle(json, U("Me"))->notes.contains(U("firstName: Ιωάννης")));

    const Read csv = readAll(QStringLiteral("bitwarden-csv"), sample("bitwarden.csv"));
    const ForeignEntry* fromCsv = byTitle(csv, U("Savings account"));
    ASSERT_TRUE(fromCsv);
    EXPECT_EQ(fromCsv->group, (QStringList{U("Bank"), U("Savings")}));
    EXPECT_EQ(fromCsv->password, U("s\"ecret,1"));
    EXPECT_EQ(fromCsv->pin, U("4321"));  // a CRLF file: the field lines lose their CR
    EXPECT_EQ(fromCsv->notes, U("Branch said: \"keep the card\"\r\nSecond line, with a comma\nSecurity question: first pet\n"
                                "URI: https://m.bank.example\nTOTP: otpauth://totp/b?secret=XYZ"));

    const Read chrome = readAll(QStringLiteral("chrome-csv"), sample("chrome.csv"));
    EXPECT_EQ(chrome.entries.at(0).notes, U("Branch said: \"keep the card\"\r\nSecond line, with a comma"));
    EXPECT_EQ(chrome.entries.at(1).title, U("mail.example.jp"));  // no name: the URL's host
    EXPECT_EQ(chrome.entries.at(4).password, U("tab\tinside"));

    const Read firefox = readAll(QStringLiteral("firefox-csv"), sample("firefox.csv"));
    EXPECT_EQ(firefox.entries.at(0).title, U("bank.example"));
    EXPECT_EQ(ForeignImport::isoFromDate(*firefox.entries.at(0).created), U("2020-01-02T03:04:05.000Z"));
    EXPECT_EQ(ForeignImport::isoFromDate(*firefox.entries.at(0).modified), U("2022-02-03T04:05:06.000Z"));
    EXPECT_EQ(firefox.entries.at(4).password, U("line1\n\"line2\""));

    const Read any = readAll(QStringLiteral("csv"), sample("generic.csv"));
    EXPECT_EQ(any.entries.at(0).userName, U("jsmith"));  // Login
    EXPECT_EQ(any.entries.at(0).url, U("https://bank.example"));  // Website
    EXPECT_EQ(any.entries.at(0).group, QStringList{U("Bank")});  // Folder
    EXPECT_EQ(any.entries.at(0).notes, U("Branch said: \"keep the card\"\nSecond line, with a comma\nFavourite colour: blue"));
    EXPECT_EQ(any.entries.at(3).group, QStringList{U("Home / Network")});
}

TEST(ForeignErrors, MalformedFilesNameTheLineOrElement) {
    struct Case {
        const char* format;
        QByteArray data;
        const char* where;
    };
    for (const Case& c : {
             Case{"keepass-csv", "\"Group\",\"Title\",\"Password\"\n\"R\",\"a\",\"b\"\n\"R\",\"c\"\n", "line 3:"},
             Case{"keepass-csv", "\"Group\",\"Name\"\n", "\"title\""},
             Case{"chrome-csv", "name,url,username,password\nx,y,z,\"open\n", "line 2:"},
             Case{"firefox-csv", "url,username,password,timeCreated\nhttps://a,b,c,yesterday\n", "line 2:"},
             Case{"csv", "Colour,Size\nred,big\n", "line 2:"},
             Case{"keepass-xml", "<KeePassFile>\n<Root>\n<Group>\n</Root>\n", "XML line 4"},
             Case{"keepass-xml", "<Database/>", "<Database>"},
             Case{"keepass-xml", "<KeePassFile><Root><Group><Entry><String><Key>Password</Key>"
                                 "<Value Protected=\"True\">AAAA</Value></String></Entry></Group></Root></KeePassFile>",
                  "<Value>"},
             Case{"bitwarden-json", "{\n\"items\": [\n{\"type\": 1,}\n]}", "line 3:"},
             Case{"bitwarden-json", "{\"items\": [{\"type\": 1}, 7]}", "items[1]"},
             Case{"bitwarden-json", "{\"encrypted\": true, \"items\": []}", "encrypted"},
             Case{"bitwarden-json", "{\"items\": [{\"type\": 1, \"folderId\": \"nope\"}]}", "items[0].folderId"},
             Case{"kdbx", QByteArray::fromHex("03d9a29a67fb4bb50100030002"), "header"},
             Case{"csv", "Name,Password\n\xff\xfe,x\n", "UTF-8"}}) {
        const Read r = readAll(QLatin1String(c.format), c.data);
        EXPECT_EQ(problemOf(r.result), ForeignImport::Problem::Malformed) << c.format << " " << c.data.toStdString();
        EXPECT_TRUE(QString::fromStdString(messageOf(r.result)).contains(QLatin1String(c.where)))
            << c.format << ": " << messageOf(r.result) << " lacks " << c.where;
    }
    EXPECT_EQ(problemOf(readAll(QStringLiteral("auto"), "just some words\n").result), ForeignImport::Problem::UnknownFormat);
}

TEST(ForeignErrors, CsvMessagesAreTheWholeSentence) {
    // The command line prints these as they are.
    auto messageFor = [](const char* format, const QByteArray& data) { return messageOf(readAll(QLatin1String(format), data).result); };
    EXPECT_EQ(messageFor("keepass-csv", ""), "line 1: the file is empty; a header row was expected");
    EXPECT_EQ(messageFor("keepass-csv", "Title,Password\na,b\nc\n"), "line 3: 1 fields where the header has 2");
    EXPECT_EQ(messageFor("keepass-csv", "Title,Name\n"), "line 1: the header has no \"password\" column");
    // Firefox times: a bad cell is named by its column, the later column when both are bad.
    const QByteArray header = "url,username,password,timeCreated,timePasswordChanged\n";
    EXPECT_EQ(messageFor("firefox-csv", header + "https://a,b,c,soon,1\n"),
              "line 2: \"soon\" is not a time in milliseconds (column timeCreated)");
    EXPECT_EQ(messageFor("firefox-csv", header + "https://a,b,c,soon,later\n"),
              "line 2: \"later\" is not a time in milliseconds (column timePasswordChanged)");
    EXPECT_EQ(messageFor("firefox-csv", header + "https://a,b,c,,\n"), "");  // empty cells are no times, not errors
}

TEST(ForeignRecords, CategoriesOncePerPathRootEntriesAndExistingRecordsKeepTheirs) {
    MyDocument doc;
    doc.prepareNewDocument();
    DocumentBrowser browser(doc);
    browser.setClock([] { return 1000.0; });
    Dictionary old = RecordModel::newRecord(5);
    old.set(keys::name, Value("Existing"));
    const Value bank = browser.myCategoryArrayController().addWithName(U("Bank"));
    const Value generic = doc.myCategoryArray.at(0);
    old.set(keys::categoryPtr, generic);
    browser.myArrayController().addObject(Value(old));

    ForeignRecordMaker maker([] { return 2000.0; });
    auto entry = [](QStringList group, const char* title, std::optional<double> created = {}) {
        ForeignEntry e;
        e.group = std::move(group);
        e.title = U(title);
        e.created = created;
        return e;
    };
    maker.add(entry({U("A"), U("B")}, "one", 42.0));
    maker.add(entry({}, "at the root"));
    maker.add(entry({U("Bank")}, "joins Bank"));
    maker.add(entry({U("A"), U("B")}, "two"));
    EXPECT_EQ(maker.commit(browser), 4);

    ASSERT_EQ(doc.myArray.count(), 5);
    EXPECT_TRUE(doc.myArray.at(0).toDictionary().value(keys::categoryPtr).isIdenticalTo(generic));
    EXPECT_EQ(categoryOf(doc.myArray.at(1)), U("A / B"));
    EXPECT_TRUE(doc.myArray.at(1).toDictionary().value(keys::categoryPtr).isIdenticalTo(
        doc.myArray.at(4).toDictionary().value(keys::categoryPtr)));
    // The root entry takes the category of the selected record, as a new record does.
    EXPECT_TRUE(doc.myArray.at(2).toDictionary().value(keys::categoryPtr).isIdenticalTo(generic));
    EXPECT_TRUE(doc.myArray.at(3).toDictionary().value(keys::categoryPtr).isIdenticalTo(bank));
    EXPECT_EQ(doc.myCategoryArray.count(), 3);  // Generic, Bank, A / B
    EXPECT_EQ(bank.toDictionary().value(keys::cat_howManyUsingThis).toInt64(), 1);
    EXPECT_EQ(generic.toDictionary().value(keys::cat_howManyUsingThis).toInt64(), 2);
    const Dictionary one = doc.myArray.at(1).toDictionary();
    EXPECT_EQ(one.value(keys::creationDate).toDate(), 42.0);  // kept from the file
    EXPECT_EQ(one.value(keys::modificationDate).toDate(), 2000.0);  // none in the file: now
    EXPECT_EQ(one.value(keys::usageCount).toInt64(), 0);
    EXPECT_FALSE(one.contains(keys::categoryNAME));
    EXPECT_EQ(browser.myArrayController().arrangedObjects().count(), 5);
    EXPECT_TRUE(doc.isDocumentEdited());

    // With nothing selected, root entries go to the last category there was before the import,
    // not to a group's category made by the same import.
    browser.myArrayController().setSelectionIndexes({});
    ForeignRecordMaker second;
    second.add(entry({U("New group")}, "grouped"));
    second.add(entry({}, "rooted"));
    second.commit(browser);
    EXPECT_EQ(categoryOf(doc.myArray.at(6)), U("A / B"));
}

TEST(ForeignExport, EveryFormatRoundTripsAwkwardRecordsAndCategories) {
    MyDocument source;
    source.prepareNewDocument();
    DocumentBrowser browser(source);
    const QStringList categories = {U("Generic"), U("Bank / Savings"), U("日本語 \"q\", 🔑")};
    for (qsizetype i = 1; i < categories.size(); ++i) browser.myCategoryArrayController().addWithName(categories[i]);
    const QString awkward[] = {U("plain"), U("q\"uo\"\"te"), U("com,ma;semi\tcolon"), U("line\nbreak\r\nand CR\rhere"),
                               U("Ελληνικά 日本語 🔑👍🏽"), U(" leading and trailing ")};
    int n = 0;
    for (const QString& a : awkward) {
        Dictionary r = RecordModel::newRecord(600000000.0 + n);
        for (const QString* k : {&keys::name, &keys::account, &keys::url, &keys::userID, &keys::password, &keys::pin,
                                 &keys::security, &keys::email, &keys::note})
            r.set(*k, Value(a + QString::number(n++)));
        r.set(keys::categoryPtr, source.myCategoryArray.at(n % 3));
        browser.myArrayController().addObject(Value(r));
    }
    Dictionary bare = RecordModel::newRecord(600000000.0);  // every field empty
    bare.set(keys::categoryPtr, source.myCategoryArray.at(1));
    browser.myArrayController().addObject(Value(bare));

    QTemporaryDir dir;
    for (const QString& format : ForeignExport::formatNames()) {
        const QString path = dir.filePath(format);
        ASSERT_TRUE(ForeignExport::writeToFile(format, source.myArray, path));
        struct stat st {};
        ASSERT_EQ(::stat(QFile::encodeName(path).constData(), &st), 0);
        EXPECT_EQ(st.st_mode & 0777, 0600u) << format.toStdString();
        QFile f(path);
        ASSERT_TRUE(f.open(QIODevice::ReadOnly));
        const QByteArray bytes = f.readAll();
        EXPECT_EQ(ForeignImport::detectFormat(bytes), format);

        MyDocument target;
        target.prepareNewDocument();
        DocumentBrowser into(target);
        ForeignRecordMaker maker;
        const auto result = ForeignImport::read(format, bytes, {}, [&maker](ForeignEntry&& e) { maker.add(std::move(e)); });
        ASSERT_TRUE(result.ok()) << format.toStdString() << ": " << messageOf(result);
        maker.commit(into);
        ASSERT_EQ(target.myArray.count(), source.myArray.count()) << format.toStdString();
        for (qsizetype i = 0; i < source.myArray.count(); ++i) {
            const Dictionary in = source.myArray.at(i).toDictionary(), out = target.myArray.at(i).toDictionary();
            for (const QString* k : {&keys::name, &keys::account, &keys::url, &keys::userID, &keys::password, &keys::pin,
                                     &keys::security, &keys::email, &keys::note})
                EXPECT_EQ(out.value(*k).toString(), in.value(*k).toString()) << format.toStdString() << " " << i << " " << k->toStdString();
            EXPECT_EQ(categoryOf(target.myArray.at(i)), categoryOf(source.myArray.at(i))) << format.toStdString() << " " << i;
            if (format != QLatin1String("csv")) {  // the plain CSV has no dates
                EXPECT_EQ(out.value(keys::creationDate).toDate(), in.value(keys::creationDate).toDate()) << format.toStdString();
            }
        }
    }
}

TEST(Kdbx, KeyDerivationBeyondReasonIsRefusedNotWaitedOn) {
    // A KDBX 4 header whose AES-KDF asks for 1.1 billion rounds (minutes of work): the fuzzer's
    // find. It is refused at once, with the number in the message.
    const QByteArray file = QByteArray::fromBase64(
        "AgPZoppn+0u1AAAEAAIQAAAAMcHy5r9xQ1C+WAUhavxa/wMEAAAAAQAAAAQgAAAAWaiMCe2d2M8VGFHyd3Dq6KS/fplGhKb2P9AbzmZqbjIH"
        "EAAAADynwvIpnVD+iwutN68p39cLXQAAAAABQgUAAAAkVVVJRBAAAADJ2fOaYopEYL90DQjBik/qBQEAAABSCAAAAEAPAEIAAAAAQgEAAABT"
        "IAAAAOsFkf4ddmZLW7SV1C7WKyigVJBrqZhD4EJZ9aKjqvHnAAAEAAAADQoNCl6t//RiHcKlgZhpsBmaKVRNu/h7ySEeGPz2pw==").mid(1);
    const auto o = Kdbx::open(file, U("x"));
    EXPECT_EQ(problemOf(o), Kdbx::Problem::Malformed);
    EXPECT_TRUE(QString::fromStdString(messageOf(o)).contains(U("1107300160"))) << messageOf(o);
}

TEST(Kdbx, NotADatabaseOrCutShortIsMalformedNotACrash) {
    const QByteArray signature = QByteArray::fromHex("03d9a29a67fb4bb5");
    EXPECT_FALSE(Kdbx::hasSignature(QByteArray("<KeePassFile/>")));
    EXPECT_EQ(problemOf(Kdbx::open(QByteArray("plain text"), U("x"))), Kdbx::Problem::Malformed);
    EXPECT_EQ(QString::fromStdString(messageOf(Kdbx::open(signature + QByteArray::fromHex("01000500"), U("x")))).contains(U("5.1")), true);
    // Every prefix of a header is refused with a message, never read past its end.
    QByteArray header = signature + QByteArray::fromHex("01000300") + QByteArray::fromHex("021000") +
                        QByteArray::fromHex("31c1f2e6bf714350be5805216afc5aff") + QByteArray::fromHex("03040001000000");
    for (qsizetype cut = 8; cut <= header.size(); ++cut) {
        const auto o = Kdbx::open(header.left(cut), U("x"));
        EXPECT_EQ(problemOf(o), Kdbx::Problem::Malformed) << cut;
        EXPECT_FALSE(messageOf(o).empty());
    }
}
