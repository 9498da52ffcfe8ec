#pragma once

// The running program as the application delegate sees it: its documents, its modal alerts,
// the preferences window and the main thread's timers. The desktop program implements it; tests
// fake it.

#include "foundation/Alert.h"
#include "foundation/FilePanel.h"

#include <QString>

#include <functional>
#include <optional>

namespace qv {

class ApplicationUi {
public:
    virtual ~ApplicationUi() = default;

    virtual bool hasDocuments() const = 0;
    virtual void newDocument() = 0;
    // The open dialog.
    virtual void openDocument() = 0;
    // Opens the file and shows its window; `completion` runs once the attempt is over.
    virtual void openDocumentWithContentsOfURL(const QString& path, std::function<void()> completion) = 0;

    // A warning alert, application-modal; the first button answers 1000.
    virtual int runModal(const Alert& alert) = 0;
    virtual void openPreferences() = 0;
    // An open panel as a sheet on the preferences window; nothing when cancelled.
    virtual std::optional<QString> runOpenPanelOnPreferences(const FilePanelOptions& options) = 0;

    virtual void scheduleTimer(double seconds, std::function<void()> fire) = 0;
    // After the current event: what the main operation queue does.
    virtual void postToMainQueue(std::function<void()> step) = 0;
};

}  // namespace qv
