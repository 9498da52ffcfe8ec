#include "DocumentWindow.h"

#include "DocumentController.h"
#include "PasswordSheet.h"
#include "RecordTableModel.h"

#include "document/DocumentKeys.h"
#include "document/DocumentTexts.h"
#include "foundation/MainQueue.h"
#include "shell/MyAppDelegate.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QFileInfo>
#include <QFormLayout>
#include <QHeaderView>
#include <QSplitter>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTableView>
#include <QToolBar>
#include <QVBoxLayout>

namespace qv::app {

namespace {
constexpr int kMinimumWidth = 620;
constexpr int kMinimumHeight = 460;
}  // namespace

DocumentWindow::DocumentWindow(std::unique_ptr<MyDocument> doc, const QString& path, DocumentController* controller)
    : doc_(std::move(doc)), path_(path), controller_(controller) {
    setAttribute(Qt::WA_DeleteOnClose);
    setMinimumSize(kMinimumWidth, kMinimumHeight);
    resize(900, 600);
    doc_->setUi(this);
    doc_->postToMainQueue = [](std::function<void()> step) { MainQueue::post(std::move(step)); };
    doc_->onEditedChanged = [this](bool edited) {
        setWindowModified(edited);
        if (edited && controller_) controller_->scheduleAutosave(this);
    };
    buildPages();
    buildMenus();
    updateTitle();
}

DocumentWindow::~DocumentWindow() {
    doc_->setUi(nullptr);
    if (controller_) controller_->forget(this);
}

void DocumentWindow::setFilePath(const QString& path) {
    path_ = path;
    updateTitle();
}

void DocumentWindow::updateTitle() {
    if (!path_.isEmpty()) setWindowTitle(QFileInfo(path_).fileName() + QStringLiteral("[*]"));
    setWindowFilePath(path_);
}

QAction* DocumentWindow::action(const QString& name) const { return findChild<QAction*>(name); }

void DocumentWindow::buildPages() {
    pages_ = new QStackedWidget(this);

    // Page 0: the record browser.
    auto* browser = new QWidget(pages_);
    auto* browserLayout = new QVBoxLayout(browser);
    table_ = new QTableView(browser);
    table_->setObjectName(QStringLiteral("myTableView"));
    model_ = new RecordTableModel(table_);
    table_->setModel(model_);
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->horizontalHeader()->setStretchLastSection(true);
    table_->verticalHeader()->hide();
    table_->setAlternatingRowColors(true);
    table_->setWordWrap(false);
    table_->setShowGrid(false);
    table_->verticalHeader()->setDefaultSectionSize(table_->fontMetrics().height() + 8);
    table_->horizontalHeader()->setDefaultSectionSize(130);
    // The detail pane beside the table shows the selected record; secrets as bullets.
    auto* split = new QSplitter(Qt::Horizontal, browser);
    split->setObjectName(QStringLiteral("mainSplitView"));
    split->addWidget(table_);
    detail_ = new QWidget(split);
    detail_->setObjectName(QStringLiteral("detailView"));
    auto* form = new QFormLayout(detail_);
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    const std::pair<const char*, const QString*> fields[] = {
        {"Name", &keys::name},       {"Account", &keys::account}, {"User ID", &keys::userID},
        {"Password", &keys::password}, {"PIN", &keys::pin},      {"Security", &keys::security},
        {"URL", &keys::url},         {"Email", &keys::email},     {"Note", &keys::note}};
    for (const auto& [title, key] : fields) {
        auto* value = new QLabel(detail_);
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        value->setWordWrap(true);
        value->setProperty("recordKey", *key);
        form->addRow(QString::fromLatin1(title) + QLatin1Char(':'), value);
        detailFields_.push_back(value);
    }
    split->addWidget(detail_);
    split->setStretchFactor(0, 3);
    split->setStretchFactor(1, 2);
    browserLayout->addWidget(split);
    pages_->addWidget(browser);
    connect(table_->selectionModel(), &QItemSelectionModel::currentRowChanged, this, [this] { showSelectedRecord(); });

    // Page 1: locked, only the password field.
    auto* locked = new QWidget(pages_);
    auto* l = new QVBoxLayout(locked);
    l->addStretch(1);
    auto* prompt = new QLabel(QStringLiteral("Enter the master password to open this document:"), locked);
    prompt->setAlignment(Qt::AlignCenter);
    l->addWidget(prompt);
    passwordField_ = new QLineEdit(locked);
    passwordField_->setObjectName(QStringLiteral("passwordToDecryptField"));
    passwordField_->setEchoMode(QLineEdit::Password);
    passwordField_->setFixedWidth(300);
    passwordField_->setPlaceholderText(QStringLiteral("Master password"));
    l->addWidget(passwordField_, 0, Qt::AlignHCenter);
    progress_ = new QProgressBar(locked);
    progress_->setRange(0, 0);
    progress_->setFixedWidth(300);
    progress_->setTextVisible(false);
    progress_->hide();
    l->addWidget(progress_, 0, Qt::AlignHCenter);
    formatLabel_ = new QLabel(locked);
    releaseLabel_ = new QLabel(locked);
    descriptionLabel_ = new QLabel(locked);
    l->addSpacing(12);
    for (QLabel* label : {formatLabel_, releaseLabel_, descriptionLabel_}) {
        label->setAlignment(Qt::AlignCenter);
        label->setWordWrap(true);
        label->setEnabled(false);
        // A fixed width lets the wrapped text take the height it needs.
        label->setFixedWidth(520);
        l->addWidget(label, 0, Qt::AlignHCenter);
    }
    descriptionLabel_->setContentsMargins(0, 10, 0, 0);
    l->addStretch(2);
    pages_->addWidget(locked);
    setCentralWidget(pages_);

    connect(passwordField_, &QLineEdit::returnPressed, this, [this] {
        doc_->submitPasswordToDecrypt(Sender{0, {}, passwordField_->text(), -1});
        refresh();
    });
    // Typing in the password field never leaves the document edited.
    connect(passwordField_, &QLineEdit::textChanged, this,
            [this] { doc_->updateChangeCount(ZKCryptoDoc::kChangeCleared); });

    toolbar_ = addToolBar(QStringLiteral("Toolbar"));
    toolbar_->setObjectName(QStringLiteral("modernToolbar"));
    toolbar_->setMovable(false);
    auto* spacer = new QWidget(toolbar_);
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    toolbar_->addWidget(spacer);
    searchField_ = new QLineEdit(toolbar_);
    searchField_->setObjectName(QStringLiteral("searchField"));
    searchField_->setPlaceholderText(QStringLiteral("Search"));
    searchField_->setClearButtonEnabled(true);
    searchField_->setMaximumWidth(240);
    toolbar_->addWidget(searchField_);
}

void DocumentWindow::buildMenus() {
    auto add = [this](QMenu* menu, const QString& name, const QString& text, const QKeySequence& keys,
                      std::function<void()> run) {
        QAction* a = menu->addAction(text);
        a->setObjectName(name);
        if (!keys.isEmpty()) a->setShortcut(keys);
        connect(a, &QAction::triggered, this, [run] { run(); });
        return a;
    };
    QMenu* app = menuBar()->addMenu(QStringLiteral("Quorvane"));
    add(app, QStringLiteral("about"), QStringLiteral("About Quorvane"), {}, [this] {
        QMessageBox::about(this, QStringLiteral("About Quorvane"),
                           QStringLiteral("<b>Quorvane</b> %1").arg(doc_->appReleaseString));
    });
    add(app, QStringLiteral("checkForUpdates"), ZKAppDelegateBase::softwareUpdateMenuTitle(), {}, [] {});
    app->addSeparator();
    add(app, QStringLiteral("quit"), QStringLiteral("Quit Quorvane"), QKeySequence::Quit, [] { QApplication::closeAllWindows(); });

    QMenu* file = menuBar()->addMenu(QStringLiteral("File"));
    add(file, QStringLiteral("newDocument:"), QStringLiteral("New"), QKeySequence::New, [this] { controller_->newDocument(); });
    add(file, QStringLiteral("openDocument:"), QStringLiteral("Open\u2026"), QKeySequence::Open,
        [this] { controller_->openDocumentWithPanel(this); });
    QMenu* recent = file->addMenu(QStringLiteral("Open Recent"));
    recent->setObjectName(QStringLiteral("openRecent"));
    connect(recent, &QMenu::aboutToShow, this, [this, recent] {
        recent->clear();
        const QStringList paths = controller_->recentDocuments();
        for (const QString& p : paths)
            recent->addAction(QFileInfo(p).fileName(), this, [this, p] { controller_->openDocument(p); })->setToolTip(p);
        if (paths.isEmpty()) recent->addAction(QStringLiteral("No Recent Documents"))->setEnabled(false);
    });
    file->addSeparator();
    add(file, QStringLiteral("performClose:"), QStringLiteral("Close"), QKeySequence::Close, [this] { close(); });
    add(file, QStringLiteral("saveDocument:"), QStringLiteral("Save"), QKeySequence::Save,
        [this] { controller_->saveDocument(this); });
    add(file, QStringLiteral("saveDocumentAs:"), QStringLiteral("Save As\u2026"), QKeySequence::SaveAs,
        [this] { controller_->saveDocumentAs(this); });
    add(file, QStringLiteral("revertDocumentToSaved:"), QStringLiteral("Revert to Saved"), {},
        [this] { controller_->revertDocumentToSaved(this); });
    file->addSeparator();
    add(file, QStringLiteral("lockDocument:"), QStringLiteral("Lock Document"), QKeySequence(Qt::CTRL | Qt::Key_L), [this] {
        doc_->lockDocument();
        refresh();
    });
    add(file, QStringLiteral("documentPassword:"), QStringLiteral("Master Password\u2026"), {}, [this] {
        doc_->documentPassword();
        refresh();
    });
    connect(file, &QMenu::aboutToShow, this, &DocumentWindow::updateCommands);
}

void DocumentWindow::updateCommands() {
    for (const char* name : {"saveDocument:", "saveDocumentAs:", "documentPassword:", "revertDocumentToSaved:"})
        if (QAction* a = action(QLatin1String(name)))
            a->setEnabled(doc_->validateUserInterfaceItem(QLatin1String(name)).value_or(true));
    if (QAction* a = action(QStringLiteral("revertDocumentToSaved:"))) a->setEnabled(a->isEnabled() && !path_.isEmpty());
    // A document never saved can't be locked.
    if (QAction* a = action(QStringLiteral("lockDocument:"))) a->setEnabled(doc_->isDecrypted() && !doc_->fileURL.isEmpty());
}

void DocumentWindow::showSelectedRecord() {
    const QModelIndex current = table_->currentIndex();
    const Dictionary record = current.isValid() ? doc_->myArray.value(current.row()).toDictionary() : Dictionary();
    for (QLabel* field : detailFields_) {
        const QString key = field->property("recordKey").toString();
        const QString text = record.value(key).toString();
        const bool secret = key == keys::password || key == keys::pin;
        field->setText(secret && !text.isEmpty() ? QString(8, QChar(0x2022)) : text);
    }
}

void DocumentWindow::refresh() {
    model_->setRecords(doc_->myArray);
    if (model_->rowCount() > 0 && !table_->currentIndex().isValid()) table_->selectRow(0);
    showSelectedRecord();
    pages_->setCurrentIndex(doc_->getEncryptedTabIndex());
    formatLabel_->setText(doc_->convertFormatString);
    releaseLabel_->setText(doc_->docReleaseString.isEmpty()
                               ? QString()
                               : QStringLiteral("Document release %1 \u2014 application release %2")
                                     .arg(doc_->docReleaseString, doc_->appReleaseString));
    descriptionLabel_->setText(doc_->moreDocDescription);
    if (doc_->isEncrypted()) toolbar_->hide();
    setWindowModified(doc_->isDocumentEdited());
    updateCommands();
}

// ---- DocumentUi ----

void DocumentWindow::beginSheet(const Alert& alert, std::function<void(int)> done) {
    QMessageBox box(this);
    box.setWindowModality(Qt::WindowModal);
    box.setIcon(QMessageBox::Warning);
    box.setText(alert.messageText);
    box.setInformativeText(alert.informativeText);
    const QStringList titles = alert.buttons.isEmpty() ? QStringList{QStringLiteral("OK")} : alert.buttons;
    std::vector<QAbstractButton*> buttons;
    for (const QString& t : titles) buttons.push_back(box.addButton(t, buttons.empty() ? QMessageBox::AcceptRole : QMessageBox::RejectRole));
    box.setDefaultButton(qobject_cast<QPushButton*>(buttons.front()));
    activeSheet_ = &box;
    box.exec();
    activeSheet_ = nullptr;
    int code = kAlertFirstButtonReturn;
    for (size_t i = 0; i < buttons.size(); ++i)
        if (box.clickedButton() == buttons[i]) code = kAlertFirstButtonReturn + int(i);
    if (!box.clickedButton()) code = kAlertFirstButtonReturn + int(buttons.size()) - 1;
    if (done) done(code);
    refresh();
}

int DocumentWindow::runModal(const Alert& alert) {
    int result = kAlertFirstButtonReturn;
    beginSheet(alert, [&result](int code) { result = code; });
    return result;
}

Rect DocumentWindow::windowFrame() const {
    const QRect g = geometry();
    return Rect{double(g.x()), double(g.y()), double(g.width()), double(g.height())};
}

void DocumentWindow::setWindowFrame(const Rect& f) {
    if (f.width <= 0 || f.height <= 0) return;
    setGeometry(int(f.x), int(f.y), int(f.width), int(f.height));
}

void DocumentWindow::selectTabPage(int index) {
    pages_->setCurrentIndex(index);
    updateCommands();  // the locked state changed with the page
}
bool DocumentWindow::isToolbarVisible() const { return toolbar_->isVisible() || (!isVisible() && !toolbar_->isHidden()); }
void DocumentWindow::setToolbarVisible(bool visible) { toolbar_->setVisible(visible); }
void DocumentWindow::focusSearchField() { searchField_->setFocus(); }

void DocumentWindow::setDecryptProgressAnimating(bool animating) { progress_->setVisible(animating); }

// The category menu, column and split-view layout come with the record browser; until then the
// table keeps its own layout.
void DocumentWindow::setDetailViewCollapsed(bool collapsed) { detail_->setVisible(!collapsed); }
void DocumentWindow::synkCategorySubMenu() {}
void DocumentWindow::applyColumnSize(const Value&) {}
void DocumentWindow::setColumnVisibilityCompactPlusCMA() {}
void DocumentWindow::applyColumnVisibility(const Value&) {}
void DocumentWindow::setSplitViewFrames(const Rect&, const Rect&) {}
void DocumentWindow::orderByColumn(const QString&, bool) {}
Value DocumentWindow::columnSizes() const {
    Array sizes;
    for (int i = 0; i < model_->columnCount(); ++i) sizes.append(Value::real(table_->columnWidth(i)));
    return Value(sizes);
}
Value DocumentWindow::columnVisibilities() const {
    Array visible;
    for (int i = 0; i < model_->columnCount(); ++i) visible.append(Value::boolean(!table_->isColumnHidden(i)));
    return Value(visible);
}
Rect DocumentWindow::splitLeftFrame() const { return Rect{}; }
Rect DocumentWindow::splitRightFrame() const { return Rect{}; }

void DocumentWindow::liftMaximumWindowSize() {
    setMinimumSize(kMinimumWidth, kMinimumHeight);
    setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
}

void DocumentWindow::clearPasswordToDecryptField() { passwordField_->clear(); }

void DocumentWindow::showPasswordSheet(PasswordSheet kind, std::function<void(int)> done) {
    app::PasswordSheet sheet(kind, doc_.get(), this);
    activeSheet_ = &sheet;
    const int result = sheet.exec();
    activeSheet_ = nullptr;
    done(result == QDialog::Accepted ? kAlertFirstButtonReturn : kAlertSecondButtonReturn);
    refresh();
}

bool DocumentWindow::isPasswordToDecryptFieldEmpty() const { return passwordField_->text().isEmpty(); }
void DocumentWindow::focusPasswordToDecryptField() { passwordField_->setFocus(); }

void DocumentWindow::closeDocument() {
    closingWithoutAsking_ = true;
    close();
}

void DocumentWindow::endAttachedSheet() {
    if (auto* dialog = qobject_cast<QDialog*>(activeSheet_)) dialog->reject();
}

void DocumentWindow::shrinkToMinimumSizeAndPin() {
    // Qt's y grows downward, so keeping the top edge keeps y.
    const QRect g = geometry();
    setFixedSize(minimumSize());
    setGeometry(g.x(), g.y(), minimumWidth(), minimumHeight());
}

// ---- Window events ----

void DocumentWindow::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow()) doc_->windowDidBecomeKey();
}

void DocumentWindow::closeEvent(QCloseEvent* event) {
    if (closingWithoutAsking_ || doc_->closesWithoutAsking() || !doc_->isDocumentEdited()) {
        event->accept();
        return;
    }
    const QString name = path_.isEmpty() ? windowTitle().remove(QStringLiteral("[*]")) : QFileInfo(path_).fileName();
    QMessageBox box(this);
    box.setWindowModality(Qt::WindowModal);
    box.setIcon(QMessageBox::Warning);
    box.setText(QStringLiteral("Do you want to save the changes made to the document \u201c%1\u201d?").arg(name));
    box.setInformativeText(QStringLiteral("Your changes will be lost if you don\u2019t save them."));
    QPushButton* save = box.addButton(QStringLiteral("Save"), QMessageBox::AcceptRole);
    QPushButton* discard = box.addButton(QStringLiteral("Don\u2019t Save"), QMessageBox::DestructiveRole);
    box.addButton(QStringLiteral("Cancel"), QMessageBox::RejectRole);
    box.setDefaultButton(save);
    box.exec();
    if (box.clickedButton() == discard || (box.clickedButton() == save && controller_->saveDocument(this)))
        event->accept();
    else
        event->ignore();
}

}  // namespace qv::app
