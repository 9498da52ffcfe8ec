#pragma once

// The `qvane` command: documents opened, searched, converted, imported and exported without a
// window. Verbs are added as the program grows; each returns the process exit status.

#include <QByteArray>
#include <QStringList>

#include <cstdio>

namespace qv::cli {

// Exit statuses shared by every verb.
enum ExitStatus : int {
    kExitOk = 0,
    kExitWrongPassword = 1,
    kExitUsage = 2,
    kExitTooNew = 3,
    kExitUnreadable = 4,
    kExitNoMemory = 5,
    kExitNothingImported = 6,
    kExitCannotWrite = 7,
    kExitNoDisplay = 8,  // clip: no display to hold the clipboard
    kExitFindings = 9,  // report: something to tell
};

struct Streams {
    std::FILE* out = stdout;
    std::FILE* err = stderr;
};

// Text to a stream as UTF-8.
void print(std::FILE* f, const QString& text);
void print(std::FILE* f, const QByteArray& bytes);
// A usage error: "qvane: " and the text on standard error; gives the usage status.
int usage(const Streams& io, const QString& text);

// `args` excludes the program name.
int run(const QStringList& args, const Streams& io = {});

QString versionText();
QString usageText();
// One command's part of the help, or an empty text for a command that doesn't exist.
QString verbHelpText(const QString& verb);

}  // namespace qv::cli
