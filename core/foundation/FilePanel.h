#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace qv {

struct FilePanelOptions {
    QString title;
    QString directory;
    QString suggestedName;         // save panels
    QStringList allowedExtensions; // without dots; empty allows everything
    QString prompt;                // the accept button's label; empty for the usual one
    // Open panels: named file types for the panel's type pop-up ("Title (*.ext)"), the first
    // preselected; the panel sets `chosenType` to the index picked. Empty: allowedExtensions.
    QStringList typeChoices;
    int* chosenType = nullptr;
};

// Open and save panels. nullopt when the user cancels.
class FilePanel {
public:
    virtual ~FilePanel() = default;
    virtual std::optional<QString> runOpenPanel(const FilePanelOptions& options) = 0;
    virtual std::optional<QString> runSavePanel(const FilePanelOptions& options) = 0;
};

}  // namespace qv
