// The verbs of `qvane` that look at or change one record, the categories or the master password:
// show, add, edit, rm, clip, passwd, categories. Each change goes through the one save path, which
// reads the new bytes back with the password before replacing the file.

#include "DocumentVerbs.h"

#include "browsing/DocumentBrowser.h"
#include "document/DocumentKeys.h"
#include "document/MyDocument.h"
#include "document/RecordModel.h"
#include "foundation/JsonWriter.h"
#include "foundation/Result.h"
#include "foundation/UserDefaults.h"
#include "passwordtools/ZKPasswordMaker.h"
#include "shell/MyAppDelegate.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <csignal>

namespace qv::cli {

namespace {

// As the other verbs keep theirs: until the process ends, freed by the next command; its
// passwords are wiped when the verb is done.
class Kept {
public:
    Kept() {
        static MyDocument* kept = nullptr;
        delete kept;
        kept = new MyDocument;
        doc_ = kept;
    }
    ~Kept() { doc_->wipePasswords(); }
    Kept(const Kept&) = delete;
    Kept& operator=(const Kept&) = delete;
    MyDocument& operator*() const { return *doc_; }

private:
    MyDocument* doc_;
};

// The record fields that options name, in the order the detail pane shows them.
struct Field {
    const char* option;
    const QString* key;
};
const Field kFields[] = {{"--account", &keys::account}, {"--user", &keys::userID},     {"--url", &keys::url},
                         {"--email", &keys::email},     {"--note", &keys::note},       {"--pin", &keys::pin},
                         {"--security", &keys::security}};

bool isSecretKey(const QString& key) { return key == keys::password || key == keys::pin || key == keys::security; }

// A hidden value shows as the same eight dots whatever its length, so that the mask tells
// nothing about the secret.
QString masked(const QString& value) { return value.isEmpty() ? value : QString(8, QChar(0x2022)); }

QString isoDate(const Value& v) { return v.isDate() ? cli::isoDate(v.toDate()) : QString(); }

struct Options {
    QStringList positional;
    QStringList flags;
    QHash<QString, QString> values;
    QStringList renamePair;  // categories --rename OLD NEW
    QString bad;
    bool has(const char* flag) const { return flags.contains(QLatin1String(flag)); }
    bool hasValue(const char* option) const { return values.contains(QLatin1String(option)); }
    QString value(const char* option) const { return values.value(QLatin1String(option)); }
};

Options parse(const QStringList& args, const QStringList& flagNames, const QStringList& valueNames,
              bool renameTakesTwo = false) {
    Options o;
    bool onlyNames = false;  // after "--", a record named like an option
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& a = args[i];
        if (onlyNames) {
            o.positional << a;
        } else if (a == QLatin1String("--")) {
            onlyNames = true;
        } else if (renameTakesTwo && a == QLatin1String("--rename")) {
            if (i + 2 >= args.size()) o.bad = QStringLiteral("--rename needs OLD and NEW");
            else o.renamePair = QStringList{args[i + 1], args[i + 2]};
            i += 2;
        } else if (a == QLatin1String("--password-stdin") || flagNames.contains(a)) {
            o.flags << a;
        } else if (valueNames.contains(a)) {
            if (i + 1 >= args.size()) o.bad = a + QStringLiteral(" needs a value");
            else o.values.insert(a, args[++i]);
        } else if (a.startsWith(QLatin1String("--"))) {
            o.bad = QStringLiteral("unknown option ") + a;
        } else {
            o.positional << a;
        }
    }
    return o;
}

// Opens FILE for a verb that will save it: a document of an older generation is written in the
// current format only when the user says so, since the releases that wrote it cannot open it then.
int openForChange(const QString& path, const Options& o, MyDocument& doc, const Streams& io) {
    if (int s = openForVerb(path, o.has("--password-stdin"), doc, io)) return s;
    if (doc.docVersionRapresentation != MyDocument::kGenerationWritten && !o.has("--convert")) {
        print(io.err, QStringLiteral("qvane: %1 was written by Quorvane %2 (generation %3); saving it would convert it to "
                                     "the current format, which that release cannot open. Give --convert to do so; "
                                     "nothing was changed\n")
                          .arg(path, doc.docReleaseString)
                          .arg(doc.docVersionRapresentation));
        return kExitUsage;
    }
    return kExitOk;
}

// The record NAME, or the one at --index N. -1 with the message printed when there is no single one.
qsizetype findRecord(const MyDocument& doc, const Options& o, const QString& name, const Streams& io) {
    if (o.hasValue("--index")) {
        bool ok = false;
        const qsizetype index = o.value("--index").toLongLong(&ok);
        if (!ok || index < 0 || index >= doc.myArray.count()) {
            usage(io, QStringLiteral("--index takes a position from 0 to %1").arg(doc.myArray.count() - 1));
            return -1;
        }
        const QString there = doc.myArray.at(index).toDictionary().value(keys::name).toString();
        if (there != name) {
            usage(io, QStringLiteral("record %1 is named \"%2\", not \"%3\"").arg(index).arg(there, name));
            return -1;
        }
        return index;
    }
    std::vector<qsizetype> found;
    for (qsizetype i = 0; i < doc.myArray.count(); ++i)
        if (doc.myArray.at(i).toDictionary().value(keys::name).toString() == name) found.push_back(i);
    if (found.empty()) {
        print(io.err, QStringLiteral("qvane: no record is named \"%1\"\n").arg(name));
        return -1;
    }
    if (found.size() > 1) {
        QString list;
        for (qsizetype i : found) {
            const Dictionary r = doc.myArray.at(i).toDictionary();
            list += QStringLiteral("\n  --index %1  (%2%3)")
                        .arg(i)
                        .arg(r.valueForKeyPath(QStringLiteral("categoryPtr.cat_category")).toString(),
                             r.value(keys::userID).toString().isEmpty()
                                 ? QString()
                                 : QStringLiteral(", ") + r.value(keys::userID).toString());
        }
        usage(io, QStringLiteral("%1 records are named \"%2\"; choose one with --index:%3").arg(found.size()).arg(name, list));
        return -1;
    }
    return found.front();
}

// The generator as `generate` runs it, with the preferences' characters to avoid.
Result<QString> generatePassword(const Options& o) {
    bool ok = true;
    int tag = 40, length = 12;
    if (o.hasValue("--type")) tag = passwordTypeTag(o.value("--type"), &ok);
    if (ok && o.hasValue("--length")) length = o.value("--length").toInt(&ok);
    if (!ok || length < 5 || length > 42)
        return Failure<>{0, QStringLiteral("--type takes a generator type and --length a number from 5 to 42")};
    SettingsUserDefaults defaults(std::make_unique<QSettings>(QSettings::IniFormat, QSettings::UserScope,
                                                              QStringLiteral("Quorvane"), QStringLiteral("Quorvane")));
    MyAppDelegate::initialize(defaults);
    auto made = ZKPasswordMaker::sharedPasswordMaker().generatePasswordType(
        tag, length, defaults.boolForKey(prefs::enableDisambiguator), defaults.stringForKey(prefs::noCharStringDisambiguator));
    if (!made) return Failure<>{0, QStringLiteral("the characters to avoid leave nothing to make a password of that type from")};
    return *made;
}

// The record's new password as the options say; no value means "leave it".
struct NewPassword {
    std::optional<QString> value;
    bool generated = false;
};

Result<NewPassword> recordPassword(const Options& o, const Streams& io) {
    const bool prompt = o.has("--password-prompt"), generate = o.has("--generate");
    if (prompt && generate) return Failure<>{0, QStringLiteral("give --password-prompt or --generate, not both")};
    if (generate) {
        auto made = generatePassword(o);
        if (!made) return made.failure();
        return NewPassword{std::move(made).value(), true};
    }
    if (o.hasValue("--type") || o.hasValue("--length"))
        return Failure<>{0, QStringLiteral("--type and --length go with --generate")};
    if (prompt) {
        const auto first = askPasswordForVerb(false, "Password of the record: ", io);
        if (!first) return Failure<>{0, QStringLiteral("no password given for the record")};
        const auto again = askPasswordForVerb(false, "Password of the record again: ", io);
        if (!again || *again != *first) return Failure<>{0, QStringLiteral("the two passwords differ; nothing was changed")};
        return NewPassword{first, false};
    }
    // The line after the master password, when there is one.
    if (o.has("--password-stdin")) return NewPassword{askPasswordForVerb(true, "", io), false};
    return NewPassword{};
}

// The category titled TITLE, made as an import makes a category it has not seen when there is none.
Value categoryTitled(DocumentBrowser& browser, const QString& title) {
    ZKColoredCategoryArrayController& categories = browser.myCategoryArrayController();
    Value category = categories.categoryWithTitle(title);
    if (category.isAbsent()) category = categories.addWithName(title);
    return category;
}

QStringList fieldValueOptions() {
    QStringList names{QStringLiteral("--category"), QStringLiteral("--type"), QStringLiteral("--length")};
    for (const Field& f : kFields) names << QLatin1String(f.option);
    return names;
}

// A yes-or-no question on the terminal; anything but yes is no.
bool confirm(const QString& question) {
    std::FILE* tty = std::fopen("/dev/tty", "r+");
    if (!tty) return false;
    std::fputs(question.toUtf8().constData(), tty);
    std::fflush(tty);
    QByteArray line;
    int c;
    while ((c = std::fgetc(tty)) != EOF && c != '\n') line.append(char(c));
    std::fclose(tty);
    const QByteArray answer = line.trimmed().toLower();
    return answer == "y" || answer == "yes";
}

const QStringList kPasswordFlags{QStringLiteral("--password-prompt"), QStringLiteral("--generate"),
                                 QStringLiteral("--print"), QStringLiteral("--convert")};

}  // namespace

int passwordTypeTag(const QString& text, bool* ok) {
    // The generator's types by their number, or by a short form of the titles its window shows.
    static const QHash<QString, int> names{
        {QStringLiteral("letters"), 10},        {QStringLiteral("lower"), 11},
        {QStringLiteral("alphanumeric"), 20},   {QStringLiteral("lower-digits"), 21},
        {QStringLiteral("upper-digits"), 22},   {QStringLiteral("digits"), 30},
        {QStringLiteral("all"), 40},            {QStringLiteral("lower-symbols"), 41},
        {QStringLiteral("upper-symbols"), 42},  {QStringLiteral("hex"), 52},
        {QStringLiteral("readable"), 60},       {QStringLiteral("readable-upper"), 61}};
    static const QList<int> tags{10, 11, 20, 21, 22, 30, 40, 41, 42, 52, 60, 61};
    bool number = false;
    const int tag = text.toInt(&number);
    if (number && tags.contains(tag)) {
        *ok = true;
        return tag;
    }
    *ok = names.contains(text.toLower());
    return names.value(text.toLower(), 40);
}

QStringList passwordTypeNames() {
    return {QStringLiteral("letters"),      QStringLiteral("lower"),         QStringLiteral("alphanumeric"),
            QStringLiteral("lower-digits"), QStringLiteral("upper-digits"),  QStringLiteral("digits"),
            QStringLiteral("all"),          QStringLiteral("lower-symbols"), QStringLiteral("upper-symbols"),
            QStringLiteral("hex"),          QStringLiteral("readable"),      QStringLiteral("readable-upper")};
}

int runShow(const QStringList& args, const Streams& io) {
    const Options o = parse(args, {QStringLiteral("--show-secrets"), QStringLiteral("--json")}, {QStringLiteral("--index")});
    if (!o.bad.isEmpty()) return usage(io, o.bad);
    if (o.positional.size() != 2)
        return usage(io, QStringLiteral("usage: qvane show FILE NAME [--index N] [--show-secrets] [--json] [--password-stdin]"));
    Kept kept;
    MyDocument& doc = *kept;
    if (int s = openForVerb(o.positional[0], o.has("--password-stdin"), doc, io)) return s;
    const qsizetype index = findRecord(doc, o, o.positional[1], io);
    if (index < 0) return kExitUsage;
    const Dictionary r = doc.myArray.at(index).toDictionary();
    const bool secrets = o.has("--show-secrets");
    const QString category = r.valueForKeyPath(QStringLiteral("categoryPtr.cat_category")).toString();
    const std::pair<QString, QString> fields[] = {
        {QStringLiteral("name"), keys::name},       {QStringLiteral("category"), QString()},
        {QStringLiteral("account"), keys::account}, {QStringLiteral("userID"), keys::userID},
        {QStringLiteral("password"), keys::password}, {QStringLiteral("pin"), keys::pin},
        {QStringLiteral("security"), keys::security}, {QStringLiteral("url"), keys::url},
        {QStringLiteral("email"), keys::email},     {QStringLiteral("note"), keys::note}};
    auto text = [&](const QString& key) {
        const QString v = r.value(key).toString();
        return isSecretKey(key) && !secrets ? masked(v) : v;
    };
    if (o.has("--json")) {
        JsonWriter w;
        w.beginObject();
        w.key(QStringLiteral("index"));
        w.value(Value::integer(index));
        for (const auto& [title, key] : fields) {
            w.key(title);
            w.value(Value(key.isEmpty() ? category : text(key)));
        }
        w.key(QStringLiteral("creationDate"));
        w.value(Value(isoDate(r.value(keys::creationDate))));
        w.key(QStringLiteral("modificationDate"));
        w.value(Value(isoDate(r.value(keys::modificationDate))));
        w.key(QStringLiteral("usageCount"));
        w.value(Value::integer(r.value(keys::usageCount).toInt64()));
        w.endObject();
        print(io.out, QString::fromUtf8(w.take()) + QLatin1Char('\n'));
        return kExitOk;
    }
    QString out;
    auto line = [&out](const QString& title, QString value) {
        // A note of several lines keeps them, each under the first.
        out += QStringLiteral("%1 %2\n").arg(title + QLatin1Char(':'), -13).arg(value.replace(QLatin1Char('\n'), QStringLiteral("\n              ")));
    };
    for (const auto& [title, key] : fields) line(title, key.isEmpty() ? category : text(key));
    line(QStringLiteral("created"), isoDate(r.value(keys::creationDate)));
    line(QStringLiteral("modified"), isoDate(r.value(keys::modificationDate)));
    line(QStringLiteral("used"), QString::number(r.value(keys::usageCount).toInt64()));
    print(io.out, out);
    return kExitOk;
}

int runAdd(const QStringList& args, const Streams& io) {
    const Options o = parse(args, kPasswordFlags, fieldValueOptions());
    if (!o.bad.isEmpty()) return usage(io, o.bad);
    if (o.positional.size() != 2)
        return usage(io, QStringLiteral("usage: qvane add FILE NAME [--category TITLE] [--account S] [--user S] [--url S] "
                                        "[--email S] [--note S] [--pin S] [--security S] [--password-prompt | --generate "
                                        "[--type TAG] [--length N] [--print]] [--convert] [--password-stdin]"));
    if (o.positional[1].isEmpty()) return usage(io, QStringLiteral("a record needs a name"));
    Kept kept;
    MyDocument& doc = *kept;
    if (int s = openForChange(o.positional[0], o, doc, io)) return s;
    const auto asked = recordPassword(o, io);
    if (!asked) return usage(io, asked.message());
    const std::optional<QString>& password = asked->value;
    const bool generated = asked->generated;

    DocumentBrowser browser(doc);
    FilteringArrayController& records = browser.myArrayController();
    // No record is selected here: the new one takes the last category, as in the window when
    // nothing is selected, or the one named.
    records.avoidsEmptySelection = false;
    records.setSelectionIndexes({});
    const Value made = records.newObject();
    Dictionary r = made.toDictionary();
    r.set(keys::name, Value(o.positional[1]));
    for (const Field& f : kFields)
        if (o.hasValue(f.option)) r.set(*f.key, Value(o.value(f.option)));
    if (password) r.set(keys::password, Value(*password));
    if (o.hasValue("--category")) r.set(keys::categoryPtr, categoryTitled(browser, o.value("--category")));
    browser.addTheRecord(made);
    if (int s = saveForVerb(doc, o.positional[0], io)) return s;
    if (generated && o.has("--print")) print(io.out, *password + QLatin1Char('\n'));
    print(io.err, QStringLiteral("added \"%1\" at index %2 in %3\n")
                      .arg(o.positional[1])
                      .arg(doc.myArray.indexOfIdentical(made))
                      .arg(r.valueForKeyPath(QStringLiteral("categoryPtr.cat_category")).toString()));
    return kExitOk;
}

int runEdit(const QStringList& args, const Streams& io) {
    QStringList values = fieldValueOptions();
    values << QStringLiteral("--index") << QStringLiteral("--rename");
    const Options o = parse(args, kPasswordFlags, values);
    if (!o.bad.isEmpty()) return usage(io, o.bad);
    if (o.positional.size() != 2)
        return usage(io, QStringLiteral("usage: qvane edit FILE NAME [--index N] [--rename S] [--category TITLE] [--account S] "
                                        "[--user S] [--url S] [--email S] [--note S] [--pin S] [--security S] "
                                        "[--password-prompt | --generate [--type TAG] [--length N] [--print]] [--convert] "
                                        "[--password-stdin]"));
    if (o.hasValue("--rename") && o.value("--rename").isEmpty()) return usage(io, QStringLiteral("a record needs a name"));
    Kept kept;
    MyDocument& doc = *kept;
    if (int s = openForChange(o.positional[0], o, doc, io)) return s;
    const qsizetype index = findRecord(doc, o, o.positional[1], io);
    if (index < 0) return kExitUsage;
    const auto asked = recordPassword(o, io);
    if (!asked) return usage(io, asked.message());
    const std::optional<QString>& password = asked->value;
    const bool generated = asked->generated;

    DocumentBrowser browser(doc);
    const Value record = doc.myArray.at(index);
    Dictionary r = record.toDictionary();
    bool changed = false;
    auto change = [&](const QString& key, const QString& value) {
        if (r.value(key).toString() == value && r.value(key).isString()) return;
        r.set(key, Value(value));
        changed = true;
    };
    if (o.hasValue("--rename")) change(keys::name, o.value("--rename"));
    for (const Field& f : kFields)
        if (o.hasValue(f.option)) change(*f.key, o.value(f.option));
    if (password) change(keys::password, *password);
    if (o.hasValue("--category")) {
        const Value category = categoryTitled(browser, o.value("--category"));
        if (!r.value(keys::categoryPtr).isIdenticalTo(category)) {
            browser.myArrayController().assignCategory(category, record);
            changed = true;
        }
    }
    if (!changed) {
        print(io.err, QStringLiteral("qvane: nothing to change; %1 was not written\n").arg(o.positional[0]));
        return kExitOk;
    }
    // As the window stamps a record when an edit of one of its fields is committed.
    r.set(keys::modificationDate, Value::date(nowSince2001()));
    if (int s = saveForVerb(doc, o.positional[0], io)) return s;
    if (generated && o.has("--print")) print(io.out, *password + QLatin1Char('\n'));
    return kExitOk;
}

int runRm(const QStringList& args, const Streams& io) {
    const Options o = parse(args, {QStringLiteral("--yes"), QStringLiteral("--convert")}, {QStringLiteral("--index")});
    if (!o.bad.isEmpty()) return usage(io, o.bad);
    if (o.positional.size() != 2)
        return usage(io, QStringLiteral("usage: qvane rm FILE NAME [--index N] [--yes] [--convert] [--password-stdin]"));
    const bool terminal = isatty(STDIN_FILENO) && !o.has("--password-stdin");
    if (!o.has("--yes") && !terminal)
        return usage(io, QStringLiteral("without a terminal to confirm on, rm needs --yes"));
    Kept kept;
    MyDocument& doc = *kept;
    if (int s = openForChange(o.positional[0], o, doc, io)) return s;
    const qsizetype index = findRecord(doc, o, o.positional[1], io);
    if (index < 0) return kExitUsage;
    if (!o.has("--yes") && !confirm(QStringLiteral("Delete \"%1\" (record %2) from %3? [y/N] ")
                                        .arg(o.positional[1])
                                        .arg(index)
                                        .arg(o.positional[0]))) {
        print(io.err, QStringLiteral("qvane: nothing was deleted\n"));
        return kExitOk;
    }
    DocumentBrowser browser(doc);
    browser.deleteTheRecord(doc.myArray.at(index));
    return saveForVerb(doc, o.positional[0], io);
}

}  // namespace qv::cli

namespace qv::cli {

int runPasswd(const QStringList& args, const Streams& io) {
    const Options o = parse(args, {QStringLiteral("--convert")}, {});
    if (!o.bad.isEmpty()) return usage(io, o.bad);
    if (o.positional.size() != 1) return usage(io, QStringLiteral("usage: qvane passwd FILE [--convert] [--password-stdin]"));
    Kept kept;
    MyDocument& doc = *kept;
    if (int s = openForChange(o.positional[0], o, doc, io)) return s;
    const bool fromStdin = o.has("--password-stdin");
    auto fresh = askPasswordForVerb(fromStdin, "New master password: ", io);
    if (!fresh) return usage(io, QStringLiteral("no new password given; nothing was changed"));
    if (fresh->size() <= 5) {
        print(io.err, QStringLiteral("Password Too Short. You have to use a password which is at least six character "
                                     "long.\nNo changes were applied\n"));
        return kExitUsage;
    }
    if (!fromStdin) {
        const auto again = askPasswordForVerb(false, "New master password again: ", io);
        if (!again || *again != *fresh)
            return usage(io, QStringLiteral("the two passwords differ; nothing was changed"));
    }
    doc.plainPassword = *fresh;
    fresh->fill(QLatin1Char('\0'));
    return saveForVerb(doc, o.positional[0], io);
}

namespace {

QString colorText(const Value& color) {
    if (!color.isDictionary()) return {};
    const RgbaColor c = ZKColorUtilOSX::NSColorFromDict(color.toDictionary());
    auto part = [](double v) { return QStringLiteral("%1").arg(int(std::lround(std::clamp(v, 0.0, 1.0) * 255)), 2, 16, QLatin1Char('0')); };
    return (QLatin1Char('#') + part(c.r) + part(c.g) + part(c.b)).toUpper();
}

// How many records point at each category now.
qsizetype recordsIn(const MyDocument& doc, const Value& category) {
    qsizetype n = 0;
    for (const Value& r : doc.myArray)
        if (r.toDictionary().value(keys::categoryPtr).isIdenticalTo(category)) ++n;
    return n;
}

}  // namespace

int runCategories(const QStringList& args, const Streams& io) {
    const Options o = parse(args, {QStringLiteral("--json"), QStringLiteral("--convert")},
                            {QStringLiteral("--add"), QStringLiteral("--color"), QStringLiteral("--remove")}, true);
    if (!o.bad.isEmpty()) return usage(io, o.bad);
    const int actions = int(o.hasValue("--add")) + int(o.hasValue("--remove")) + int(!o.renamePair.isEmpty());
    if (o.positional.size() != 1 || actions > 1 || (o.hasValue("--color") && !o.hasValue("--add")) ||
        (actions && o.has("--json")))
        return usage(io, QStringLiteral("usage: qvane categories FILE [--json] | --add TITLE [--color #RRGGBB] | --rename OLD "
                                        "NEW | --remove TITLE [--convert] [--password-stdin]"));
    static const QRegularExpression hex(QStringLiteral("^#[0-9A-Fa-f]{6}$"));
    if (o.hasValue("--color") && !hex.match(o.value("--color")).hasMatch())
        return usage(io, QStringLiteral("--color takes #RRGGBB, such as #3366CC"));
    Kept kept;
    MyDocument& doc = *kept;
    const QString& path = o.positional[0];
    if (int s = actions ? openForChange(path, o, doc, io) : openForVerb(path, o.has("--password-stdin"), doc, io)) return s;
    DocumentBrowser browser(doc);
    ZKColoredCategoryArrayController& categories = browser.myCategoryArrayController();

    if (!actions) {
        if (o.has("--json")) {
            JsonWriter w;
            w.beginArray();
            for (const Value& c : doc.myCategoryArray) {
                const Dictionary d = c.toDictionary();
                w.beginObject();
                w.key(QStringLiteral("title"));
                w.value(Value(d.value(keys::cat_category).toString()));
                w.key(QStringLiteral("uniqueID"));
                w.value(Value::integer(d.value(keys::cat_uniqueID).toInt64()));
                w.key(QStringLiteral("backColor"));
                w.value(Value(colorText(d.value(keys::cat_backColor))));
                w.key(QStringLiteral("textColor"));
                w.value(Value(colorText(d.value(keys::cat_textColor))));
                w.key(QStringLiteral("records"));
                w.value(Value::integer(recordsIn(doc, c)));
                w.endObject();
            }
            w.endArray();
            print(io.out, QString::fromUtf8(w.take()) + QLatin1Char('\n'));
            return kExitOk;
        }
        qsizetype width = 8;
        for (const Value& c : doc.myCategoryArray)
            width = std::max(width, c.toDictionary().value(keys::cat_category).toString().size());
        print(io.out, QStringLiteral("%1  %2  %3  %4\n").arg(QStringLiteral("category"), -int(width)).arg(QStringLiteral("colour"), -7).arg(QStringLiteral("text"), -7).arg(QStringLiteral("records")));
        for (const Value& c : doc.myCategoryArray) {
            const Dictionary d = c.toDictionary();
            print(io.out, QStringLiteral("%1  %2  %3  %4\n")
                              .arg(d.value(keys::cat_category).toString(), -int(width))
                              .arg(colorText(d.value(keys::cat_backColor)), -7)
                              .arg(colorText(d.value(keys::cat_textColor)), -7)
                              .arg(recordsIn(doc, c)));
        }
        return kExitOk;
    }

    if (o.hasValue("--add")) {
        const QString title = o.value("--add");
        if (title.isEmpty()) return usage(io, QStringLiteral("a category needs a title"));
        if (!categories.categoryWithTitle(title).isAbsent())
            return usage(io, QStringLiteral("there is a category \"%1\" already").arg(title));
        const Value made = categories.addWithName(title);
        if (o.hasValue("--color")) {
            const QString h = o.value("--color");
            auto part = [&h](int at) { return h.mid(at, 2).toInt(nullptr, 16) / 255.0; };
            made.toDictionary().set(keys::cat_backColor, Value(ZKColorUtilOSX::dictFromNSColor(RgbaColor{part(1), part(3), part(5), 1})));
        }
    } else if (!o.renamePair.isEmpty()) {
        const Value category = categories.categoryWithTitle(o.renamePair[0]);
        if (category.isAbsent()) return usage(io, QStringLiteral("there is no category \"%1\"").arg(o.renamePair[0]));
        if (o.renamePair[1].isEmpty()) return usage(io, QStringLiteral("a category needs a title"));
        if (!categories.categoryWithTitle(o.renamePair[1]).isAbsent())
            return usage(io, QStringLiteral("there is a category \"%1\" already").arg(o.renamePair[1]));
        category.toDictionary().set(keys::cat_category, Value(o.renamePair[1]));
    } else {
        const Value category = categories.categoryWithTitle(o.value("--remove"));
        if (category.isAbsent()) return usage(io, QStringLiteral("there is no category \"%1\"").arg(o.value("--remove")));
        const qsizetype orphans = recordsIn(doc, category);
        // As the window removes one: the records are not touched and keep its number.
        categories.setSelectedObjects(Array{category});
        browser.removeCategory();
        if (orphans)
            print(io.err, QStringLiteral("qvane: %1 records keep the number of \"%2\" and show no category when the "
                                         "document is opened again (or that of a category that takes the number "
                                         "later); move them first with edit --category to keep them filed\n")
                              .arg(orphans)
                              .arg(o.value("--remove")));
    }
    return saveForVerb(doc, path, io);
}

}  // namespace qv::cli

namespace qv::cli {

namespace {

bool haveDisplay() {
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        if (const char* v = std::getenv(name); v && *v) return true;
    return false;
}

// The window program beside this one, as installed, or the first on the PATH.
QString windowProgram() {
    const QString beside = QCoreApplication::applicationDirPath() + QStringLiteral("/quorvane");
    if (QFileInfo(beside).isExecutable()) return beside;
    return QStandardPaths::findExecutable(QStringLiteral("quorvane"));
}

// Starts `quorvane --clip --seconds S` in a session of its own, hands it the value through a pipe
// and waits only until it says the value is on the clipboard. Its exit status when it could not.
int handToClipboard(const QString& program, const QString& value, std::int64_t seconds, const Streams& io) {
    int in[2], out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) return kExitCannotWrite;
    const QByteArray path = QFile::encodeName(program), secondsText = QByteArray::number(qlonglong(seconds));
    const pid_t child = fork();
    if (child < 0) return kExitCannotWrite;
    if (child == 0) {
        setsid();  // the shell's prompt comes back, and a Ctrl-C there no longer reaches it
        dup2(in[0], STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        const char* argv[] = {path.constData(), "--clip", "--seconds", secondsText.constData(), nullptr};
        execv(path.constData(), const_cast<char* const*>(argv));
        _exit(127);
    }
    close(in[0]);
    close(out[1]);
    const QByteArray bytes = value.toUtf8();
    std::signal(SIGPIPE, SIG_IGN);
    for (qsizetype done = 0; done < bytes.size();) {
        const ssize_t n = write(in[1], bytes.constData() + done, size_t(bytes.size() - done));
        if (n <= 0) break;
        done += n;
    }
    close(in[1]);
    QByteArray said;
    char buffer[64];
    ssize_t n;
    while ((n = read(out[0], buffer, sizeof buffer)) > 0) {
        said.append(buffer, n);
        if (said.contains('\n')) break;
    }
    close(out[0]);
    if (said.startsWith("copied")) return kExitOk;  // it goes on alone, to clear later
    int status = 0;
    waitpid(child, &status, 0);
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 127;
    if (code == kExitNoDisplay) return kExitNoDisplay;  // it said why on the shared standard error
    print(io.err, QStringLiteral("qvane: %1 could not hold the clipboard (status %2)\n").arg(program).arg(code));
    return code == 127 ? kExitNoDisplay : kExitCannotWrite;
}

}  // namespace

int runClip(const QStringList& args, const Streams& io) {
    const Options o = parse(args, {QStringLiteral("--convert")},
                            {QStringLiteral("--index"), QStringLiteral("--field"), QStringLiteral("--seconds")});
    if (!o.bad.isEmpty()) return usage(io, o.bad);
    static const QStringList fieldNames{QStringLiteral("password"), QStringLiteral("userID"), QStringLiteral("account"),
                                        QStringLiteral("pin"),      QStringLiteral("security"), QStringLiteral("url"),
                                        QStringLiteral("email"),    QStringLiteral("note")};
    if (o.positional.size() != 2)
        return usage(io, QStringLiteral("usage: qvane clip FILE NAME [--index N] [--field %1] [--seconds S] [--convert] "
                                        "[--password-stdin]")
                             .arg(fieldNames.join(QLatin1Char('|'))));
    const QString field = o.hasValue("--field") ? o.value("--field") : QStringLiteral("password");
    if (!fieldNames.contains(field)) return usage(io, QStringLiteral("--field takes %1").arg(fieldNames.join(QStringLiteral(", "))));
    bool ok = true;
    const std::int64_t seconds = o.hasValue("--seconds") ? o.value("--seconds").toLongLong(&ok) : 45;
    if (!ok || seconds < 0 || seconds > 24 * 3600)
        return usage(io, QStringLiteral("--seconds takes a number of seconds from 0 (never clear) to 86400"));
    // Before the password is asked: without a display there is nothing to copy to.
    if (!haveDisplay()) {
        print(io.err, QStringLiteral("qvane: no display to hold the clipboard (neither DISPLAY nor WAYLAND_DISPLAY is set)\n"));
        return kExitNoDisplay;
    }
    const QString program = windowProgram();
    if (program.isEmpty()) {
        print(io.err, QStringLiteral("qvane: clip needs the window program, quorvane, which is not installed\n"));
        return kExitNoDisplay;
    }
    Kept kept;
    MyDocument& doc = *kept;
    if (int s = openForVerb(o.positional[0], o.has("--password-stdin"), doc, io)) return s;
    const qsizetype index = findRecord(doc, o, o.positional[1], io);
    if (index < 0) return kExitUsage;
    Dictionary r = doc.myArray.at(index).toDictionary();
    QString value = r.value(field).toString();
    const int handed = handToClipboard(program, value, seconds, io);
    value.fill(QLatin1Char('\0'));
    if (handed) return handed;
    print(io.err, seconds ? QStringLiteral("%1 of \"%2\" copied; the clipboard is cleared in %3 seconds\n")
                                .arg(field, o.positional[1])
                                .arg(seconds)
                          : QStringLiteral("%1 of \"%2\" copied\n").arg(field, o.positional[1]));
    // A use counted as the window counts one, which reaches the file with this save; a document
    // of an older generation keeps its format and the use goes uncounted.
    if (doc.docVersionRapresentation != MyDocument::kGenerationWritten && !o.has("--convert")) {
        print(io.err, QStringLiteral("qvane: the use was not counted: %1 is kept in the format of Quorvane %2 (give "
                                     "--convert to save it in the current one)\n")
                          .arg(o.positional[0], doc.docReleaseString));
        return kExitOk;
    }
    r.set(keys::usageCount, Value::integer(r.value(keys::usageCount).toInt64() + 1));
    return saveForVerb(doc, o.positional[0], io);
}

}  // namespace qv::cli
