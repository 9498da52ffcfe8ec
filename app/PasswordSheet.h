#pragma once

// The three master password sheets: change (old, new, new again), and insert / mandatory (new,
// new again, show in clear). The fields write the document's password strings as the user types.

#include "document/DocumentWindowUi.h"

#include <QDialog>

class QCheckBox;
class QLineEdit;

namespace qv {
class ZKCryptoDoc;
}

namespace qv::app {

class PasswordSheet : public QDialog {
    Q_OBJECT
public:
    PasswordSheet(DocumentWindowUi::PasswordSheet kind, ZKCryptoDoc* doc, QWidget* parent);

    QLineEdit* previousField() const { return previous_; }
    QLineEdit* newField() const { return inserted_; }
    QLineEdit* retypeField() const { return retype_; }
    QCheckBox* showClearBox() const { return showClear_; }

private:
    void applyShowClear(bool clear);
    QLineEdit* previous_ = nullptr;
    QLineEdit* inserted_ = nullptr;
    QLineEdit* retype_ = nullptr;
    QCheckBox* showClear_ = nullptr;
};

}  // namespace qv::app
