#pragma once

// Merging another version of a document into the one a window has open: the other file is opened
// with its own master password (the window's is tried first), its records are brought in as one
// step that Edit ▸ Undo takes back, and a sheet reports what came from where.

#include "document/DocumentMerge.h"

#include <QString>

#include <functional>
#include <optional>

namespace qv::app {

class DocumentWindow;

class MergeFlow {
public:
    // Asks for the other file's master password: its file name, and whether a password was
    // already refused. Nothing when the user cancels.
    using AskPassword = std::function<std::optional<QString>(const QString& fileName, bool refusedBefore)>;

    // False, after telling the user why, when nothing was merged: the file could not be read or
    // opened, or the user cancelled. `showReport` false leaves the report to the caller.
    static bool mergeInto(DocumentWindow* window, const QString& path, const AskPassword& ask = {},
                          MergeReport* reportOut = nullptr, bool showReport = true);
    // The report as the sheet shows it: counts first, then the names in each case.
    static QString reportText(const MergeReport& report);
};

}  // namespace qv::app
