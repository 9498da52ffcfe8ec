#pragma once

// Going back to a document's locked state by reopening its file: saved first when it has
// unsaved changes, reopened only when that save succeeded.

#include <QString>

#include <functional>

namespace qv {

class ZKRevertDocController {
public:
    // The document as this controller needs it.
    struct Document {
        std::function<bool()> isDocumentEdited;
        // Saves, then calls back with whether the save succeeded.
        std::function<void(std::function<void(bool)>)> save;
        QString fileURL;
    };

    // Opens a file and shows it; and runs a step after the current event (a delay of 0).
    std::function<void(const QString& path)> openDocumentWithContentsOfURL;
    std::function<void(std::function<void()>)> performAfterDelay0;

    void advancedLockDocument(const Document& document);
    void documentDidSave(const Document& document, bool didSave);
    // In spite of its name it closes nothing: it opens the document's file again.
    void CloseAndReopenTheDoc(const Document& document);
};

}  // namespace qv
