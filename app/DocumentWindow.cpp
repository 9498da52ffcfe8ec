#include "DocumentWindow.h"

#include "DocumentController.h"
#include "BrowserSheets.h"
#include "DropArea.h"
#include "ImportExportSheets.h"
#include "CategoryView.h"
#include "PasswordSheet.h"
#include "PlainViews.h"
#include "PlatformServices.h"
#include "RecordTableModel.h"
#include "TablePrinter.h"

#include "document/DocumentKeys.h"
#include "shell/ZKUrlResolutor.h"
#include "document/DocumentTexts.h"
#include "shell/MyAppDelegate.h"
#include "shell/ZKDragDropView.h"
#include "foundation/UnicodeText.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QFileInfo>
#include <QFormLayout>
#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QTimer>
#include <QToolButton>
#include <QPageSetupDialog>
#include <QPrintDialog>
#include <QPlainTextEdit>
#include <QSplitter>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMenuBar>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTableView>
#include <QToolBar>
#include <QVBoxLayout>

#include <cmath>
#include <new>

namespace qv::app {

namespace {
constexpr int kMinimumWidth = 620;
constexpr int kMinimumHeight = 460;
}  // namespace

DocumentWindow::DocumentWindow(std::unique_ptr<MyDocument> doc, const QString& path, DocumentController* controller)
    : doc_(std::move(doc)), path_(path), controller_(controller) {
    setAttribute(Qt::WA_DeleteOnClose);
    ownFilePanel_ = std::make_unique<DesktopFilePanel>(this);
    filePanel_ = ownFilePanel_.get();
    setMinimumSize(kMinimumWidth, kMinimumHeight);
    resize(900, 600);
    doc_->setUi(this);
    // Queued on the window, so that a step still waiting when the window closes is dropped with
    // it instead of running on a document that is gone.
    doc_->postToMainQueue = [this](std::function<void()> step) {
        QMetaObject::invokeMethod(this, std::move(step), Qt::QueuedConnection);
    };
    browser_ = std::make_unique<DocumentBrowser>(*doc_);
    doc_->onTablesInstalled = [this] {
        browser_->bindTables();
        browser_->synkCategorySubMenu();
        reloadRecords();
    };
    doc_->onEditedChanged = [this](bool edited) {
        setWindowModified(edited);
        if (edited && controller_) controller_->scheduleAutosave(this);
    };
    if (controller_ && controller_->services()) {
        AppServices* services = controller_->services();
        copier_ = std::make_unique<ValueCopier>(*browser_, *services->pasteboard, *services->defaults,
                                                *services->resolutor, *services->pushAndPull);
    }
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

    // Page 0: the record browser: the filter strip over the table and the detail pane.
    auto* browser = new QWidget(pages_);
    auto* browserLayout = new QVBoxLayout(browser);
    browserLayout->setContentsMargins(6, 6, 6, 6);
    filterStrip_ = new QLabel(browser);
    filterStrip_->setObjectName(QStringLiteral("filterInfoPane"));
    filterStrip_->setStyleSheet(QStringLiteral("QLabel { background: palette(alternate-base); padding: 4px 8px; border-radius: 4px; }"));
    filterStrip_->hide();
    browserLayout->addWidget(filterStrip_);
    table_ = new QTableView(browser);
    table_->setObjectName(QStringLiteral("myTableView"));
    model_ = new RecordTableModel(*browser_, table_);
    table_->setModel(model_);
    table_->setItemDelegateForColumn(model_->columnOf(QStringLiteral("category")), new CategoryLabelDelegate(table_));
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table_->horizontalHeader()->setStretchLastSection(true);
    table_->horizontalHeader()->setSectionsMovable(true);
    table_->horizontalHeader()->setSortIndicatorShown(true);
    table_->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);  // no order until one is chosen
    table_->horizontalHeader()->setSectionsClickable(true);
    table_->verticalHeader()->hide();
    table_->setAlternatingRowColors(true);
    table_->setWordWrap(false);
    table_->setShowGrid(false);
    table_->verticalHeader()->setDefaultSectionSize(table_->fontMetrics().height() + 8);
    split_ = new QSplitter(Qt::Horizontal, browser);
    split_->setObjectName(QStringLiteral("mainSplitView"));
    split_->addWidget(table_);
    buildDetail(split_);
    split_->setStretchFactor(0, 3);
    split_->setStretchFactor(1, 2);
    split_->setCollapsible(0, false);
    split_->setCollapsible(1, true);
    connect(split_, &QSplitter::splitterMoved, this, [this] {
        // The pane's state and last width follow every move of the divider.
        detailViewCollapsed_ = split_->sizes().value(1) == 0;
        if (!detailViewCollapsed_) bufferedDetailViewLength_ = split_->sizes().value(1);
    });
    browserLayout->addWidget(split_);
    pages_->addWidget(browser);
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] { syncSelectionFromView(); });
    connect(table_->horizontalHeader(), &QHeaderView::sortIndicatorChanged, this, [this](int section, Qt::SortOrder order) {
        if (syncing_) return;
        browser_->tableViewDidClickTableColumn(model_->identifierAt(section), order == Qt::AscendingOrder);
    });
    connect(table_->horizontalHeader(), &QHeaderView::sectionResized, this, [this](int section, int, int size) {
        if (syncing_) return;
        browser_->tableViewColumnDidResize(model_->identifierAt(section), size);
    });

    // Page 1: locked, only the password field.
    auto* locked = new ZKGrayView(pages_);
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
        // A large document takes a while to decipher on this thread.
        QApplication::setOverrideCursor(Qt::WaitCursor);
        bool enoughMemory = true;
        try {
            doc_->submitPasswordToDecrypt(Sender{0, {}, passwordField_->text(), -1});
        } catch (const std::bad_alloc&) {
            // What was being built is let go as the failure unwinds; the file was only read.
            enoughMemory = false;
            setDecryptProgressAnimating(false);
        }
        QApplication::restoreOverrideCursor();
        refresh();
        if (!enoughMemory)
            QMessageBox::warning(this, QStringLiteral("Quorvane"),
                                 QStringLiteral("There is not enough memory to open the records of \"%1\". The document "
                                                "stays locked and its file was not changed. Close it, make room by "
                                                "closing other documents or programs, and open it again.")
                                     .arg(windowTitle().remove(QStringLiteral("[*]"))));
    });
    // Typing in the password field never leaves the document edited.
    connect(passwordField_, &QLineEdit::textChanged, this,
            [this] { doc_->updateChangeCount(ZKCryptoDoc::kChangeCleared); });

    toolbar_ = addToolBar(QStringLiteral("Toolbar"));
    toolbar_->setObjectName(QStringLiteral("modernToolbar"));
    toolbar_->setMovable(false);
    categoryPopup_ = new QComboBox(toolbar_);
    categoryPopup_->setObjectName(QStringLiteral("myActionPopup"));
    categoryPopup_->setMinimumWidth(150);
    categoryPopup_->addItem(QStringLiteral("All Categories"));
    categoryPopup_->insertSeparator(1);
    toolbar_->addWidget(categoryPopup_);
    connect(categoryPopup_, &QComboBox::activated, this, [this](int index) {
        if (index == 0) browser_->showAllCategory();
        else browser_->doSelectCatMenu(Sender{0, categoryPopup_->itemText(index), {}, index});
    });
    auto* spacer = new QWidget(toolbar_);
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    toolbar_->addWidget(spacer);
    searchField_ = new QLineEdit(toolbar_);
    searchField_->setObjectName(QStringLiteral("searchField"));
    searchField_->setPlaceholderText(QStringLiteral("Search"));
    searchField_->setClearButtonEnabled(true);
    searchField_->setMaximumWidth(240);
    toolbar_->addWidget(searchField_);
    connect(searchField_, &QLineEdit::textChanged, this, [this](const QString& text) {
        browser_->searchString = text;
        browser_->setFilterPredicate();
        browser_->filteringWasPerformed();
    });
}

void DocumentWindow::buildDetail(QWidget* parent) {
    detail_ = new QWidget(parent);
    detail_->setObjectName(QStringLiteral("detailView"));
    detail_->setMinimumWidth(260);
    auto* form = new QFormLayout(detail_);
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    categoryView_ = new CategoryView(detail_);
    form->addRow(categoryView_);
    categoryChooser_ = new QComboBox(detail_);
    categoryChooser_->setObjectName(QStringLiteral("categoryChooser"));
    form->addRow(QStringLiteral("Category:"), categoryChooser_);
    connect(categoryChooser_, &QComboBox::activated, this, [this](int index) { browser_->categoryWasSet(index); });
    const std::pair<const char*, const QString*> fields[] = {
        {"Name", &keys::name},         {"Account", &keys::account}, {"User ID", &keys::userID},
        {"Password", &keys::password}, {"PIN", &keys::pin},         {"Security", &keys::security},
        {"URL", &keys::url},           {"Email", &keys::email}};
    for (const auto& [title, key] : fields) {
        auto* edit = new QLineEdit(detail_);
        edit->setObjectName(*key + QStringLiteral("Field"));
        const QString k = *key;
        // Every keystroke marks the document; the value is written when the field is left.
        connect(edit, &QLineEdit::textEdited, this, [this] { doc_->updateChangeCount(ZKCryptoDoc::kChangeDone); });
        connect(edit, &QLineEdit::editingFinished, this, [this, k, edit] { commitDetailField(k, edit->text()); });
        auto* row = new QHBoxLayout;
        row->addWidget(edit);
        if (copier_) {
            // The field's own copy button: its text, one use counted, the notice of its tag.
            static const QHash<QString, int> tags{{keys::name, 1}, {keys::url, 2},      {keys::account, 3},
                                                  {keys::userID, 4}, {keys::password, 5}, {keys::pin, 6},
                                                  {keys::security, 7}, {keys::email, 8}};
            auto* copy = new QToolButton(detail_);
            copy->setObjectName(k + QStringLiteral("Copy"));
            copy->setText(QStringLiteral("Copy"));
            copy->setToolTip(QStringLiteral("Copy"));
            const int tag = tags.value(k, 10);
            connect(copy, &QToolButton::clicked, this, [this, edit, tag] { copier_->textCopiedInClipboard(edit->text(), tag); });
            row->addWidget(copy);
            if (k == keys::url) {
                auto* open = new QToolButton(detail_);
                open->setObjectName(QStringLiteral("urlOpen"));
                open->setText(QStringLiteral("Open"));
                open->setToolTip(QStringLiteral("Open"));
                connect(open, &QToolButton::clicked, this,
                        [this, edit] { controller_->services()->resolutor->openUrl(edit->text()); });
                row->addWidget(open);
            }
        }
        if (k == keys::url) {
            // A file or a web address dropped here becomes the selected record's URL.
            auto* drop = new DropArea(detail_);
            connect(drop, &DropArea::valueDropped, this, [this](const QString& dropKey, const QString& value) {
                if (!observeDropArea(browser_->myArrayController(), dropKey, value)) return;
                browser_->recordEdited();
                doc_->updateChangeCount(ZKCryptoDoc::kChangeDone);
                showSelectedRecord();
                model_->reload();
            });
            row->addWidget(drop);
        }
        if (k == keys::email) {
            // The document's list of addresses, offered beside the field.
            auto* pick = new QToolButton(detail_);
            pick->setObjectName(QStringLiteral("emailPopup"));
            pick->setText(QStringLiteral("\u25BE"));
            pick->setPopupMode(QToolButton::InstantPopup);
            auto* menu = new QMenu(pick);
            pick->setMenu(menu);
            connect(menu, &QMenu::aboutToShow, this, [this, menu] {
                menu->clear();
                for (const Value& e : doc_->emailArray) {
                    const QString address = e.toDictionary().value(keys::email).toString();
                    menu->addAction(address, this, [this, address] {
                        browser_->insertEmailFromPopup(Sender{0, address, {}, -1});
                        showSelectedRecord();
                        model_->reload();
                    });
                }
                if (menu->isEmpty()) menu->addAction(QStringLiteral("No addresses in the list"))->setEnabled(false);
            });
            row->addWidget(pick);
        }
        form->addRow(QString::fromLatin1(title) + QLatin1Char(':'), row);
        detailEdits_.emplace_back(k, edit);
    }
    noteEdit_ = new QPlainTextEdit(detail_);
    noteEdit_->setObjectName(QStringLiteral("noteField"));
    noteEdit_->setTabChangesFocus(true);
    if (copier_) {
        auto* noteRow = new QHBoxLayout;
        noteRow->addWidget(noteEdit_);
        auto* copyNote = new QToolButton(detail_);
        copyNote->setObjectName(QStringLiteral("noteCopy"));
        copyNote->setText(QStringLiteral("Copy"));
        copyNote->setToolTip(QStringLiteral("Copy"));
        connect(copyNote, &QToolButton::clicked, this, [this] {
            // A note shown in part is copied whole, from the record.
            const Array selected = browser_->myArrayController().selectedObjects();
            const QString note = noteShownInPart_ && !selected.isEmpty()
                                     ? selected.at(0).toDictionary().value(keys::note).toString()
                                     : noteEdit_->toPlainText();
            copier_->textCopiedInClipboard(note, 9);
        });
        noteRow->addWidget(copyNote, 0, Qt::AlignTop);
        form->addRow(QStringLiteral("Note:"), noteRow);
    } else {
        form->addRow(QStringLiteral("Note:"), noteEdit_);
    }
    // Under the note, across the pane, so that it stays readable in a small window.
    noteTooLong_ = new QLabel(detail_);
    noteTooLong_->setObjectName(QStringLiteral("noteTooLongNotice"));
    noteTooLong_->setWordWrap(true);
    noteTooLong_->hide();
    form->addRow(noteTooLong_);
    connect(noteEdit_, &QPlainTextEdit::textChanged, this, [this] {
        // The beginning of a note must never replace the whole of it.
        if (syncing_ || noteShownInPart_) return;
        doc_->updateChangeCount(ZKCryptoDoc::kChangeDone);
        commitDetailField(keys::note, noteEdit_->toPlainText());
    });
}

void DocumentWindow::commitDetailField(const QString& key, const QString& typed) {
    if (syncing_ || !doc_->isEditable) return;
    const QString text = withoutLoneSurrogates(typed);  // a paste can bring half a pair
    const Array selected = browser_->myArrayController().selectedObjects();
    if (selected.isEmpty()) return;
    Dictionary record = selected.at(0).toDictionary();
    if (record.value(key).toString() == text) return;
    record.set(key, Value(text));
    browser_->recordEdited(Sender{0, {}, text, -1}, key == keys::email);
    syncing_ = true;
    model_->reload();
    syncing_ = false;
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
    add(file, QStringLiteral("importFromTextFile:"), QStringLiteral("Import\u2026"),
        QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_I), [this] { importFromTextFile(); });
    add(file, QStringLiteral("exportToTextFile:"), QStringLiteral("Export Shown Records\u2026"), {},
        [this] { exportRecords(browser_->myArrayController().arrangedObjects()); });
    add(file, QStringLiteral("exportAllToTextFile:"), QStringLiteral("Export All Records\u2026"),
        QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_E), [this] { exportRecords(doc_->myArray); });
    file->addSeparator();
    add(file, QStringLiteral("runPageLayout:"), QStringLiteral("Page Setup\u2026"), {}, [this] {
        QPageSetupDialog dialog(&printer_, this);
        dialog.exec();
    });
    add(file, QStringLiteral("printDocument:"), QStringLiteral("Print\u2026"), QKeySequence::Print, [this] {
        QPrintDialog dialog(&printer_, this);
        if (dialog.exec() == QDialog::Accepted) printTable(printer_);
    });
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

    QMenu* edit = menuBar()->addMenu(QStringLiteral("Edit"));
    QAction* undo = add(edit, QStringLiteral("undo:"), QStringLiteral("Undo"), QKeySequence::Undo, [this] {
        browser_->undoManager().undo();
        refresh();
    });
    QAction* redo = add(edit, QStringLiteral("redo:"), QStringLiteral("Redo"), QKeySequence::Redo, [this] {
        browser_->undoManager().redo();
        refresh();
    });
    connect(edit, &QMenu::aboutToShow, this, [this, undo, redo] {
        undo->setText(browser_->undoManager().undoMenuItemTitle());
        undo->setEnabled(browser_->undoManager().canUndo() && doc_->isDecrypted());
        redo->setText(browser_->undoManager().redoMenuItemTitle());
        redo->setEnabled(browser_->undoManager().canRedo() && doc_->isDecrypted());
    });
    edit->addSeparator();
    add(edit, QStringLiteral("makeToolbarSearchFieldFirstResponder:"), QStringLiteral("Find"), QKeySequence::Find,
        [this] { focusSearchField(); });

    QMenu* records = menuBar()->addMenu(QStringLiteral("Record"));
    add(records, QStringLiteral("addRow:"), QStringLiteral("New Record"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_N),
        [this] { browser_->addRow(); });
    add(records, QStringLiteral("duplicateRow:"), QStringLiteral("Duplicate Record"), QKeySequence(Qt::CTRL | Qt::Key_D),
        [this] { browser_->duplicateRow(); });
    add(records, QStringLiteral("deleteRow:"), QStringLiteral("Delete Record\u2026"), QKeySequence(Qt::CTRL | Qt::Key_Backspace),
        [this] { browser_->deleteRow(); });
    records->addSeparator();
    add(records, QStringLiteral("editContentToggle:"), QStringLiteral("Edit Record"), QKeySequence(Qt::CTRL | Qt::Key_E), [this] {
        browser_->editContentToggle();
        showSelectedRecord();
    })->setCheckable(true);
    records->addSeparator();
    add(records, QStringLiteral("editCategoriesSheet:"), QStringLiteral("Categories\u2026"), {}, [this] {
        CategorySheet sheet(*browser_, this);
        activeSheet_ = &sheet;
        sheet.exec();
        activeSheet_ = nullptr;
        browser_->synkCategorySubMenu();  // names reach the pop-up when the sheet closes
        refresh();
    });
    add(records, QStringLiteral("emailListSheet:"), QStringLiteral("E-mail Addresses\u2026"), {}, [this] {
        EmailListSheet sheet(*browser_, this);
        activeSheet_ = &sheet;
        sheet.exec();
        activeSheet_ = nullptr;
        refresh();
    });
    add(records, QStringLiteral("phoneListSheet:"), QStringLiteral("Phone Edition\u2026"), {}, [this] {
        PhoneListSheet sheet(this);
        sheet.exec();
    });
    if (copier_) {
        records->addSeparator();
        QMenu* copyMenu = records->addMenu(QStringLiteral("Copy"));
        const std::tuple<const char*, const char*, QKeySequence, void (ValueCopier::*)(const Sender&)> copies[] = {
            {"copyName:", "Name", QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_N), &ValueCopier::copyName},
            {"copyUrl:", "URL", QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_U), &ValueCopier::copyUrl},
            {"copyAccount:", "Account", QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_A), &ValueCopier::copyAccount},
            {"copyUserID:", "User ID", QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_C), &ValueCopier::copyUserID},
            {"copyPassword:", "Password", QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_C), &ValueCopier::copyPassword},
            {"copyPin:", "PIN", QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_P), &ValueCopier::copyPin},
            {"copySecurity:", "Security", {}, &ValueCopier::copySecurity},
            {"copyEmail:", "Email", QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_M), &ValueCopier::copyEmail},
            {"copyNote:", "Note", {}, &ValueCopier::copyNote},
            {"copyCategory:", "Category", {}, &ValueCopier::copyCategory}};
        for (const auto& [name, title, keys, command] : copies) {
            auto member = command;
            add(copyMenu, QLatin1String(name), QLatin1String(title), keys, [this, member] { (copier_.get()->*member)(Sender{}); });
        }
        connect(copyMenu, &QMenu::aboutToShow, this, &DocumentWindow::updateCommands);
        add(records, QStringLiteral("openUrl:"), QStringLiteral("Open URL"), QKeySequence(Qt::CTRL | Qt::Key_U),
            [this] { copier_->openUrl(); });
        add(records, QStringLiteral("pushAndPull:"), QStringLiteral("Push and Pull"), QKeySequence(Qt::CTRL | Qt::Key_J),
            [this] { copier_->pushAndPull(); });
        add(records, QStringLiteral("showPushAndPullHelp:"), QStringLiteral("About Push and Pull\u2026"), {}, [this] {
            QMessageBox help(this);
            help.setWindowModality(Qt::WindowModal);
            help.setWindowTitle(QStringLiteral("Push and Pull"));
            help.setText(QStringLiteral("Log in with one value on the clipboard at a time"));
            help.setInformativeText(QStringLiteral(
                "Push and Pull copies the record's user ID and opens its URL. Paste the user ID into the login page. "
                "Then click the padlock icon that came up in the status area (or the small window in the corner "
                "of the screen): it copies the password, and goes away. Paste the password.\n\n"
                "The icon goes away by itself after the delay set in Preferences, and the password with it. The "
                "clipboard is never cleared by Quorvane: what you copied stays there until something replaces it."));
            help.exec();
        });
        records->addSeparator();
        add(records, QStringLiteral("showPasswordMaker:"), QStringLiteral("Password Generator\u2026"),
            QKeySequence(Qt::CTRL | Qt::Key_G), [this] {
                if (auto show = controller_->services()->showPasswordMaker) show();
            });
    }
    connect(records, &QMenu::aboutToShow, this, &DocumentWindow::updateCommands);

    QMenu* view = menuBar()->addMenu(QStringLiteral("View"));
    add(view, QStringLiteral("showPasswordsInTable:"), QStringLiteral("Show Secrets in Table"), {}, [this] {
        browser_->showPasswordsInTable();
    })->setCheckable(true);
    add(view, QStringLiteral("switchShowClearPassword:"), QStringLiteral("Show Secrets in Detail Pane"), {}, [this] {
        browser_->switchShowClearPassword();
        showSelectedRecord();
    });
    add(view, QStringLiteral("toggleCollapseExpandMainView:"), QStringLiteral("Collapse or Expand Detail Pane"),
        QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_D), [this] { toggleCollapseExpandMainView(); });
    QMenu* columnsMenu = view->addMenu(QStringLiteral("Columns"));
    const std::pair<const char*, const char*> switches[] = {
        {"switchColumnVisibilityCategory:", "Category"}, {"switchColumnVisibilityAccount:", "Account"},
        {"switchColumnVisibilityUserID:", "User ID"},    {"switchColumnVisibilityPassword:", "Password"},
        {"switchColumnVisibilityPin:", "PIN"},           {"switchColumnVisibilitySecurity:", "Security"},
        {"switchColumnVisibilityUrl:", "URL"},           {"switchColumnVisibilityEmail:", "Email"},
        {"switchColumnVisibilityCreatedDate:", "Created"}, {"switchColumnVisibilityModifiedDate:", "Modified"},
        {"switchColumnVisibilityUsageCount:", "Uses"}};
    for (const auto& [action, title] : switches) {
        const QString name = QLatin1String(action);
        QString id = name.mid(22).chopped(1);  // after "switchColumnVisibility"
        static const QHash<QString, QString> ids{{QStringLiteral("Url"), QStringLiteral("url")},
                                                 {QStringLiteral("Category"), QStringLiteral("category")},
                                                 {QStringLiteral("Account"), QStringLiteral("account")},
                                                 {QStringLiteral("UserID"), QStringLiteral("userID")},
                                                 {QStringLiteral("Password"), QStringLiteral("password")},
                                                 {QStringLiteral("Pin"), QStringLiteral("pin")},
                                                 {QStringLiteral("Security"), QStringLiteral("security")},
                                                 {QStringLiteral("Email"), QStringLiteral("email")},
                                                 {QStringLiteral("CreatedDate"), QStringLiteral("createdDate")},
                                                 {QStringLiteral("ModifiedDate"), QStringLiteral("modificationDate")},
                                                 {QStringLiteral("UsageCount"), QStringLiteral("usageCount")}};
        const QString column = ids.value(id);
        add(columnsMenu, name, QLatin1String(title), {}, [this, column] {
            browser_->switchColumnVisibility(column);
            syncColumns();
        })->setCheckable(true);
    }
    columnsMenu->addSeparator();
    const std::pair<const char*, const char*> presets[] = {{"setColumnVisibilityCompact:", "Compact"},
                                                           {"setColumnVisibilityCompactPlusCMA:", "Compact with Dates and Uses"},
                                                           {"setColumnVisibilityAllMinusCMA:", "All but Dates and Uses"},
                                                           {"setColumnVisibilityAll:", "All Columns"}};
    for (const auto& [action, title] : presets) {
        const QString name = QLatin1String(action);
        add(columnsMenu, name, QLatin1String(title), {}, [this, name] {
            browser_->setColumnVisibilityPreset(name);
            syncColumns();
        });
    }
    columnsMenu->addSeparator();
    add(columnsMenu, QStringLiteral("defineCustomTableSettingsToCurrent:"), QStringLiteral("Remember This Arrangement"), {},
        [this] { browser_->defineCustomTableSettingsToCurrent(); });
    add(columnsMenu, QStringLiteral("setCurrentToCustomTableSettings:"), QStringLiteral("Use Remembered Arrangement"), {}, [this] {
        browser_->setCurrentToCustomTableSettings();
        syncColumns();
    });
    connect(view, &QMenu::aboutToShow, this, &DocumentWindow::updateCommands);
    connect(columnsMenu, &QMenu::aboutToShow, this, &DocumentWindow::updateCommands);
}

int DocumentWindow::printTable(QPrinter& printer) {
    return TablePrinter::print(*table_, printer, windowTitle().remove(QStringLiteral("[*]")));
}

void DocumentWindow::updateCommands() {
    // The one table that decides: enabling and check marks of every document command.
    for (QAction* a : findChildren<QAction*>()) {
        const QString name = a->objectName();
        if (!name.endsWith(QLatin1Char(':')) || name == QLatin1String("undo:") || name == QLatin1String("redo:")) continue;
        const auto v = browser_->validateUserInterfaceItem(name);
        a->setEnabled(v.enabled);
        if (v.checked) {
            a->setCheckable(true);
            a->setChecked(*v.checked);
        }
    }
    if (QAction* a = action(QStringLiteral("revertDocumentToSaved:"))) a->setEnabled(a->isEnabled() && !path_.isEmpty());
}

void DocumentWindow::showSelectedRecord() {
    const Array selected = browser_->myArrayController().selectedObjects();
    const Dictionary record = selected.isEmpty() ? Dictionary() : selected.at(0).toDictionary();
    syncing_ = true;
    const bool editable = doc_->isEditable && !selected.isEmpty();
    for (auto& [key, edit] : detailEdits_) {
        const bool secret = key == keys::password || key == keys::pin;
        edit->setText(record.value(key).toString());
        edit->setEchoMode(secret && !browser_->showClearPassword ? QLineEdit::Password : QLineEdit::Normal);
        edit->setReadOnly(!editable);
    }
    const QString note = record.value(keys::note).toString();
    const qsizetype cut = shownLengthOfNote(note);
    noteShownInPart_ = cut < note.size();
    if (noteShownInPart_) {
        noteEdit_->setPlainText(note.left(cut));
        const QLocale locale;
        noteTooLong_->setText(QStringLiteral("This note is too long to show in full (%1 characters): the first %2 "
                                             "are shown, read-only. Copy and export give the whole note.")
                                  .arg(locale.toString(note.size()), locale.toString(cut)));
    } else {
        noteEdit_->setPlainText(note);
    }
    noteTooLong_->setVisible(noteShownInPart_);
    noteEdit_->setReadOnly(!editable || noteShownInPart_);
    const qsizetype cat = browser_->myCategoryArrayController().content().indexOfIdentical(record.value(keys::categoryPtr));
    categoryChooser_->setCurrentIndex(int(cat));
    categoryView_->setCategory(record.value(keys::categoryPtr));
    categoryChooser_->setEnabled(editable);
    syncing_ = false;
}

qsizetype DocumentWindow::shownLengthOfNote(QStringView note) {
    // Lines count by the square of their length: one unbroken line of 50 000 characters, the
    // worst case, takes about half a second to lay out, as do a million characters in short lines.
    constexpr double kBudget = 50'000.0 * 50'000.0;
    const qsizetype most = std::min(note.size(), kNoteShownInFull);
    double spent = 0;
    qsizetype cut = most;
    for (qsizetype start = 0; start < most;) {
        qsizetype end = note.indexOf(QLatin1Char('\n'), start);
        if (end < 0) end = note.size();
        const double length = double(end - start);
        if (spent + length * length > kBudget) {
            cut = std::min(most, start + qsizetype(std::sqrt(kBudget - spent)));
            break;
        }
        spent += length * length;
        start = end + 1;
    }
    if (cut == note.size()) return cut;
    if (cut > 0 && note.at(cut - 1).isHighSurrogate()) --cut;  // never half a character
    return cut;
}

void DocumentWindow::syncSelectionFromView() {
    if (syncing_) return;
    std::vector<qsizetype> rows;
    for (const QModelIndex& i : table_->selectionModel()->selectedRows()) rows.push_back(i.row());
    browser_->myArrayController().setSelectionIndexes(rows);
    browser_->tableViewSelectionDidChange(0);
    showSelectedRecord();
}

void DocumentWindow::syncColumns() {
    syncing_ = true;
    const TableColumns& columns = browser_->columns();
    for (const auto& c : columns.columns()) {
        const int section = model_->columnOf(c.identifier);
        table_->setColumnHidden(section, c.hidden);
        if (int(c.width) > 0) table_->setColumnWidth(section, int(c.width));
    }
    syncing_ = false;
}

void DocumentWindow::reloadRecords() {
    syncing_ = true;
    model_->reload();
    // The controller's selection is the truth; the view follows it.
    QItemSelection selection;
    for (qsizetype row : browser_->myArrayController().selectionIndexes())
        selection.select(model_->index(int(row), 0), model_->index(int(row), model_->columnCount() - 1));
    table_->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    syncing_ = false;
    showSelectedRecord();
}

void DocumentWindow::refresh() {
    reloadRecords();
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
    if (pages_->currentIndex() == 0) ensureDetailPaneShown();
}

void DocumentWindow::selectTabPage(int index) {
    pages_->setCurrentIndex(index);
    if (index == 0) ensureDetailPaneShown();
    updateCommands();  // the locked state changed with the page
}
bool DocumentWindow::isToolbarVisible() const { return toolbar_->isVisible() || (!isVisible() && !toolbar_->isHidden()); }
void DocumentWindow::setToolbarVisible(bool visible) { toolbar_->setVisible(visible); }
void DocumentWindow::focusSearchField() { searchField_->setFocus(); }

void DocumentWindow::setDecryptProgressAnimating(bool animating) {
    progress_->setVisible(animating);
    // Deciphering holds this thread until it is done, so the bar is laid out and painted now:
    // a large document then shows that it is being opened, not a window that stopped answering.
    if (animating && progress_->isVisible()) {
        QWidget* page = progress_->parentWidget();
        if (page->layout()) page->layout()->activate();
        page->repaint();
    }
}

void DocumentWindow::setDetailViewCollapsed(bool collapsed) {
    if (collapsed != (split_->sizes().value(1) == 0)) toggleCollapseExpandMainView();
}

// While the browser page was hidden, the split view may have given the pane nothing; unless the
// user collapsed it, it comes back at its remembered width.
void DocumentWindow::ensureDetailPaneShown() {
    const QList<int> sizes = split_->sizes();
    if (detailViewCollapsed_ || sizes.value(1) > 0) return;
    const int total = std::max(sizes.value(0) + sizes.value(1), width() - 12);
    const int right = std::min(int(bufferedDetailViewLength_), total / 2);
    split_->setSizes({total - right, right});
}

void DocumentWindow::toggleCollapseExpandMainView() {
    const ZKVSplitViewDelegate& d = browser_->splitView();
    const QList<int> sizes = split_->sizes();
    const double total = sizes.value(0) + sizes.value(1);
    const double t = split_->handleWidth();
    if (sizes.value(1) == 0) {
        // Expanding gives the pane its old width plus half of what the window grew meanwhile.
        const double right = d.expandRightViewToVal(bufferedDetailViewLength_, total + t, t, bufferedSplitWidth_);
        split_->setSizes({int(total - right), int(right)});
        detailViewCollapsed_ = false;
    } else {
        bufferedDetailViewLength_ = sizes.value(1);
        split_->setSizes({int(total), 0});
        detailViewCollapsed_ = true;
    }
    bufferedSplitWidth_ = total + t;
}

void DocumentWindow::synkCategorySubMenu() { browser_->synkCategorySubMenu(); }

void DocumentWindow::applyColumnSize(const Value& sizes) {
    browser_->columns().applyColumnSize(sizes);
    syncColumns();
}

void DocumentWindow::setColumnVisibilityCompactPlusCMA() {
    browser_->setColumnVisibilityPreset(QStringLiteral("setColumnVisibilityCompactPlusCMA:"));
    syncColumns();
}

void DocumentWindow::applyColumnVisibility(const Value& visibilities) {
    browser_->columns().applyColumnVisibility(visibilities);
    syncColumns();
}

void DocumentWindow::setSplitViewFrames(const Rect& left, const Rect& right) {
    split_->setSizes({int(left.width), int(right.width)});
}

void DocumentWindow::orderByColumn(const QString& identifier, bool ascending) {
    browser_->orderByColumnWithidentifier(identifier, ascending);
    const int section = model_->columnOf(identifier);
    if (section >= 0) {
        syncing_ = true;
        table_->horizontalHeader()->setSortIndicator(section, ascending ? Qt::AscendingOrder : Qt::DescendingOrder);
        syncing_ = false;
    }
}

Value DocumentWindow::columnSizes() const { return browser_->columns().getColumnSize(); }
Value DocumentWindow::columnVisibilities() const { return browser_->columns().getColumnVisibility(); }

Rect DocumentWindow::splitLeftFrame() const {
    const QRect g = split_->widget(0)->geometry();
    return Rect{double(g.x()), double(g.y()), double(g.width()), double(g.height())};
}

Rect DocumentWindow::splitRightFrame() const {
    const QRect g = split_->widget(1)->geometry();
    return Rect{double(g.x()), double(g.y()), double(g.width()), double(g.height())};
}

void DocumentWindow::showFilterInfoPane(bool visible, const QString& sentence) {
    filterStrip_->setText(QStringLiteral("Filter:") + sentence);
    filterStrip_->setVisible(visible);
}

void DocumentWindow::scrollRowToVisible(qsizetype row) {
    if (row >= 0) table_->scrollTo(model_->index(int(row), 0));
}

void DocumentWindow::focusNameField() {
    for (auto& [key, edit] : detailEdits_)
        if (key == keys::name) edit->setFocus();
}

void DocumentWindow::setCategoryPopupTitles(const QStringList& titles) {
    const int keep = categoryPopup_->currentIndex();
    while (categoryPopup_->count() > 2) categoryPopup_->removeItem(2);
    categoryPopup_->addItems(titles);
    categoryPopup_->setCurrentIndex(keep < categoryPopup_->count() ? keep : 0);
    categoryChooser_->clear();
    categoryChooser_->addItems(titles);
}

void DocumentWindow::openHud(const QString& text, double seconds) {
    if (!hud_) {
        // A small floating notice, centred on the window, that never takes the focus.
        hud_ = new QWidget(this, Qt::ToolTip | Qt::FramelessWindowHint);
        hud_->setObjectName(QStringLiteral("hud"));
        hud_->setAttribute(Qt::WA_ShowWithoutActivating);
        hud_->setStyleSheet(QStringLiteral("QWidget#hud { background: rgba(30, 30, 30, 215); border-radius: 10px; }"
                                           "QLabel { color: white; font-size: 15pt; padding: 14px 26px; }"));
        auto* l = new QVBoxLayout(hud_);
        l->setContentsMargins(0, 0, 0, 0);
        hudLabel_ = new QLabel(hud_);
        l->addWidget(hudLabel_);
    }
    hudLabel_->setText(text);
    hud_->adjustSize();
    const QRect g = frameGeometry();
    hud_->move(g.center() - QPoint(hud_->width() / 2, hud_->height() / 2));
    hud_->show();
    hud_->raise();
    QTimer::singleShot(int(seconds * 1000), hud_, [hud = hud_] { hud->hide(); });
}

QString DocumentWindow::secureFieldText(const QString& key) const {
    for (const auto& [k, edit] : detailEdits_)
        if (k == key) return edit->text();
    return QString();
}

int DocumentWindow::categoryPopupSelectedIndex() const { return categoryPopup_->currentIndex(); }
void DocumentWindow::selectCategoryPopupIndex(int index) { categoryPopup_->setCurrentIndex(index); }

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

// ---- Import and export ----

void DocumentWindow::setFilePanel(FilePanel* panel) { filePanel_ = panel ? panel : ownFilePanel_.get(); }

void DocumentWindow::importFromTextFile() {
    FilePanelOptions options;
    options.title = QStringLiteral("Import");
    options.allowedExtensions = {QStringLiteral("txt"), QStringLiteral("TXT"), QStringLiteral("text"), QStringLiteral("TEXT"),
                                 QStringLiteral("csv"), QStringLiteral("CSV"), QStringLiteral("tsv"), QStringLiteral("TSV")};
    const auto path = filePanel_->runOpenPanel(options);
    if (!path) return;
    ImportSheet sheet(*browser_, *path, this);
    if (sheet.readFailed()) return;  // the user has been told; there is nothing to map
    activeSheet_ = &sheet;
    const bool confirmed = sheet.exec() == QDialog::Accepted;
    activeSheet_ = nullptr;
    if (confirmed) sheet.runImport();
    refresh();
}

void DocumentWindow::exportRecords(const Array& records) {
    ExportSheet sheet(records, doc_->myKeyArrayForExport, windowTitle().remove(QStringLiteral("[*]")), *filePanel_, this);
    activeSheet_ = &sheet;
    sheet.exec();
    activeSheet_ = nullptr;
}

}  // namespace qv::app
