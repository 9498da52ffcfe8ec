#include "PasswordSheet.h"

#include "document/ZKCryptoDoc.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace qv::app {

PasswordSheet::PasswordSheet(DocumentWindowUi::PasswordSheet kind, ZKCryptoDoc* doc, QWidget* parent) : QDialog(parent) {
    setWindowModality(Qt::WindowModal);
    setObjectName(QStringLiteral("passwordSheet"));
    const bool change = kind == DocumentWindowUi::PasswordSheet::Change;
    setWindowTitle(change ? QStringLiteral("Change Master Password") : QStringLiteral("Master Password"));

    auto* layout = new QVBoxLayout(this);
    auto* intro = new QLabel(change ? QStringLiteral("Type the master password in use, then the new one twice.")
                                    : QStringLiteral("Protect this document with a master password of at least six "
                                                     "characters. It is needed every time the document is opened."),
                             this);
    intro->setWordWrap(true);
    layout->addWidget(intro);

    auto* form = new QFormLayout;
    auto field = [&](const QString& name, QString* target) {
        auto* e = new QLineEdit(*target, this);
        e->setObjectName(name);
        e->setEchoMode(QLineEdit::Password);
        e->setMinimumWidth(260);
        connect(e, &QLineEdit::textChanged, this, [target](const QString& t) { *target = t; });
        return e;
    };
    if (change) {
        previous_ = field(QStringLiteral("oldPassword"), &doc->plainPasswordPrevious);
        form->addRow(QStringLiteral("Old Master Password:"), previous_);
    }
    inserted_ = field(QStringLiteral("newPassword"), &doc->plainPasswordInserted);
    retype_ = field(QStringLiteral("retypePassword"), &doc->plainPasswordInsertedRetype);
    form->addRow(QStringLiteral("New Password:"), inserted_);
    form->addRow(QStringLiteral("New Password (again):"), retype_);
    layout->addLayout(form);

    if (!change) {
        showClear_ = new QCheckBox(QStringLiteral("Show password in clear"), this);
        showClear_->setObjectName(QStringLiteral("showClear"));
        showClear_->setChecked(doc->showClearPasswordInInsertPasswordSheet.toBool());
        connect(showClear_, &QCheckBox::toggled, this, [this, doc](bool on) {
            doc->showClearPasswordInInsertPasswordSheet = Value::boolean(on);
            applyShowClear(on);
        });
        applyShowClear(showClear_->isChecked());
        layout->addWidget(showClear_);
    }

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Ok)->setObjectName(QStringLiteral("confirm"));
    buttons->button(QDialogButtonBox::Cancel)->setObjectName(QStringLiteral("cancel"));
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
    (change ? previous_ : inserted_)->setFocus();
}

void PasswordSheet::applyShowClear(bool clear) {
    for (QLineEdit* e : {inserted_, retype_})
        if (e) e->setEchoMode(clear ? QLineEdit::Normal : QLineEdit::Password);
}

}  // namespace qv::app
