#pragma once

// The verbs of `qvane` that open, list and write documents: info, dump, convert, new, ls.

#include "QvaneCommand.h"

#include "foundation/Value.h"

#include <QString>

#include <optional>

namespace qv {
class MyDocument;
class ZKDataExportManager;
class ZKDataImportManager;
}  // namespace qv

namespace qv::cli {

int runInfo(const QStringList& args, const Streams& io);
int runDump(const QStringList& args, const Streams& io);
int runConvert(const QStringList& args, const Streams& io);
int runNew(const QStringList& args, const Streams& io);
int runLs(const QStringList& args, const Streams& io);
int runGenerate(const QStringList& args, const Streams& io);
int runImport(const QStringList& args, const Streams& io);
int runExport(const QStringList& args, const Streams& io);
// Weak, reused, old and missing passwords; exits 9 when there is anything to report.
int runReport(const QStringList& args, const Streams& io);
// Brings the records of a second version of a document into the first; deletes nothing.
int runMerge(const QStringList& args, const Streams& io);

// The --map option of import (cascade, header, or COLUMN=TITLE,...) and the --tags option of
// export (KEY=VALUE,...); empty on success, else what to tell the user.
QString applyImportMap(ZKDataImportManager& importer, const Array& keyArray, const QString& map);
QString applyExportTags(ZKDataExportManager& exporter, const QString& tags);

// Writes a document's bytes over `path` atomically, once they have been read back and decrypted
// with `password` as an opening would: bytes that don't open never reach the disk. Its exit
// status, with the reason printed on a failure.
// Dates in the local time with its offset, as ISO 8601.
QString isoDate(double secondsSince2001);

int writeDocumentFile(const QString& path, const QByteArray& bytes, const QString& password, const Streams& io);

// Other password managers' files: `import --from FORMAT` and `export --format` of their formats.
int runForeignImport(const QStringList& args, const Streams& io);
int runForeignExport(const QStringList& args, const Streams& io);
bool isForeignExport(const QStringList& args);

// One record, the categories and the master password: show, add, edit, rm, clip, passwd, categories.
int runShow(const QStringList& args, const Streams& io);
int runAdd(const QStringList& args, const Streams& io);
int runEdit(const QStringList& args, const Streams& io);
int runRm(const QStringList& args, const Streams& io);
int runClip(const QStringList& args, const Streams& io);
int runPasswd(const QStringList& args, const Streams& io);
int runCategories(const QStringList& args, const Streams& io);
// The generator's types by name or number (10 to 61); `ok` false for neither.
int passwordTypeTag(const QString& text, bool* ok);
QStringList passwordTypeNames();

// Steps shared with the verbs above, for the verbs kept in files of their own.
int openForVerb(const QString& path, bool passwordStdin, MyDocument& doc, const Streams& io);
int saveForVerb(MyDocument& doc, const QString& path, const Streams& io);
std::optional<QString> askPasswordForVerb(bool fromStdin, const char* prompt, const Streams& io);
bool samePathForVerb(const QString& a, const QString& b);

}  // namespace qv::cli
