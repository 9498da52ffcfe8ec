#include "ZKRevertDocController.h"

namespace qv {

void ZKRevertDocController::advancedLockDocument(const Document& document) {
    if (document.isDocumentEdited && document.isDocumentEdited()) {
        if (document.save) document.save([this, document](bool ok) { documentDidSave(document, ok); });
        return;
    }
    if (performAfterDelay0) performAfterDelay0([this, document] { CloseAndReopenTheDoc(document); });
}

void ZKRevertDocController::documentDidSave(const Document& document, bool didSave) {
    // A failed save leaves the document open as it is: reopening would lose the changes.
    if (didSave) CloseAndReopenTheDoc(document);
}

void ZKRevertDocController::CloseAndReopenTheDoc(const Document& document) {
    if (openDocumentWithContentsOfURL && !document.fileURL.isEmpty()) openDocumentWithContentsOfURL(document.fileURL);
}

}  // namespace qv
