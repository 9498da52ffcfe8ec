#pragma once

// Records written for other password managers: the CSV that KeePassXC imports, the JSON that a
// hosted vault imports, and an RFC 4180 CSV headed by this program's field titles. Every
// password leaves in clear, so the file is made readable by its owner only.

#include "foundation/Result.h"
#include "foundation/Value.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace qv::ForeignExport {

const QStringList& formatNames();  // keepass-csv, bitwarden-json, csv
QString formatTitle(const QString& format);
QString fileExtension(const QString& format);

// The whole file for `records` (dictionaries with categoryPtr); empty for an unknown format.
QByteArray exportBytes(const QString& format, const Array& records);
// Written beside the target and renamed over it, mode 0600. A failure gives the reason.
Status<> writeToFile(const QString& format, const Array& records, const QString& path);

}  // namespace qv::ForeignExport
