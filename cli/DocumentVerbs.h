#pragma once

// The verbs of `qvane` that open, list and write documents: info, dump, convert, new, ls.

#include "QvaneCommand.h"

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

}  // namespace qv::cli
