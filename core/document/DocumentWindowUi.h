#pragma once

// The document's window as the document and its master password flows see it: sheets and modal
// alerts, the frame, the page shown (records or the locked page), the toolbar, the steps that
// put a decrypted document back as the file remembers it, what a save or a lock remembers of
// the window, the password sheets, and closing. The Qt program implements it on the real window;
// tests use a fake that records what was asked and answers as scripted.

#include "foundation/Alert.h"
#include "foundation/Value.h"

#include <QString>

#include <functional>

namespace qv {

class DocumentWindowUi {
public:
    virtual ~DocumentWindowUi() = default;

    // A sheet on the document's window. `done` receives 1000 for the first button, 1001 for the
    // second, after the sheet has gone.
    virtual void beginSheet(const Alert& alert, std::function<void(int)> done) = 0;
    // An application-modal alert; returns the button's code.
    virtual int runModal(const Alert& alert) = 0;

    virtual Rect windowFrame() const = 0;
    virtual void setWindowFrame(const Rect& frame) = 0;
    // 0: the record browser; 1: the locked page with the password field.
    virtual void selectTabPage(int index) = 0;
    virtual bool isToolbarVisible() const = 0;
    virtual void setToolbarVisible(bool visible) = 0;
    virtual void focusSearchField() = 0;

    // The steps that put a decrypted document back as the file remembers it.
    virtual void setDecryptProgressAnimating(bool animating) = 0;
    virtual void setDetailViewCollapsed(bool collapsed) = 0;
    virtual void synkCategorySubMenu() = 0;
    virtual void liftMaximumWindowSize() = 0;
    virtual void applyColumnSize(const Value& sizes) = 0;
    virtual void setColumnVisibilityCompactPlusCMA() = 0;
    virtual void applyColumnVisibility(const Value& visibilities) = 0;
    virtual void setSplitViewFrames(const Rect& left, const Rect& right) = 0;
    virtual void orderByColumn(const QString& identifier, bool ascending) = 0;
    virtual void clearPasswordToDecryptField() = 0;

    // The master password sheets. Their fields write the document's password strings as the
    // user types; `done` gets 1000 when confirmed and any other code when cancelled.
    enum class PasswordSheet { Change, Insert, Mandatory };
    virtual void showPasswordSheet(PasswordSheet sheet, std::function<void(int)> done) = 0;
    virtual bool isPasswordToDecryptFieldEmpty() const = 0;
    virtual void focusPasswordToDecryptField() = 0;
    // Closes the document's window and the document, asking nothing.
    virtual void closeDocument() = 0;

    // What a save or a lock remembers of the window, and what the lock does to it.
    virtual Value columnSizes() const = 0;
    virtual Value columnVisibilities() const = 0;
    virtual Rect splitLeftFrame() const = 0;
    virtual Rect splitRightFrame() const = 0;
    // Ends a sheet attached to the window, if any, running its completion as on any ending.
    virtual void endAttachedSheet() = 0;
    // Shrinks the window to its minimum size with its top edge in place, and pins it there.
    virtual void shrinkToMinimumSizeAndPin() = 0;
};

}  // namespace qv
