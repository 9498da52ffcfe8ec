#include "BrowserSheets.h"

#include "browsing/DocumentBrowser.h"
#include "document/DocumentKeys.h"
#include "document/RecordModel.h"

#include <QColorDialog>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace qv::app {

namespace {

QColor colorOf(const Value& dict) {
    const RgbaColor c = ZKColorUtilOSX::NSColorFromDict(dict.toDictionary());
    return QColor::fromRgbF(float(c.r), float(c.g), float(c.b), float(c.a));
}

QPushButton* swatch(const QColor& color, QWidget* parent) {
    auto* b = new QPushButton(parent);
    b->setFixedSize(44, 20);
    b->setStyleSheet(QStringLiteral("QPushButton { background: %1; border: 1px solid #888; border-radius: 3px; }")
                         .arg(color.name(QColor::HexArgb)));
    return b;
}

}  // namespace

CategorySheet::CategorySheet(DocumentBrowser& browser, QWidget* parent) : QDialog(parent), browser_(browser) {
    setWindowModality(Qt::WindowModal);
    setObjectName(QStringLiteral("myCategorySheet"));
    setWindowTitle(QStringLiteral("Categories"));
    resize(520, 360);
    auto* layout = new QVBoxLayout(this);
    table_ = new QTableWidget(this);
    table_->setObjectName(QStringLiteral("myCategoryTableView"));
    table_->setColumnCount(4);
    table_->setHorizontalHeaderLabels({QStringLiteral("Category"), QStringLiteral("Background"), QStringLiteral("Text"),
                                       QStringLiteral("Records")});
    table_->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    table_->verticalHeader()->hide();
    layout->addWidget(table_);
    // Typing a name changes the category at once, and the table and labels follow.
    connect(table_, &QTableWidget::itemChanged, this, [this](QTableWidgetItem* item) {
        if (filling_ || item->column() != 0) return;
        browser_.myCategoryArrayController().content().value(item->row()).toDictionary().set(keys::cat_category,
                                                                                                Value(item->text()));
        browser_.synkNotesWithCategory();
    });
    auto* row = new QHBoxLayout;
    auto* add = new QPushButton(QStringLiteral("Add"), this);
    add->setObjectName(QStringLiteral("addCategory"));
    auto* remove = new QPushButton(QStringLiteral("Remove"), this);
    remove->setObjectName(QStringLiteral("removeCategory"));
    row->addWidget(add);
    row->addWidget(remove);
    row->addStretch(1);
    auto* close = new QPushButton(QStringLiteral("Done"), this);
    close->setDefault(true);
    row->addWidget(close);
    layout->addLayout(row);
    connect(add, &QPushButton::clicked, this, [this] {
        browser_.addNewCategory();
        fill();
        table_->scrollToBottom();
    });
    connect(remove, &QPushButton::clicked, this, [this] {
        browser_.myCategoryArrayController().setSelectionIndex(table_->currentRow());
        browser_.removeCategory();
        fill();
    });
    connect(close, &QPushButton::clicked, this, &QDialog::accept);
    fill();
}

void CategorySheet::fill() {
    filling_ = true;
    const Array categories = browser_.myCategoryArrayController().content();
    // Counted from the records themselves each time the list is filled: the number a category
    // keeps is only brought up to date when a record is assigned to it, and counts every record
    // moved since the document was opened rather than every record it holds.
    std::vector<qsizetype> inUse(size_t(categories.count()), 0);
    for (const Value& r : browser_.document().myArray) {
        const Value category = r.toDictionary().value(keys::categoryPtr);
        for (qsizetype i = 0; i < categories.count(); ++i)
            if (categories.at(i).isIdenticalTo(category)) {
                ++inUse[size_t(i)];
                break;
            }
    }
    table_->setRowCount(int(categories.count()));
    for (int i = 0; i < categories.count(); ++i) {
        const Dictionary c = categories.at(i).toDictionary();
        table_->setItem(i, 0, new QTableWidgetItem(c.value(keys::cat_category).toString()));
        auto* back = swatch(colorOf(c.value(keys::cat_backColor)), table_);
        auto* text = swatch(colorOf(c.value(keys::cat_textColor)), table_);
        connect(back, &QPushButton::clicked, this, [this, i] { chooseColor(i, true); });
        connect(text, &QPushButton::clicked, this, [this, i] { chooseColor(i, false); });
        table_->setCellWidget(i, 1, back);
        table_->setCellWidget(i, 2, text);
        auto* count = new QTableWidgetItem(QString::number(inUse[size_t(i)]));
        count->setFlags(Qt::ItemIsEnabled);
        table_->setItem(i, 3, count);
    }
    filling_ = false;
}

void CategorySheet::chooseColor(int row, bool background) {
    Dictionary c = browser_.myCategoryArrayController().content().value(row).toDictionary();
    const QString key = background ? keys::cat_backColor : keys::cat_textColor;
    const QColor chosen = QColorDialog::getColor(colorOf(c.value(key)), this, QStringLiteral("Colour"),
                                                 QColorDialog::ShowAlphaChannel);
    if (!chosen.isValid()) return;
    c.set(key, Value(ZKColorUtilOSX::dictFromNSColor(RgbaColor{chosen.redF(), chosen.greenF(), chosen.blueF(), chosen.alphaF()})));
    browser_.synkNotesWithCategory();
    fill();
}

EmailListSheet::EmailListSheet(DocumentBrowser& browser, QWidget* parent) : QDialog(parent), browser_(browser) {
    setWindowModality(Qt::WindowModal);
    setObjectName(QStringLiteral("myEmailListSheet"));
    setWindowTitle(QStringLiteral("E-mail Addresses"));
    resize(380, 320);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(new QLabel(QStringLiteral("Addresses you use often, offered in the record's e-mail field:"), this));
    list_ = new QListWidget(this);
    list_->setObjectName(QStringLiteral("emailList"));
    layout->addWidget(list_);
    connect(list_, &QListWidget::itemChanged, this, [this](QListWidgetItem* item) {
        if (filling_) return;
        browser_.myEmailArrayController().content().value(list_->row(item)).toDictionary().set(keys::email, Value(item->text()));
        browser_.document().updateChangeCount(ZKCryptoDoc::kChangeDone);
    });
    auto* row = new QHBoxLayout;
    auto* add = new QPushButton(QStringLiteral("Add"), this);
    add->setObjectName(QStringLiteral("addEmail"));
    auto* remove = new QPushButton(QStringLiteral("Delete"), this);
    remove->setObjectName(QStringLiteral("deleteEmail"));
    auto* close = new QPushButton(QStringLiteral("Done"), this);
    row->addWidget(add);
    row->addWidget(remove);
    row->addStretch(1);
    row->addWidget(close);
    layout->addLayout(row);
    connect(add, &QPushButton::clicked, this, [this] {
        browser_.newEmailInEmailList();
        fill();
        list_->setCurrentRow(list_->count() - 1);
        list_->editItem(list_->currentItem());
    });
    connect(remove, &QPushButton::clicked, this, [this] {
        browser_.myEmailArrayController().setSelectionIndex(list_->currentRow());
        browser_.deleteEmailInEmailList();
        fill();
    });
    connect(close, &QPushButton::clicked, this, &QDialog::accept);
    fill();
}

void EmailListSheet::fill() {
    filling_ = true;
    list_->clear();
    for (const Value& e : browser_.myEmailArrayController().content()) {
        auto* item = new QListWidgetItem(e.toDictionary().value(keys::email).toString(), list_);
        item->setFlags(item->flags() | Qt::ItemIsEditable);
    }
    filling_ = false;
}

PhoneListSheet::PhoneListSheet(QWidget* parent) : QDialog(parent) {
    setWindowModality(Qt::WindowModal);
    setObjectName(QStringLiteral("myPhoneListSheet"));
    setWindowTitle(QStringLiteral("Phone Edition"));
    auto* layout = new QVBoxLayout(this);
    auto* text = new QLabel(
        QStringLiteral("Documents saved by this release open in Quorvane for phones and tablets, and documents made "
                       "there open here.\n\nCopy the .qvane file to the device with its file sharing, or keep it in a "
                       "folder that both can reach. The master password is the same on every device."),
        this);
    text->setWordWrap(true);
    text->setMinimumWidth(360);
    layout->addWidget(text);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
}

}  // namespace qv::app
