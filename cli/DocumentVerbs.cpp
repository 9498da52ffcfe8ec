#include "DocumentVerbs.h"

#include "browsing/DocumentBrowser.h"
#include "browsing/MyTableDelegate.h"
#include "browsing/TableColumns.h"
#include "document/DocumentKeys.h"
#include "document/DocumentFile.h"
#include "document/DocumentMerge.h"
#include "document/DocumentTexts.h"
#include "document/MyDocument.h"
#include "document/RecordModel.h"
#include "foundation/JsonWriter.h"
#include "importexport/ZKDataExportManager.h"
#include "importexport/ZKDataImportManager.h"
#include "foundation/UserDefaults.h"
#include "passwordtools/PasswordHealth.h"
#include "passwordtools/ZKPasswordMaker.h"
#include "shell/MyAppDelegate.h"

#include <QDateTime>
#include <QHash>
#include <QTimeZone>
#include <QFileInfo>
#include <QSettings>

#include <termios.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <new>
#include <optional>

namespace qv::cli {

// Dates in the local time with its offset, as ISO 8601.
QString isoDate(double secondsSince2001) {
    const QDateTime t =
        QDateTime::fromMSecsSinceEpoch(qint64(std::llround((secondsSince2001 + double(kUnixSecondsAt2001)) * 1000)));
    return t.toOffsetFromUtc(t.offsetFromUtc()).toString(Qt::ISODate);
}

namespace {


// Options shared by the verbs: which are flags, and the remaining positional arguments.
struct Parsed {
    QStringList positional;
    bool passwordStdin = false;
    bool newPasswordStdin = false;
    QStringList flags;              // other flags given
    QHash<QString, QString> values;  // options with a value
    QString bad;
};

// `flagNames` and `valueNames` are the options a verb takes besides the password ones.
Parsed parse(const QStringList& args, const QStringList& flagNames = {}, const QStringList& valueNames = {}) {
    Parsed p;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& a = args[i];
        if (a == QLatin1String("--password-stdin")) p.passwordStdin = true;
        else if (a == QLatin1String("--new-password-stdin")) p.newPasswordStdin = true;
        else if (flagNames.contains(a)) p.flags << a;
        else if (valueNames.contains(a)) {
            if (i + 1 >= args.size()) p.bad = a + QStringLiteral(" needs a value");
            else p.values.insert(a, args[++i]);
        } else if (a.startsWith(QLatin1String("--"))) p.bad = QStringLiteral("unknown option ") + a;
        else p.positional << a;
    }
    return p;
}

// One line of standard input, without its line end.
std::optional<QString> readLine() {
    QByteArray line;
    int c;
    while ((c = std::fgetc(stdin)) != EOF && c != '\n') line.append(char(c));
    if (c == EOF && line.isEmpty()) return std::nullopt;
    if (line.endsWith('\r')) line.chop(1);
    return QString::fromUtf8(line);
}

// From standard input when asked, else from the terminal with echo turned off.
std::optional<QString> askPassword(bool fromStdin, const char* prompt, const Streams& io) {
    if (fromStdin) return readLine();
    std::FILE* tty = std::fopen("/dev/tty", "r+");
    if (!tty) {
        print(io.err, QStringLiteral("qvane: no terminal to ask the password on; use --password-stdin\n"));
        return std::nullopt;
    }
    // Echo goes off before the prompt shows: what is typed once it shows is neither echoed nor
    // flushed away with the input that came before it.
    termios old{};
    const int fd = fileno(tty);
    const bool haveTermios = tcgetattr(fd, &old) == 0;
    if (haveTermios) {
        termios quiet = old;
        quiet.c_lflag &= tcflag_t(~ECHO);
        tcsetattr(fd, TCSAFLUSH, &quiet);
    }
    std::fputs(prompt, tty);
    std::fflush(tty);
    QByteArray line;
    int c;
    while ((c = std::fgetc(tty)) != EOF && c != '\n') line.append(char(c));
    if (haveTermios) tcsetattr(fd, TCSAFLUSH, &old);
    std::fputs("\n", tty);
    std::fclose(tty);
    return QString::fromUtf8(line);
}

// The command's document, kept until the process ends: letting go of 100 000 records one by one
// takes a tenth of a second, just before the process ends and gives all of its memory back at
// once. Its passwords are wiped when the command is done all the same. A later command in the
// same process (the tests run many) frees the one kept before.
class KeptDocument {
public:
    KeptDocument() {
        static MyDocument* kept = nullptr;
        delete kept;
        kept = new MyDocument;
        doc_ = kept;
    }
    ~KeptDocument() { doc_->wipePasswords(); }
    KeptDocument(const KeptDocument&) = delete;
    KeptDocument& operator=(const KeptDocument&) = delete;
    MyDocument& operator*() const { return *doc_; }

private:
    MyDocument* doc_;
};

// Reads FILE into a document, locked. Prints the failure and gives its exit status.
int load(const QString& path, MyDocument& doc, const Streams& io) {
    const DocumentFileStatus loaded = DocumentFile::load(path, doc);
    if (loaded) return kExitOk;
    switch (loaded.kind()) {
    case DocumentFileError::OutOfMemory: throw std::bad_alloc();  // said once, for every verb, by run()
    case DocumentFileError::CannotRead:
        print(io.err, QStringLiteral("qvane: cannot read %1: %2\n").arg(path, loaded.message()));
        return kExitUnreadable;
    case DocumentFileError::TooNew:
        print(io.err, texts::tooNewMessage + QLatin1Char('\n') + texts::tooNewInformative + QLatin1Char('\n'));
        return kExitTooNew;
    default:
        print(io.err, QStringLiteral("qvane: %1 is not a Quorvane document (%2)\n").arg(path, loaded.message()));
        return kExitUnreadable;
    }
}

// Reads and decrypts FILE with a password asked as the options say.
int open(const QString& path, bool passwordStdin, MyDocument& doc, const Streams& io) {
    if (int s = load(path, doc, io)) return s;
    const auto password = askPassword(passwordStdin, "Master password: ", io);
    if (!password) return usage(io, QStringLiteral("no password given"));
    const DocumentFileStatus opened = DocumentFile::unlock(doc, *password);
    if (opened) return kExitOk;
    if (opened.kind() == DocumentFileError::WrongPassword) {
        print(io.err, opened.message() + QLatin1Char('\n'));
        return kExitWrongPassword;
    }
    print(io.err, QStringLiteral("qvane: %1\n").arg(opened.message()));
    return kExitUnreadable;
}

int save(MyDocument& doc, const QString& path, const Streams& io) {
    const auto bytes = DocumentFile::encode(doc);
    if (bytes) return writeDocumentFile(path, *bytes, doc.plainPassword, io);
    if (bytes.kind() == DocumentFileError::OutOfMemory) throw std::bad_alloc();
    print(io.err, QStringLiteral("qvane: the document could not be enciphered\n"));
    return kExitUnreadable;
}

bool samePath(const QString& a, const QString& b) {
    const QFileInfo x(a), y(b);
    return x.absoluteFilePath() == y.absoluteFilePath() ||
           (x.exists() && y.exists() && x.canonicalFilePath() == y.canonicalFilePath());
}

// A record as `dump` prints it: its keys in order, the category as its index in the category
// table (left out when it has none).

// `isoDates`: dates as ISO 8601 text, for people and scripts, where dump keeps the exact number.
void writeRecordJson(JsonWriter& w, const Dictionary& record, const Array& categories, bool isoDates = false) {
    w.beginObject();
    for (qsizetype i = 0; i < record.count(); ++i) {
        if (record.keyAt(i) == keys::categoryPtr) {
            const qsizetype index = categories.indexOfIdentical(record.valueAt(i));
            if (index < 0) continue;
            w.key(keys::categoryPtr);
            w.rawValue(QByteArrayLiteral("{\"$category\": ") + QByteArray::number(index) + '}');
            continue;
        }
        w.key(record.keyAt(i));
        if (isoDates && record.valueAt(i).isDate()) w.value(Value(isoDate(record.valueAt(i).toDate())));
        else w.value(record.valueAt(i));
    }
    w.endObject();
}

void writeDocumentJson(JsonWriter& w, const MyDocument& doc) {
    w.beginObject();
    w.key(keys::appversion);
    w.rawValue(QByteArray::number(qulonglong(doc.docVersionRapresentation)));
    w.key(QStringLiteral("documentCreationDate"));
    w.value(doc.documentCreationDate);
    w.key(QStringLiteral("records"));
    w.beginArray();
    for (const Value& r : doc.myArray) writeRecordJson(w, r.toDictionary(), doc.myCategoryArray);
    w.endArray();
    w.key(QStringLiteral("categories"));
    w.beginArray();
    for (const Value& c : doc.myCategoryArray) {
        const Dictionary category = c.toDictionary();
        w.beginObject();
        for (qsizetype i = 0; i < category.count(); ++i) {
            if (category.keyAt(i) == keys::records) continue;
            w.key(category.keyAt(i));
            w.value(category.valueAt(i));
        }
        w.endObject();
    }
    w.endArray();
    w.key(QStringLiteral("emails"));
    w.value(Value(doc.emailArray));
    w.endObject();
}

}  // namespace

int writeDocumentFile(const QString& path, const QByteArray& bytes, const QString& password, const Streams& io) {
    const DocumentFileStatus written = DocumentFile::write(path, bytes, password);
    if (written) return kExitOk;
    switch (written.kind()) {
    case DocumentFileError::OutOfMemory: throw std::bad_alloc();
    case DocumentFileError::DoesNotReadBack:
        print(io.err, QStringLiteral("qvane: the new contents could not be read back with the password, so %1 "
                                     "was left as it was\n").arg(path));
        break;
    default: print(io.err, QStringLiteral("qvane: cannot write %1: %2\n").arg(path, written.message())); break;
    }
    return kExitCannotWrite;
}

int runInfo(const QStringList& args, const Streams& io) {
    const Parsed p = parse(args);
    if (!p.bad.isEmpty()) return usage(io, p.bad);
    if (p.positional.size() != 1) return usage(io, QStringLiteral("usage: qvane info FILE"));
    KeptDocument kept;
    MyDocument& doc = *kept;
    if (int s = load(p.positional.first(), doc, io)) return s;
    JsonWriter w;
    w.beginObject();
    w.key(keys::appversion);
    w.rawValue(QByteArray::number(qulonglong(doc.docVersionRapresentation)));
    w.key(QStringLiteral("docReleaseString"));
    w.value(Value(doc.docReleaseString));
    w.key(QStringLiteral("convertFormatString"));
    w.value(Value(doc.convertFormatString));
    w.key(QStringLiteral("moreDocDescription"));
    w.value(Value(doc.moreDocDescription));
    w.key(QStringLiteral("canSave"));
    w.value(Value::boolean(doc.YouCanSave));
    w.endObject();
    print(io.out, w.take() + '\n');
    return kExitOk;
}

int runDump(const QStringList& args, const Streams& io) {
    const Parsed p = parse(args);
    if (!p.bad.isEmpty()) return usage(io, p.bad);
    if (p.positional.size() != 1) return usage(io, QStringLiteral("usage: qvane dump FILE [--password-stdin]"));
    KeptDocument kept;
    MyDocument& doc = *kept;
    if (int s = open(p.positional.first(), p.passwordStdin, doc, io)) return s;
    // The generation read from the file, not the one a save would write.
    JsonWriter w;
    writeDocumentJson(w, doc);
    print(io.out, w.take() + '\n');
    return kExitOk;
}

int runConvert(const QStringList& args, const Streams& io) {
    const Parsed p = parse(args);
    if (!p.bad.isEmpty()) return usage(io, p.bad);
    if (p.positional.size() != 2)
        return usage(io, QStringLiteral("usage: qvane convert FILE OUT [--password-stdin] [--new-password-stdin]"));
    const QString& in = p.positional[0];
    const QString& outPath = p.positional[1];
    if (samePath(in, outPath)) return usage(io, QStringLiteral("OUT must differ from FILE; FILE is never written"));
    KeptDocument kept;
    MyDocument& doc = *kept;
    if (int s = open(in, p.passwordStdin, doc, io)) return s;
    if (p.newPasswordStdin) {
        const auto fresh = readLine();
        if (!fresh) return usage(io, QStringLiteral("no new password given"));
        if (fresh->size() <= 5) {
            print(io.err, QStringLiteral("Password Too Short. You have to use a password which is at least six "
                                         "character long.\nNo changes were applied\n"));
            return kExitUsage;
        }
        doc.plainPassword = *fresh;
    }
    return save(doc, outPath, io);
}

int runNew(const QStringList& args, const Streams& io) {
    const Parsed p = parse(args);
    if (!p.bad.isEmpty()) return usage(io, p.bad);
    if (p.positional.size() != 1) return usage(io, QStringLiteral("usage: qvane new OUT [--password-stdin]"));
    const auto password = askPassword(p.passwordStdin, "New master password: ", io);
    if (!password) return usage(io, QStringLiteral("no password given"));
    if (password->size() <= 5) {
        print(io.err, QStringLiteral("Password too short\nYou have to use a password which is at least six character "
                                     "long.\n"));
        return kExitUsage;
    }
    if (!p.passwordStdin) {
        // Typed without seeing it: a slip would lock the user out of the new document.
        const auto again = askPassword(false, "New master password again: ", io);
        if (!again || *again != *password) return usage(io, QStringLiteral("the two passwords differ; nothing was made"));
    }
    if (QFileInfo::exists(p.positional.first()))
        return usage(io, QStringLiteral("%1 exists already; new never replaces a file").arg(p.positional.first()));
    KeptDocument kept;
    MyDocument& doc = *kept;
    doc.prepareNewDocument();
    doc.plainPassword = *password;
    doc.requiresMandatoryPassword = false;
    // Opened in the window, it shows its toolbar (the search field and the category filter),
    // as a document made in the window does; without one there is no toolbar to take it from.
    doc.makeToolbarVisibleAtDecrypt = true;
    return save(doc, p.positional.first(), io);
}

}  // namespace qv::cli

namespace qv::cli {

int runLs(const QStringList& args, const Streams& io) {
    const Parsed p = parse(args, {QStringLiteral("--descending"), QStringLiteral("--show-secrets"), QStringLiteral("--json"),
                                  QStringLiteral("--table"), QStringLiteral("--tsv")},
                           {QStringLiteral("--category"), QStringLiteral("--search"), QStringLiteral("--sort"),
                            QStringLiteral("--columns")});
    if (!p.bad.isEmpty()) return usage(io, p.bad);
    if (p.positional.size() != 1)
        return usage(io, QStringLiteral("usage: qvane ls FILE [--category NAME] [--search TEXT] [--sort COLUMN] "
                                        "[--descending] [--columns LIST] [--show-secrets] [--json | --table | --tsv]"));
    QStringList columns = p.values.value(QStringLiteral("--columns"),
                                         QStringLiteral("category,name,account,userID,password,url,email"))
                              .split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (const QString& c : columns)
        if (!TableColumns::identifiers().contains(c))
            return usage(io, QStringLiteral("unknown column \"%1\"; columns are %2")
                                 .arg(c, TableColumns::identifiers().join(QStringLiteral(","))));
    const QString sortColumn = p.values.value(QStringLiteral("--sort"));
    if (!sortColumn.isEmpty() && !TableColumns::identifiers().contains(sortColumn))
        return usage(io, QStringLiteral("unknown sort column \"%1\"").arg(sortColumn));

    KeptDocument kept;
    MyDocument& doc = *kept;
    if (int s = open(p.positional.first(), p.passwordStdin, doc, io)) return s;
    // The window's own filter and sort, without a window, with the comparison the user chose.
    DocumentBrowser browser(doc);
    SettingsUserDefaults defaults(std::make_unique<QSettings>(QSettings::IniFormat, QSettings::UserScope,
                                                              QStringLiteral("Quorvane"), QStringLiteral("Quorvane")));
    MyAppDelegate::initialize(defaults);
    browser.tableSortCompare = defaults.integerForKey(prefs::tableSortCompare);
    browser.categoryString = p.values.value(QStringLiteral("--category"));
    browser.searchString = p.values.value(QStringLiteral("--search"));
    browser.setFilterPredicate();
    // As a click on the column's header sorts, so that the Created column sorts by its dates.
    if (!sortColumn.isEmpty())
        browser.tableViewDidClickTableColumn(sortColumn, !p.flags.contains(QStringLiteral("--descending")));
    const Array& arranged = browser.myArrayController().arrangedObjects();

    if (p.flags.contains(QStringLiteral("--json"))) {
        JsonWriter w;
        w.beginArray();
        for (const Value& r : arranged) writeRecordJson(w, r.toDictionary(), doc.myCategoryArray, true);
        w.endArray();
        print(io.out, w.take() + '\n');
        return kExitOk;
    }
    const bool showSecrets = p.flags.contains(QStringLiteral("--show-secrets"));
    // A table for a person at a terminal, tab-separated values for a pipe or a file.
    const bool table = p.flags.contains(QStringLiteral("--table")) ||
                       (!p.flags.contains(QStringLiteral("--tsv")) && isatty(fileno(io.out)));
    // What each column reads, decided once rather than once a record.
    enum class Kind { Category, Secret, Plain };
    struct Column {
        Kind kind;
        const QString* key;
    };
    std::vector<Column> reads;
    for (const QString& c : columns) {
        if (c == QLatin1String("category")) reads.push_back({Kind::Category, nullptr});
        else if (TableColumns::isSecret(c)) reads.push_back({Kind::Secret, &internKey(c)});
        else reads.push_back({Kind::Plain, &internKey(TableColumns::recordKeyFor(c))});
    }
    const QString dots(8, QChar(0x2022));
    // One line per record, one cell per field, whatever the values hold.
    auto appendEscaped = [](QString& line, QStringView text) {
        qsizetype from = 0;
        for (qsizetype i = 0; i < text.size(); ++i) {
            const char16_t ch = text[i].unicode();
            const char* escape = ch == u'\\' ? "\\\\" : ch == u'\t' ? "\\t" : ch == u'\n' ? "\\n" : ch == u'\r' ? "\\r" : nullptr;
            if (!escape) continue;
            line += text.sliced(from, i - from);
            line += QLatin1String(escape);
            from = i + 1;
        }
        line += text.sliced(from);
    };
    auto appendCell = [&](QString& line, const Dictionary& record, const Column& c) {
        const Value* v = nullptr;
        switch (c.kind) {
        case Kind::Category: {
            if (const Dictionary* cat = record.get(keys::categoryPtr).dictionaryIfAny()) v = &cat->get(keys::cat_category);
            break;
        }
        case Kind::Secret:
            v = &record.get(*c.key);
            // The same dots whatever the length, which a mask must not tell.
            if (!showSecrets) {
                if (!v->toString().isEmpty()) line += dots;
                return;
            }
            break;
        case Kind::Plain:
            v = &record.get(*c.key);
            if (v->isDate()) {
                line += isoDate(v->toDate());
                return;
            }
            break;
        }
        if (!v) return;
        if (v->isString()) appendEscaped(line, v->stringRef());
        else appendEscaped(line, v->toString());
    };
    if (!table) {
        // Written as it is made, in pieces of some tens of kilobytes: a list of 100 000 records
        // need not be held twice.
        QString out = columns.join(QLatin1Char('\t')) + QLatin1Char('\n');
        for (const Value& r : arranged) {
            const Dictionary* record = r.dictionaryIfAny();
            if (!record) continue;
            for (size_t i = 0; i < reads.size(); ++i) {
                if (i) out += QLatin1Char('\t');
                appendCell(out, *record, reads[i]);
            }
            out += QLatin1Char('\n');
            if (out.size() > 32768) {
                print(io.out, out);
                out.clear();
            }
        }
        print(io.out, out);
        print(io.err, QStringLiteral("%1 of %2 records\n").arg(arranged.count()).arg(doc.myArray.count()));
        return kExitOk;
    }
    std::vector<QStringList> rows;
    rows.push_back(columns);
    for (const Value& r : arranged) {
        const Dictionary& record = r.toDictionary();
        QStringList row;
        for (const Column& c : reads) {
            QString cell;
            appendCell(cell, record, c);
            row << cell;
        }
        rows.push_back(row);
    }
    std::vector<qsizetype> widths(size_t(columns.size()), 0);
    for (const QStringList& row : rows)
        for (qsizetype i = 0; i < row.size(); ++i) widths[size_t(i)] = std::max(widths[size_t(i)], std::min<qsizetype>(row[i].size(), 40));
    for (const QStringList& row : rows) {
        QString line;
        for (qsizetype i = 0; i < row.size(); ++i) {
            QString cell = row[i].size() > 40 ? row[i].left(39) + QChar(0x2026) : row[i];
            line += i + 1 < row.size() ? cell.leftJustified(widths[size_t(i)]) + QStringLiteral("  ") : cell;
        }
        print(io.out, line + QLatin1Char('\n'));
    }
    print(io.err, QStringLiteral("%1 of %2 records\n").arg(arranged.count()).arg(doc.myArray.count()));
    return kExitOk;
}

}  // namespace qv::cli

namespace qv::cli {

int runGenerate(const QStringList& args, const Streams& io) {
    const Parsed p = parse(args, {QStringLiteral("--json")}, {QStringLiteral("--type"), QStringLiteral("--length"), QStringLiteral("--count")});
    if (!p.bad.isEmpty()) return usage(io, p.bad);
    if (!p.positional.isEmpty()) return usage(io, QStringLiteral("usage: qvane generate [--type TAG] [--length N] [--count K] [--json]"));
    bool ok = true;
    auto number = [&](const QString& option, int fallback) {
        if (!p.values.contains(option)) return fallback;
        bool good = false;
        const int v = p.values.value(option).toInt(&good);
        ok = ok && good;
        return v;
    };
    bool typeKnown = true;
    const int tag = p.values.contains(QStringLiteral("--type")) ? passwordTypeTag(p.values.value(QStringLiteral("--type")), &typeKnown) : 40;
    if (!typeKnown)
        return usage(io, QStringLiteral("--type takes 10, 11, 20, 21, 22, 30, 40, 41, 42, 52, 60, 61 or %1")
                             .arg(passwordTypeNames().join(QStringLiteral(", "))));
    const int length = number(QStringLiteral("--length"), 12);
    const int count = number(QStringLiteral("--count"), 1);
    if (!ok || count < 1 || count > 10000) return usage(io, QStringLiteral("--length and --count take whole numbers; --count 1 to 10000"));
    // Said rather than quietly changed: a script asking for 64 characters must not get 42.
    if (length != ZKPasswordMaker::clampLength(length)) return usage(io, QStringLiteral("--length takes 5 to 42"));

    // The user's own preferences decide which characters to avoid, as in the window.
    SettingsUserDefaults defaults(std::make_unique<QSettings>(QSettings::IniFormat, QSettings::UserScope,
                                                              QStringLiteral("Quorvane"), QStringLiteral("Quorvane")));
    MyAppDelegate::initialize(defaults);
    const bool filter = defaults.boolForKey(prefs::enableDisambiguator);
    const QString avoid = defaults.stringForKey(prefs::noCharStringDisambiguator);
    PasswordQuality quality;
    quality.SetQualityValue(ZKPasswordMaker::calcStarNumberFromTypeTag(tag, length));
    const QString stars = QString(quality.qualityValue, QChar(0x2605)) + QString(10 - quality.qualityValue, QChar(0x2606));
    const bool json = p.flags.contains(QStringLiteral("--json"));
    JsonWriter w;
    if (json) w.beginArray();
    // Standard output carries the passwords alone, one a line, so that they can be piped.
    for (int i = 0; i < count; ++i) {
        const auto password = ZKPasswordMaker::sharedPasswordMaker().generatePasswordType(tag, length, filter, avoid);
        if (!password) {
            print(io.err, QStringLiteral("qvane: the characters to avoid (\"%1\") leave nothing to make a password of "
                                         "type %2 from\n").arg(avoid).arg(tag));
            return kExitUsage;
        }
        if (!json) {
            print(io.out, *password + QLatin1Char('\n'));
            continue;
        }
        w.beginObject();
        w.key(QStringLiteral("password"));
        w.value(Value(*password));
        w.key(QStringLiteral("rating"));
        w.value(Value::integer(quality.qualityValue));
        w.endObject();
    }
    if (json) {
        w.endArray();
        print(io.out, w.take() + '\n');
    } else {
        print(io.err, QStringLiteral("rating: %1 %2\n").arg(stars, quality.text()));
    }
    return kExitOk;
}

}  // namespace qv::cli

namespace qv::cli {

namespace {

// The key arrays' column titles, for --fields and --map.
qsizetype fieldIndexByTitle(const Array& keyArray, const QString& title) {
    for (qsizetype i = 0; i < keyArray.count(); ++i)
        if (keyArray.at(i).toDictionary().value(keys::publicKey).toString().compare(title.trimmed(), Qt::CaseInsensitive) == 0)
            return i;
    return -1;
}

}  // namespace

QString applyImportMap(ZKDataImportManager& importer, const Array& keyArray, const QString& map) {
    if (map == QLatin1String("cascade")) {
        importer.AssignCascadeImportFields();
        return {};
    }
    if (map == QLatin1String("header")) {
        importer.tryAssignFromFirstRow();
        return {};
    }
    importer.ResetImportFields();
    for (const QString& pair : map.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const qsizetype eq = pair.indexOf(QLatin1Char('='));
        bool ok = false;
        const int column = pair.left(eq).trimmed().toInt(&ok);
        const qsizetype field = eq > 0 ? fieldIndexByTitle(keyArray, pair.mid(eq + 1)) : -1;
        if (!ok || field < 0 || column < 0 || column >= int(importer.destFieldArray().size()))
            return QStringLiteral("cannot map \"%1\": use COLUMN=TITLE with a column of the file and a title among "
                                  "Category, Name, Url, Account, User ID, Password, Pin, Security, Email, Note")
                .arg(pair);
        importer.destinationSelected(column, importer.rowToStartCascadeAssignment + int(field));
    }
    return {};
}

QString applyExportTags(ZKDataExportManager& exporter, const QString& tags) {
    for (const QString& pair : tags.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const QString key = pair.section(QLatin1Char('='), 0, 0), value = pair.section(QLatin1Char('='), 1);
        QString* target = key == QLatin1String("start_of_file")     ? &exporter.start_of_file
                          : key == QLatin1String("end_of_file")      ? &exporter.end_of_file
                          : key == QLatin1String("start_of_record")  ? &exporter.start_of_record
                          : key == QLatin1String("end_of_record")    ? &exporter.end_of_record
                          : key == QLatin1String("field_open_tag")   ? &exporter.field_open_tag
                          : key == QLatin1String("field_close_tag")  ? &exporter.field_close_tag
                          : key == QLatin1String("field_separator")  ? &exporter.field_separator
                          : key == QLatin1String("use_end_of_record_in_last_record") ? &exporter.use_end_of_record_in_last_record
                                                                                     : nullptr;
        if (!target) return QStringLiteral("unknown tag \"%1\"").arg(key);
        *target = value;
    }
    return {};
}

int runImport(const QStringList& args, const Streams& io) {
    const Parsed p = parse(args, {QStringLiteral("--skip-first")},
                           {QStringLiteral("--format"), QStringLiteral("--encoding"), QStringLiteral("--map")});
    if (!p.bad.isEmpty()) return usage(io, p.bad);
    if (p.positional.size() != 2)
        return usage(io, QStringLiteral("usage: qvane import FILE TEXTFILE [--format 0-3] [--encoding CODE] "
                                        "[--map cascade|header|COL=FIELD,...] [--skip-first]"));
    const int format = p.values.value(QStringLiteral("--format"), QStringLiteral("0")).toInt();
    const int encoding = p.values.value(QStringLiteral("--encoding"), QStringLiteral("0")).toInt();
    if (format < 0 || format > 3) return usage(io, QStringLiteral("--format takes 0 (automatic), 1 (tab), 2 (comma) or 3 (semicolon)"));
    if (!QFileInfo::exists(p.positional[1])) {
        print(io.err, QStringLiteral("qvane: cannot read %1\n").arg(p.positional[1]));
        return kExitUnreadable;
    }
    KeptDocument kept;
    MyDocument& doc = *kept;
    if (int s = open(p.positional[0], p.passwordStdin, doc, io)) return s;
    DocumentBrowser browser(doc);
    MyDataImportManager importer(doc.myArray, doc.myKeyArrayForImport);
    importer.loadDataFromFile(p.positional[1], format, encoding);
    const QString mapError =
        applyImportMap(importer, doc.myKeyArrayForImport, p.values.value(QStringLiteral("--map"), QStringLiteral("cascade")));
    if (!mapError.isEmpty()) return usage(io, mapError);
    if (p.flags.contains(QStringLiteral("--skip-first"))) importer.doNotImportFirstRecord = true;
    const qsizetype before = doc.myArray.count();
    importer.DoImport();
    if (doc.myArray.count() == before) {
        print(io.err, QStringLiteral("qvane: %1 gave no record to import (empty, not text in the chosen encoding, or "
                                     "no rows of fields); %2 was not changed\n")
                          .arg(p.positional[1], p.positional[0]));
        return kExitNothingImported;
    }
    // Only the new records get a category here; the others keep theirs.
    browser.justFinishedImporting(before);
    if (int s = save(doc, p.positional[0], io)) return s;
    print(io.err, QStringLiteral("imported %1 records (%2 columns mapped)\n")
                      .arg(doc.myArray.count() - before)
                      .arg(importer.numberOfImportedFields));
    return kExitOk;
}

int runExport(const QStringList& args, const Streams& io) {
    const Parsed p = parse(args, {QStringLiteral("--header")},
                           {QStringLiteral("--format"), QStringLiteral("--fields"), QStringLiteral("--category"),
                            QStringLiteral("--search"), QStringLiteral("--tags"), QStringLiteral("--preset"),
                            QStringLiteral("-o")});
    if (!p.bad.isEmpty()) return usage(io, p.bad);
    if (p.positional.size() != 1 || !p.values.contains(QStringLiteral("-o")) || !p.values.contains(QStringLiteral("--format")))
        return usage(io, QStringLiteral("usage: qvane export FILE --format 0-5|NAME [--fields LIST] [--header] [--category NAME] "
                                        "[--search TEXT] [--preset 1-5|NAME] [--tags KEY=VALUE,...] -o OUT|-"));
    // The formats by number or by name; the presets of format 0 are the other five.
    static const QStringList formatNames{QStringLiteral("custom"), QStringLiteral("tsv"), QStringLiteral("quoted-csv"),
                                         QStringLiteral("table"), QStringLiteral("html"),
                                         QStringLiteral("plain-csv")};
    auto formatNumber = [](const QString& text, int lowest) {
        bool number = false;
        int n = text.toInt(&number);
        if (!number) n = int(formatNames.indexOf(text));
        return n >= lowest && n <= 5 ? n : -1;
    };
    const int format = formatNumber(p.values.value(QStringLiteral("--format")), 0);
    if (format < 0) return usage(io, QStringLiteral("--format takes 0 to 5 or custom, tsv, quoted-csv, table, html, plain-csv"));
    const int preset = p.values.contains(QStringLiteral("--preset")) ? formatNumber(p.values.value(QStringLiteral("--preset")), 1) : 0;
    if (preset < 0) return usage(io, QStringLiteral("--preset takes 1 to 5 or tsv, quoted-csv, table, html, plain-csv"));
    const QString out = p.values.value(QStringLiteral("-o"));
    const bool toStdout = out == QLatin1String("-");
    if (!toStdout && samePath(out, p.positional[0])) return usage(io, QStringLiteral("OUT must differ from FILE"));

    KeptDocument kept;
    MyDocument& doc = *kept;
    if (int s = open(p.positional[0], p.passwordStdin, doc, io)) return s;
    DocumentBrowser browser(doc);
    // With a filter only the records it shows, in their order; otherwise all of them.
    const bool filtered = p.values.contains(QStringLiteral("--category")) || p.values.contains(QStringLiteral("--search"));
    browser.categoryString = p.values.value(QStringLiteral("--category"));
    browser.searchString = p.values.value(QStringLiteral("--search"));
    browser.setFilterPredicate();
    ZKDataExportManager exporter(filtered ? browser.myArrayController().arrangedObjects() : doc.myArray,
                                 doc.myKeyArrayForExport);
    exporter.fileFormatToSave = format;
    exporter.useFieldNamesAsFirstRow = p.flags.contains(QStringLiteral("--header"));
    const QStringList titles = p.values.value(QStringLiteral("--fields"),
                                              QStringLiteral("Category,Name,Url,Account,User ID,Password,Pin,Security,Email,Note"))
                                   .split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (const QString& t : titles) {
        const qsizetype i = fieldIndexByTitle(exporter.leftKeyArray, t);
        if (i < 0) return usage(io, QStringLiteral("unknown or repeated field \"%1\"").arg(t.trimmed()));
        exporter.addSelectedToRight({i});
    }
    if (preset) exporter.setCustomFields(preset);
    const QString tagsError = applyExportTags(exporter, p.values.value(QStringLiteral("--tags")));
    if (!tagsError.isEmpty()) return usage(io, tagsError);
    if (toStdout) {
        print(io.out, exporter.exportText());
        return std::fflush(io.out) == 0 && !std::ferror(io.out) ? kExitOk : kExitCannotWrite;
    }
    if (const auto written = exporter.writeToFile(out); !written) {
        print(io.err, QStringLiteral("qvane: cannot write %1: %2\n").arg(out, written.message()));
        return kExitCannotWrite;
    }
    return kExitOk;
}

}  // namespace qv::cli

namespace qv::cli {

int runReport(const QStringList& args, const Streams& io) {
    const Parsed p = parse(args, {QStringLiteral("--json")}, {QStringLiteral("--older-than")});
    if (!p.bad.isEmpty()) return usage(io, p.bad);
    if (p.positional.size() != 1)
        return usage(io, QStringLiteral("usage: qvane report FILE [--json] [--older-than DAYS]"));
    // The window's threshold, unless the command names one.
    SettingsUserDefaults defaults(std::make_unique<QSettings>(QSettings::IniFormat, QSettings::UserScope,
                                                              QStringLiteral("Quorvane"), QStringLiteral("Quorvane")));
    defaults.registerDefaults(prefs::optInDefaults());
    int days = int(std::clamp<std::int64_t>(defaults.integerForKey(prefs::passwordHealthOldAfterDays), 1, 36500));
    if (p.values.contains(QStringLiteral("--older-than"))) {
        bool ok = false;
        days = p.values.value(QStringLiteral("--older-than")).toInt(&ok);
        if (!ok || days < 1) return usage(io, QStringLiteral("--older-than takes a whole number of days, 1 or more"));
    }
    KeptDocument kept;
    MyDocument& doc = *kept;
    if (int s = open(p.positional.first(), p.passwordStdin, doc, io)) return s;
    const HealthReport report =
        PasswordHealth::examine(PasswordHealth::entriesOf(doc.myArray), nowSince2001(), days);
    auto nameOf = [&doc](qsizetype index) { return doc.myArray.at(index).toDictionary().value(keys::name).toString(); };

    if (p.flags.contains(QStringLiteral("--json"))) {
        JsonWriter w;
        auto recordRef = [&](qsizetype index) {
            w.beginObject();
            w.key(QStringLiteral("name"));
            w.value(Value(nameOf(index)));
            w.key(QStringLiteral("index"));
            w.value(Value::integer(index));
        };
        w.beginObject();
        w.key(QStringLiteral("weak"));
        w.beginArray();
        for (const WeakPassword& weak : report.weak) {
            recordRef(weak.index);
            w.key(QStringLiteral("reason"));
            w.value(Value(weak.reason));
            w.key(QStringLiteral("bits"));
            w.rawValue(JsonWriter::number(std::round(weak.bits * 10) / 10));
            w.key(QStringLiteral("stars"));
            w.value(Value::integer(weak.stars));
            w.endObject();
        }
        w.endArray();
        w.key(QStringLiteral("reused"));
        w.beginArray();
        for (const auto& group : report.reused) {
            w.beginArray();
            for (qsizetype index : group) {
                recordRef(index);
                w.endObject();
            }
            w.endArray();
        }
        w.endArray();
        for (const auto& [title, list] : {std::pair{QStringLiteral("old"), &report.old}, std::pair{QStringLiteral("empty"), &report.empty}}) {
            w.key(title);
            w.beginArray();
            for (qsizetype index : *list) {
                recordRef(index);
                w.endObject();
            }
            w.endArray();
        }
        w.endObject();
        print(io.out, w.take() + '\n');
        return report.isClean() ? kExitOk : kExitFindings;
    }

    qsizetype inGroups = 0;
    for (const auto& group : report.reused) inGroups += qsizetype(group.size());
    QString text = QStringLiteral("%1 records: %2 weak, %3 reused (%4 %5), %6 not changed for %7 days, %8 with a login but no password\n")
                       .arg(doc.myArray.count())
                       .arg(report.weak.size())
                       .arg(inGroups)
                       .arg(report.reused.size())
                       .arg(report.reused.size() == 1 ? QStringLiteral("group") : QStringLiteral("groups"))
                       .arg(report.old.size())
                       .arg(days)
                       .arg(report.empty.size());
    auto line = [&](qsizetype index) { return QStringLiteral("  [%1] %2").arg(index).arg(nameOf(index)); };
    if (!report.weak.empty()) {
        text += QStringLiteral("\nWeak (%1):\n").arg(report.weak.size());
        for (const WeakPassword& weak : report.weak)
            text += line(weak.index) + QStringLiteral(": %1 (rated %2/10, about %3 bits)\n")
                                           .arg(weak.reason)
                                           .arg(weak.stars)
                                           .arg(int(weak.bits));
    }
    if (!report.reused.empty()) {
        text += QStringLiteral("\nReused (%1 %2):\n").arg(report.reused.size()).arg(report.reused.size() == 1 ? QStringLiteral("group") : QStringLiteral("groups"));
        for (const auto& group : report.reused) {
            QStringList names;
            for (qsizetype index : group) names << QStringLiteral("[%1] %2").arg(index).arg(nameOf(index));
            text += QStringLiteral("  %1 records share one password: %2\n").arg(group.size()).arg(names.join(QStringLiteral(", ")));
        }
    }
    if (!report.old.empty()) {
        text += QStringLiteral("\nNot changed for %1 days (%2):\n").arg(days).arg(report.old.size());
        for (qsizetype index : report.old) {
            const Value modified = doc.myArray.at(index).toDictionary().value(keys::modificationDate);
            text += line(index) + QStringLiteral(": last changed %1\n")
                                      .arg(dateTimeFromSeconds2001(modified.toDate())
                                               .toString(QStringLiteral("yyyy-MM-dd")));
        }
    }
    if (!report.empty.empty()) {
        text += QStringLiteral("\nA login but no password (%1):\n").arg(report.empty.size());
        for (qsizetype index : report.empty) text += line(index) + QLatin1Char('\n');
    }
    print(io.out, text);
    return report.isClean() ? kExitOk : kExitFindings;
}

}  // namespace qv::cli

namespace qv::cli {

// The shared steps, for the verbs kept in files of their own.
int openForVerb(const QString& path, bool passwordStdin, MyDocument& doc, const Streams& io) {
    return open(path, passwordStdin, doc, io);
}
int saveForVerb(MyDocument& doc, const QString& path, const Streams& io) { return save(doc, path, io); }
std::optional<QString> askPasswordForVerb(bool fromStdin, const char* prompt, const Streams& io) {
    return askPassword(fromStdin, prompt, io);
}
bool samePathForVerb(const QString& a, const QString& b) { return samePath(a, b); }

int runMerge(const QStringList& args, const Streams& io) {
    const Parsed p = parse(args, {QStringLiteral("--dry-run"), QStringLiteral("--json")}, {QStringLiteral("-o")});
    if (!p.bad.isEmpty()) return usage(io, p.bad);
    if (p.positional.size() != 2)
        return usage(io, QStringLiteral("usage: qvane merge A B [-o OUT] [--dry-run] [--json] [--password-stdin]"));
    const QString& pathA = p.positional[0];
    const QString& pathB = p.positional[1];
    if (samePath(pathA, pathB)) return usage(io, QStringLiteral("A and B are the same file"));
    const QString outPath = p.values.value(QStringLiteral("-o"), pathA);
    if (samePath(outPath, pathB)) return usage(io, QStringLiteral("OUT must not be B; B is never written"));

    KeptDocument kept;
    MyDocument& a = *kept;
    if (int s = open(pathA, p.passwordStdin, a, io)) return s;
    // B has its own master password; the result keeps A's.
    MyDocument b;
    const int opened = open(pathB, p.passwordStdin, b, io);
    b.wipePasswords();
    if (opened) return opened;
    const MergeReport report = DocumentMerge::merge(a, b);

    if (p.flags.contains(QStringLiteral("--json"))) {
        JsonWriter w;
        w.beginObject();
        const std::pair<const char*, const QStringList*> lists[] = {
            {"added", &report.added},         {"updatedFromB", &report.updatedFromB}, {"keptFromA", &report.keptFromA},
            {"conflicts", &report.conflicts}, {"onlyInA", &report.onlyInA},           {"onlyInB", &report.added},
            {"categoriesAdded", &report.categoriesAdded}};
        for (const auto& [name, list] : lists) {
            w.key(QLatin1String(name));
            w.beginArray();
            for (const QString& n : *list) w.value(Value(n));
            w.endArray();
        }
        w.key(QStringLiteral("emailsAdded"));
        w.value(Value::integer(report.emailsAdded));
        w.endObject();
        print(io.out, w.take() + '\n');
    } else {
        QString text = QStringLiteral("%1 added from B, %2 updated from B, %3 kept from A, %4 conflicts, %5 only in A, "
                                      "%6 categories and %7 addresses added\n")
                           .arg(report.added.size())
                           .arg(report.updatedFromB.size())
                           .arg(report.keptFromA.size())
                           .arg(report.conflicts.size())
                           .arg(report.onlyInA.size())
                           .arg(report.categoriesAdded.size())
                           .arg(report.emailsAdded);
        const std::pair<const char*, const QStringList*> lists[] = {
            {"Only in B, added", &report.added},
            {"Changed later in B, updated", &report.updatedFromB},
            {"Changed later in A, kept", &report.keptFromA},
            {"Changed on both at the same moment, B's added as a copy", &report.conflicts},
            {"Only in A (perhaps deleted in B; a merge deletes nothing)", &report.onlyInA}};
        for (const auto& [title, list] : lists) {
            if (list->isEmpty()) continue;
            text += QStringLiteral("\n%1 (%2):\n").arg(QLatin1String(title)).arg(list->size());
            for (const QString& n : *list) text += QStringLiteral("  %1\n").arg(n);
        }
        print(io.out, text);
    }
    if (p.flags.contains(QStringLiteral("--dry-run"))) return kExitOk;
    if (!report.changedA() && samePath(outPath, pathA)) return kExitOk;  // nothing to write
    return save(a, outPath, io);
}

}  // namespace qv::cli
