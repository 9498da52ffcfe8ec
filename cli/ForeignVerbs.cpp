// `qvane import --from FORMAT` and `qvane export --format` of other password managers' formats.

#include "DocumentVerbs.h"

#include "browsing/DocumentBrowser.h"
#include "document/MyDocument.h"
#include "foundation/FileBytes.h"
#include "importexport/ForeignExport.h"
#include "importexport/ForeignImport.h"

#include <QFile>

#include <cstdio>

namespace qv::cli {

namespace {

// As the other verbs keep theirs: until the process ends, freed by the next command.
MyDocument& keptDocument() {
    static MyDocument* kept = nullptr;
    delete kept;
    kept = new MyDocument;
    return *kept;
}

struct Options {
    QStringList positional;
    QString from;
    QString format;
    QString out;
    bool passwordStdin = false;
    QString bad;
};

Options parseOptions(const QStringList& args) {
    Options o;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& a = args[i];
        auto valueOf = [&](QString* target) {
            if (i + 1 >= args.size()) o.bad = a + QStringLiteral(" needs a value");
            else *target = args[++i];
        };
        if (a == QLatin1String("--password-stdin")) o.passwordStdin = true;
        else if (a == QLatin1String("--from")) {
            // Without a value (or followed by something that is no format) it decides by content.
            const QString next = i + 1 < args.size() ? args[i + 1] : QString();
            if (next == QLatin1String("auto") || ForeignImport::formatNames().contains(next)) o.from = args[++i];
            else o.from = QStringLiteral("auto");
        } else if (a == QLatin1String("--format")) valueOf(&o.format);
        else if (a == QLatin1String("-o")) valueOf(&o.out);
        else if (a == QLatin1String("--key-file") || a.startsWith(QLatin1String("--key-file=")))
            o.bad = QStringLiteral("key files are not supported: open the database in its own program, remove the key "
                                   "file or export it as XML, and import that");
        else if (a.startsWith(QLatin1String("--"))) o.bad = QStringLiteral("unknown option ") + a;
        else o.positional << a;
    }
    return o;
}

}  // namespace

bool isForeignExport(const QStringList& args) {
    const qsizetype i = args.indexOf(QStringLiteral("--format"));
    return i >= 0 && i + 1 < args.size() && ForeignExport::formatNames().contains(args[i + 1]);
}

int runForeignImport(const QStringList& args, const Streams& io) {
    const Options o = parseOptions(args);
    if (!o.bad.isEmpty()) return usage(io, o.bad);
    if (o.positional.size() != 2 || !o.format.isEmpty() || !o.out.isEmpty())
        return usage(io, QStringLiteral("usage: qvane import FILE SOURCE --from [auto|%1] [--password-stdin]")
                             .arg(ForeignImport::formatNames().join(QLatin1Char('|'))));
    const QString& source = o.positional[1];
    QFile file(source);
    if (!file.open(QIODevice::ReadOnly)) {
        print(io.err, QStringLiteral("qvane: cannot read %1: %2\n").arg(source, file.errorString()));
        return kExitUnreadable;
    }
    const QByteArray data = readWholeFile(file);
    file.close();
    QString format = o.from;
    if (format == QLatin1String("auto")) {
        format = ForeignImport::detectFormat(data);
        if (format.isEmpty()) {
            print(io.err, QStringLiteral("qvane: %1 is none of the formats import --from reads (%2); nothing imported, "
                                         "%3 was not changed\n")
                              .arg(source, ForeignImport::formatNames().join(QStringLiteral(", ")), o.positional[0]));
            return kExitNothingImported;
        }
    }
    MyDocument& doc = keptDocument();
    if (int s = openForVerb(o.positional[0], o.passwordStdin, doc, io)) return s;
    QString password;
    if (format == QLatin1String("kdbx")) {
        const auto given = askPasswordForVerb(o.passwordStdin, "Password of the KeePass database: ", io);
        if (!given) {
            doc.wipePasswords();
            return usage(io, QStringLiteral("no password given for the database"));
        }
        password = *given;
    }
    ForeignRecordMaker maker;
    const ForeignImport::Read r =
        ForeignImport::read(format, data, password, [&maker](ForeignEntry&& e) { maker.add(std::move(e)); });
    password.fill(QLatin1Char('\0'));
    const QString unchanged = QStringLiteral("nothing imported, %1 was not changed").arg(o.positional[0]);
    int status = kExitOk;
    if (!r && r.kind() == ForeignImport::Problem::WrongPassword) {
        print(io.err, QStringLiteral("qvane: %1: %2; %3\n").arg(source, r.message(), unchanged));
        status = kExitWrongPassword;
    } else if (!r) {
        print(io.err, QStringLiteral("qvane: %1 (%2): %3; %4\n").arg(source, format, r.message(), unchanged));
        status = kExitNothingImported;
    } else if (maker.count() == 0) {
        print(io.err, QStringLiteral("qvane: %1 (%2) holds no entries; %3\n").arg(source, format, unchanged));
        status = kExitNothingImported;
    } else {
        DocumentBrowser browser(doc);
        const qsizetype categoriesBefore = doc.myCategoryArray.count();
        const qsizetype added = maker.commit(browser);
        status = saveForVerb(doc, o.positional[0], io);
        if (status == kExitOk)
            print(io.err, QStringLiteral("imported %1 records from %2 (%3), %4 new categories\n")
                              .arg(added)
                              .arg(source, format)
                              .arg(doc.myCategoryArray.count() - categoriesBefore));
    }
    doc.wipePasswords();
    return status;
}

int runForeignExport(const QStringList& args, const Streams& io) {
    const Options o = parseOptions(args);
    if (!o.bad.isEmpty()) return usage(io, o.bad);
    if (o.positional.size() != 1 || o.out.isEmpty() || !o.from.isEmpty())
        return usage(io, QStringLiteral("usage: qvane export FILE --format %1 -o OUT [--password-stdin]")
                             .arg(ForeignExport::formatNames().join(QLatin1Char('|'))));
    const bool toStdout = o.out == QLatin1String("-");
    if (!toStdout && samePathForVerb(o.out, o.positional[0])) return usage(io, QStringLiteral("OUT must differ from FILE"));
    MyDocument& doc = keptDocument();
    int status = openForVerb(o.positional[0], o.passwordStdin, doc, io);
    if (status == kExitOk && toStdout) {
        print(io.out, ForeignExport::exportBytes(o.format, doc.myArray));
        if (std::fflush(io.out) != 0 || std::ferror(io.out)) status = kExitCannotWrite;
    } else if (status == kExitOk) {
        if (const auto written = ForeignExport::writeToFile(o.format, doc.myArray, o.out)) {
            print(io.err, QStringLiteral("wrote %1 records to %2 (%3); the file holds every password in clear\n")
                              .arg(doc.myArray.count())
                              .arg(o.out, o.format));
        } else {
            print(io.err, QStringLiteral("qvane: cannot write %1: %2\n").arg(o.out, written.message()));
            status = kExitCannotWrite;
        }
    }
    doc.wipePasswords();
    return status;
}

}  // namespace qv::cli
