#include "QvaneCommand.h"

#include "DocumentVerbs.h"

#include "foundation/ZKAppSupportUtility.h"

#include <new>
#include <stdexcept>

namespace qv::cli {

void print(std::FILE* f, const QByteArray& bytes) { std::fwrite(bytes.constData(), 1, size_t(bytes.size()), f); }
void print(std::FILE* f, const QString& text) { print(f, text.toUtf8()); }

int usage(const Streams& io, const QString& text) {
    print(io.err, QStringLiteral("qvane: %1\n").arg(text));
    return kExitUsage;
}

QString versionText() {
    return QStringLiteral("qvane %1 (Quorvane %1, release %2)\n")
        .arg(ZKAppSupportUtility::calcReleaseString(kReleaseNumber))
        .arg(kReleaseNumber);
}

QString usageText() {
    return QStringLiteral(
        "Usage: qvane COMMAND [ARGUMENTS] [OPTIONS]\n"
        "       qvane [--help | --version]\n"
        "       qvane help COMMAND, qvane COMMAND --help: that command's help\n"
        "\n"
        "Works with Quorvane documents (.qvane) without opening a window.\n"
        "\n"
        "Commands:\n"
        "  info FILE          Show a document's generation and format (no password needed).\n"
        "  dump FILE          Print the whole document as JSON.\n"
        "  convert FILE OUT   Save FILE to OUT in the current format; FILE is never written.\n"
        "                     --new-password-stdin reads a new password after the old one.\n"
        "  new OUT            Make a new empty document with one category, \"Generic\".\n"
        "  ls FILE            List the records as the window shows them. Options: --category NAME,\n"
        "                     --search TEXT, --sort COLUMN [--descending], --columns LIST,\n"
        "                     --show-secrets, --json (records as dump prints them, secrets in clear,\n"
        "                     dates in ISO 8601), --table or --tsv (by default a table on a terminal,\n"
        "                     else tab-separated values, tabs and line ends in values as \\t, \\n).\n"
        "  generate           Make passwords, one a line, the rating on standard error: --type TAG\n"
        "                     (10, 11, 20, 21, 22, 30, 40, 41, 42, 52, 60, 61, or letters, lower,\n"
        "                     alphanumeric, lower-digits, upper-digits, digits, all, lower-symbols,\n"
        "                     upper-symbols, hex, readable, readable-upper; default 40), --length N\n"
        "                     (5 to 42, default 12), --count K, --json (with the rating).\n"
        "                     Honours the characters to avoid set in the preferences.\n"
        "  import FILE TEXT   Add the rows of a tab, comma or semicolon file as records and save FILE.\n"
        "                     The records already there keep their categories.\n"
        "                     --format 0-3, --encoding CODE, --map cascade|header|COL=TITLE,...,\n"
        "                     --skip-first.\n"
        "                     --from FORMAT reads another password manager's file instead: keepass-xml,\n"
        "                     keepass-csv, kdbx (its password is the next line with --password-stdin),\n"
        "                     bitwarden-json, bitwarden-csv, chrome-csv, firefox-csv, csv, or auto\n"
        "                     (the default). Groups and folders become categories.\n"
        "  export FILE        Write records to a text file (-o - for standard output): --format 0-5\n"
        "                     or custom, tsv, quoted-csv, table, html, plain-csv, -o OUT, --fields TITLES,\n"
        "                     --header, --category NAME, --search TEXT, --preset 1-5 or a name,\n"
        "                     --tags KEY=VALUE,... (custom format 0).\n"
        "                     --format keepass-csv|bitwarden-json|csv -o OUT writes every record for\n"
        "                     another password manager (readable by you only; passwords in clear).\n"
        "  show FILE NAME     Every field of one record, secrets masked: --index N (position in the\n"
        "                     document, for names that repeat), --show-secrets, --json.\n"
        "  add FILE NAME      Add a record as New Record does: --category TITLE (made when new),\n"
        "                     --account, --user, --url, --email, --note, --pin, --security S. Its\n"
        "                     password is the next line of standard input with --password-stdin,\n"
        "                     asked twice with --password-prompt, or made with --generate [--type TAG]\n"
        "                     [--length N] (--print shows it).\n"
        "  edit FILE NAME     Change the given fields of one record: --index N, --rename S,\n"
        "                     --category TITLE, the field options of add, --password-prompt, --generate.\n"
        "  rm FILE NAME       Delete one record: --index N; asks on a terminal, else needs --yes.\n"
        "  clip FILE NAME     Put one value on the clipboard for the window program to hold, counting a\n"
        "                     use: --field password|userID|account|pin|security|url|email|note,\n"
        "                     --seconds S (default 45; 0 never clears), --index N.\n"
        "  passwd FILE        Change the master password, asked twice on a terminal, or the line after\n"
        "                     the old one with --password-stdin.\n"
        "  categories FILE    List the categories with colours and record counts (--json), or change\n"
        "                     them: --add TITLE [--color #RRGGBB], --rename OLD NEW, --remove TITLE.\n"
        "  report FILE        Weak, reused and old passwords, and logins without one: --json,\n"
        "                     --older-than DAYS (default 365). Exits 9 when it finds any.\n"
        "  merge A B          Bring the records of B, another version of A, into A: the later edit\n"
        "                     of a record wins, both stay when edited at the same moment, nothing is\n"
        "                     deleted. -o OUT (default A), --dry-run, --json. Passwords of A then B.\n"
        "\n"
        "add, edit, rm, clip, passwd and categories refuse a document of an older generation unless\n"
        "--convert is given: it is then saved in the current format, which older releases cannot open.\n"
        "\n"
        "The master password is asked on the terminal without echo, or read as one line from\n"
        "standard input with --password-stdin.\n"
        "\n"
        "Options:\n"
        "  -h, --help     Show this help and exit.\n"
        "  -V, --version  Show the release and exit.\n"
        "\n"
        "New documents and exports are readable by their owner only; a file that exists keeps its\n"
        "mode.\n"
        "\n"
        "Exit status:\n"
        "  0 success\n"
        "  1 wrong password\n"
        "  2 usage error (also a record name several records share, or an older document to\n"
        "    change without --convert)\n"
        "  3 document made by a newer release\n"
        "  4 file that cannot be read as a document\n"
        "  5 not enough memory (no file changed)\n"
        "  6 nothing imported (the file gave no record or is malformed; the document was not written)\n"
        "  7 could not write (full disk, read-only place, no permission; the old file is intact)\n"
        "  8 no display to hold the clipboard (clip)\n"
        "  9 the health report found something\n");
}

QString verbHelpText(const QString& verb) {
    // The command's own lines of the general help, and what every command shares.
    const QStringList lines = usageText().split(QLatin1Char('\n'));
    QString block;
    bool inside = false;
    for (const QString& line : lines) {
        const bool commandLine = line.startsWith(QLatin1String("  ")) && line.size() > 2 && line.at(2).isLower();
        if (commandLine) inside = line.mid(2).section(QLatin1Char(' '), 0, 0) == verb;
        else if (line.isEmpty()) inside = false;
        if (inside) block += line + QLatin1Char('\n');
    }
    if (block.isEmpty()) return {};
    const qsizetype status = usageText().indexOf(QLatin1String("Exit status:"));
    return QStringLiteral("Usage: qvane %1\n\n").arg(block.mid(2).section(QStringLiteral("  "), 0, 0).trimmed()) + block +
           QStringLiteral("\nThe master password is asked on the terminal without echo, or read as one line from\n"
                          "standard input with --password-stdin.\n\n") +
           usageText().mid(status);
}

namespace {

int dispatch(const QStringList& args, const Streams& io) {
    const QString& first = args.first();
    if (first == QLatin1String("info")) return runInfo(args.mid(1), io);
    if (first == QLatin1String("dump")) return runDump(args.mid(1), io);
    if (first == QLatin1String("convert")) return runConvert(args.mid(1), io);
    if (first == QLatin1String("new")) return runNew(args.mid(1), io);
    if (first == QLatin1String("ls")) return runLs(args.mid(1), io);
    if (first == QLatin1String("generate")) return runGenerate(args.mid(1), io);
    if (first == QLatin1String("import") && args.contains(QStringLiteral("--from"))) return runForeignImport(args.mid(1), io);
    if (first == QLatin1String("import")) return runImport(args.mid(1), io);
    if (first == QLatin1String("export") && isForeignExport(args.mid(1))) return runForeignExport(args.mid(1), io);
    if (first == QLatin1String("export")) return runExport(args.mid(1), io);
    if (first == QLatin1String("show")) return runShow(args.mid(1), io);
    if (first == QLatin1String("add")) return runAdd(args.mid(1), io);
    if (first == QLatin1String("edit")) return runEdit(args.mid(1), io);
    if (first == QLatin1String("rm")) return runRm(args.mid(1), io);
    if (first == QLatin1String("clip")) return runClip(args.mid(1), io);
    if (first == QLatin1String("passwd")) return runPasswd(args.mid(1), io);
    if (first == QLatin1String("categories")) return runCategories(args.mid(1), io);
    if (first == QLatin1String("report")) return runReport(args.mid(1), io);
    if (first == QLatin1String("merge")) return runMerge(args.mid(1), io);
    print(io.err, QStringLiteral("qvane: unknown command \"%1\"\n\n").arg(first) + usageText());
    return kExitUsage;
}

}  // namespace

int run(const QStringList& args, const Streams& io) {
    if (args.isEmpty()) {
        print(io.err, usageText());
        return kExitUsage;
    }
    const QString& first = args.first();
    // `qvane help VERB` and `qvane VERB --help`: that verb's part of the help.
    QString helpFor;
    if (first == QLatin1String("help") && args.size() == 2) helpFor = args[1];
    else if (args.size() >= 2 && !first.startsWith(QLatin1Char('-')) &&
             (args.contains(QStringLiteral("--help")) || args.contains(QStringLiteral("-h"))))
        helpFor = first;
    if (!helpFor.isEmpty()) {
        const QString help = verbHelpText(helpFor);
        if (help.isEmpty()) {
            print(io.err, QStringLiteral("qvane: unknown command \"%1\"\n\n").arg(helpFor) + usageText());
            return kExitUsage;
        }
        print(io.out, help);
        return kExitOk;
    }
    if (first == QLatin1String("--help") || first == QLatin1String("-h") || first == QLatin1String("help")) {
        print(io.out, usageText());
        return kExitOk;
    }
    if (first == QLatin1String("--version") || first == QLatin1String("-V")) {
        print(io.out, versionText());
        return kExitOk;
    }
    // A document, an import file or a note bigger than the memory the system grants ends here
    // rather than in an abort. Unwinding lets go of everything the verb had built, and every file
    // is written to a temporary beside its target that is renamed only once complete, so no file
    // has changed. The message is made before the verb runs: there may be no memory to make it
    // afterwards.
    const QByteArray failure = QStringLiteral("qvane: not enough memory to finish \"%1\"; no file was changed\n")
                                   .arg(first)
                                   .toUtf8();
    // The first exception a process throws has the unwinder set up its tables, which takes
    // memory; one thrown now means the one thrown when memory has run out finds them ready.
    try {
        throw std::bad_alloc();
    } catch (const std::bad_alloc&) {
    }
    try {
        return dispatch(args, io);
    } catch (const std::bad_alloc&) {
    } catch (const std::length_error&) {  // a size beyond what any container can hold
    }
    std::fflush(io.out);
    std::fwrite(failure.constData(), 1, size_t(failure.size()), io.err);
    return kExitNoMemory;
}

}  // namespace qv::cli
