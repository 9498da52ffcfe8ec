#include "DocumentVerbs.h"

#include "document/DocumentKeys.h"
#include "document/DocumentTexts.h"
#include "document/MyDocument.h"
#include "foundation/JsonWriter.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <optional>

namespace qv::cli {

namespace {

void print(std::FILE* f, const QByteArray& bytes) { std::fwrite(bytes.constData(), 1, size_t(bytes.size()), f); }
void print(std::FILE* f, const QString& text) { print(f, text.toUtf8()); }

// Options shared by the verbs: which are flags, and the remaining positional arguments.
struct Parsed {
    QStringList positional;
    bool passwordStdin = false;
    bool newPasswordStdin = false;
    QString bad;
};

Parsed parse(const QStringList& args) {
    Parsed p;
    for (const QString& a : args) {
        if (a == QLatin1String("--password-stdin")) p.passwordStdin = true;
        else if (a == QLatin1String("--new-password-stdin")) p.newPasswordStdin = true;
        else if (a.startsWith(QLatin1String("--"))) p.bad = a;
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
    std::fputs(prompt, tty);
    std::fflush(tty);
    termios old{};
    const int fd = fileno(tty);
    const bool haveTermios = tcgetattr(fd, &old) == 0;
    if (haveTermios) {
        termios quiet = old;
        quiet.c_lflag &= tcflag_t(~ECHO);
        tcsetattr(fd, TCSAFLUSH, &quiet);
    }
    QByteArray line;
    int c;
    while ((c = std::fgetc(tty)) != EOF && c != '\n') line.append(char(c));
    if (haveTermios) tcsetattr(fd, TCSAFLUSH, &old);
    std::fputs("\n", tty);
    std::fclose(tty);
    return QString::fromUtf8(line);
}

int usage(const Streams& io, const QString& text) {
    print(io.err, QStringLiteral("qvane: %1\n").arg(text));
    return kExitUsage;
}

// Reads FILE into a document, locked. Prints the failure and gives its exit status.
int load(const QString& path, MyDocument& doc, const Streams& io) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) {
        print(io.err, QStringLiteral("qvane: cannot read %1: %2\n").arg(path, f.errorString()));
        return kExitUnreadable;
    }
    QString message;
    switch (doc.read(f.readAll(), &message)) {
    case MyDocument::ReadResult::Taken: return kExitOk;
    case MyDocument::ReadResult::TooNew:
        print(io.err, texts::tooNewMessage + QLatin1Char('\n') + texts::tooNewInformative + QLatin1Char('\n'));
        return kExitTooNew;
    case MyDocument::ReadResult::Unreadable: break;
    }
    print(io.err, QStringLiteral("qvane: %1 is not a Quorvane document (%2)\n").arg(path, message));
    return kExitUnreadable;
}

// Reads and decrypts FILE with a password asked as the options say.
int open(const QString& path, bool passwordStdin, MyDocument& doc, const Streams& io) {
    if (int s = load(path, doc, io)) return s;
    const auto password = askPassword(passwordStdin, "Master password: ", io);
    if (!password) return usage(io, QStringLiteral("no password given"));
    doc.plainPassword = *password;
    if (doc.Decript() != 0) {
        doc.decryptFailed();
        print(io.err, texts::wrongPassword + QLatin1Char('\n') + texts::wrongPasswordInformative + QLatin1Char('\n'));
        return kExitWrongPassword;
    }
    doc.decryptDone();
    return kExitOk;
}

// Written beside the target and renamed over it, so a failure never leaves half a file.
int save(MyDocument& doc, const QString& path, const Streams& io) {
    const auto bytes = doc.dataOfType(QStringLiteral("qvane"));
    if (!bytes) {
        print(io.err, QStringLiteral("qvane: the document could not be enciphered\n"));
        return kExitUnreadable;
    }
    QSaveFile out(path);
    if (!out.open(QIODevice::WriteOnly) || out.write(*bytes) != bytes->size() || !out.commit()) {
        print(io.err, QStringLiteral("qvane: cannot write %1: %2\n").arg(path, out.errorString()));
        return kExitUnreadable;
    }
    return kExitOk;
}

bool samePath(const QString& a, const QString& b) {
    const QFileInfo x(a), y(b);
    return x.absoluteFilePath() == y.absoluteFilePath() ||
           (x.exists() && y.exists() && x.canonicalFilePath() == y.canonicalFilePath());
}

void writeDocumentJson(JsonWriter& w, const MyDocument& doc) {
    w.beginObject();
    w.key(keys::appversion);
    w.rawValue(QByteArray::number(qulonglong(doc.docVersionRapresentation)));
    w.key(QStringLiteral("documentCreationDate"));
    w.value(doc.documentCreationDate);
    w.key(QStringLiteral("records"));
    w.beginArray();
    for (const Value& r : doc.myArray) {
        const Dictionary record = r.toDictionary();
        w.beginObject();
        for (qsizetype i = 0; i < record.count(); ++i) {
            if (record.keyAt(i) == keys::categoryPtr) {
                const qsizetype index = doc.myCategoryArray.indexOfIdentical(record.valueAt(i));
                if (index < 0) continue;
                w.key(keys::categoryPtr);
                w.rawValue(QByteArrayLiteral("{\"$category\": ") + QByteArray::number(index) + '}');
                continue;
            }
            w.key(record.keyAt(i));
            w.value(record.valueAt(i));
        }
        w.endObject();
    }
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

int runInfo(const QStringList& args, const Streams& io) {
    const Parsed p = parse(args);
    if (!p.bad.isEmpty()) return usage(io, QStringLiteral("unknown option %1").arg(p.bad));
    if (p.positional.size() != 1) return usage(io, QStringLiteral("usage: qvane info FILE"));
    MyDocument doc;
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
    if (!p.bad.isEmpty()) return usage(io, QStringLiteral("unknown option %1").arg(p.bad));
    if (p.positional.size() != 1) return usage(io, QStringLiteral("usage: qvane dump FILE [--password-stdin]"));
    MyDocument doc;
    if (int s = open(p.positional.first(), p.passwordStdin, doc, io)) return s;
    // The generation read from the file, not the one a save would write.
    JsonWriter w;
    writeDocumentJson(w, doc);
    print(io.out, w.take() + '\n');
    return kExitOk;
}

int runConvert(const QStringList& args, const Streams& io) {
    const Parsed p = parse(args);
    if (!p.bad.isEmpty()) return usage(io, QStringLiteral("unknown option %1").arg(p.bad));
    if (p.positional.size() != 2)
        return usage(io, QStringLiteral("usage: qvane convert FILE OUT [--password-stdin] [--new-password-stdin]"));
    const QString& in = p.positional[0];
    const QString& outPath = p.positional[1];
    if (samePath(in, outPath)) return usage(io, QStringLiteral("OUT must differ from FILE; FILE is never written"));
    MyDocument doc;
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
    if (!p.bad.isEmpty()) return usage(io, QStringLiteral("unknown option %1").arg(p.bad));
    if (p.positional.size() != 1) return usage(io, QStringLiteral("usage: qvane new OUT [--password-stdin]"));
    const auto password = askPassword(p.passwordStdin, "New master password: ", io);
    if (!password) return usage(io, QStringLiteral("no password given"));
    if (password->size() <= 5) {
        print(io.err, QStringLiteral("Password too short\nYou have to use a password which is at least six character "
                                     "long.\n"));
        return kExitUsage;
    }
    if (QFileInfo::exists(p.positional.first()))
        return usage(io, QStringLiteral("%1 exists already; new never replaces a file").arg(p.positional.first()));
    MyDocument doc;
    doc.prepareNewDocument();
    doc.plainPassword = *password;
    doc.requiresMandatoryPassword = false;
    return save(doc, p.positional.first(), io);
}

}  // namespace qv::cli
