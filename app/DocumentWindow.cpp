#include "DocumentWindow.h"

#include "DocumentController.h"
#include "BrowserSheets.h"
#include "DropArea.h"
#include "ForeignSheets.h"
#include "ImportExportSheets.h"
#include "CategoryView.h"
#include "HealthSheet.h"
#include "MergeFlow.h"
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
#include <QScreen>
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
#include <QDateTime>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QScreen>

#include <QEventLoop>

#include <algorithm>
#include <exception>
#include <system_error>
#include <thread>

#include <cmath>
#include <new>

namespace qv::app {

namespace {
constexpr int kMinimumWidth = 620;
constexpr int kMinimumHeight = 460;

// Keeps the user's input away from one window, and from nothing else, while a worker reads or
// writes its document. A key that would be a shortcut is claimed first (ShortcutOverride), so that
// no command of the window fires either.
class WindowInputBlock : public QObject {
public:
    explicit WindowInputBlock(QWidget* window) : window_(window) { qApp->installEventFilter(this); }
    ~WindowInputBlock() override { qApp->removeEventFilter(this); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        switch (event->type()) {
        case QEvent::ShortcutOverride:
        case QEvent::KeyPress:
        case QEvent::KeyRelease:
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
        case QEvent::MouseButtonDblClick:
        case QEvent::Wheel:
        case QEvent::ContextMenu:
        case QEvent::DragEnter:
        case QEvent::DragMove:
        case QEvent::Drop:
        case QEvent::TouchBegin:
        case QEvent::TouchUpdate:
        case QEvent::TouchEnd:
            break;
        default:
            return false;
        }
        if (!watched->isWidgetType() || static_cast<QWidget*>(watched)->window() != window_) return false;
        event->accept();
        return true;
    }

private:
    QWidget* window_;
};
}  // namespace

DocumentWindow::DocumentWindow(std::unique_ptr<MyDocument> doc, const QString& path, DocumentController* controller)
    : doc_(std::move(doc)), path_(path), controller_(controller) {
    setAttribute(Qt::WA_DeleteOnClose);
    ownFilePanel_ = std::make_unique<DesktopFilePanel>(this);
    filePanel_ = ownFilePanel_.get();
    setMinimumSize(kMinimumWidth, kMinimumHeight);
    resize(900, 600);
    setGeometry(fittedToScreen(geometry()));
    doc_->setUi(this);
    doc_->onLockPending = [this] { closeRecordsToTheUser(); };
    doc_->runOffThread = [this](const std::function<void()>& work) { runOffThread(work); };
    // Queued on the window, so that a step still waiting when the window closes is dropped with
    // it instead of running on a document that is gone.
    doc_->postToMainQueue = [this](std::function<void()> step) {
        QMetaObject::invokeMethod(this, std::move(step), Qt::QueuedConnection);
    };
    browser_ = std::make_unique<DocumentBrowser>(*doc_);
    browser_->setUi(this);
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
        copier_->setUi(this);
    }
    buildPages();
    buildMenus();
    updateTitle();
    // Edit ▸ Cut, Copy and Paste follow the field that has the keyboard.
    connect(qApp, &QApplication::focusChanged, this, [this] { updateTextCommands(); });
}

DocumentWindow::~DocumentWindow() {
    doc_->setUi(nullptr);
    browser_->setUi(nullptr);
    if (copier_) copier_->setUi(nullptr);
    if (controller_) controller_->forget(this);
}

void DocumentWindow::runOffThread(const std::function<void()>& work) {
    runHeld([&work] {
        QEventLoop loop;
        std::thread worker;
        std::exception_ptr thrown;
        try {
            worker = std::thread([&work, &loop, &thrown] {
                // What the work throws (out of memory, mostly) is thrown again here, not on the
                // worker, where it would end the program.
                try {
                    work();
                } catch (...) {
                    thrown = std::current_exception();
                }
                QMetaObject::invokeMethod(&loop, [&loop] { loop.quit(); }, Qt::QueuedConnection);
            });
        } catch (const std::system_error&) {
            // No thread to be had: the work runs here, the event loop still until it ends.
            work();
            return;
        }
        // Returns early when the application quits; the work is still waited for.
        loop.exec();
        worker.join();
        if (thrown) std::rethrow_exception(thrown);
    });
}

void DocumentWindow::runHeld(const std::function<void()>& steps) {
    const WindowInputBlock block(this);
    struct Held {
        int& count;
        explicit Held(int& c) : count(c) { ++count; }
        ~Held() { --count; }
    } held(runningOffThread_);
    steps();
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
    // Tab leaves the table for the detail pane instead of walking its cells.
    table_->setTabKeyNavigation(false);
    table_->setAccessibleName(QStringLiteral("Records"));
    table_->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(table_, &QWidget::customContextMenuRequested, this, [this](const QPoint& at) { showRowMenu(at); });
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
    browserLayout->addWidget(split_, 1);  // the table and the pane take every new pixel
    countLabel_ = new QLabel(browser);
    countLabel_->setObjectName(QStringLiteral("recordCount"));
    countLabel_->setEnabled(false);  // quiet, like a status line
    countLabel_->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    browserLayout->addWidget(countLabel_, 0, Qt::AlignRight);
    pages_->addWidget(browser);
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] { syncSelectionFromView(); });
    connect(table_->horizontalHeader(), &QHeaderView::sortIndicatorChanged, this, [this](int section, Qt::SortOrder order) {
        if (syncing_) return;
        browser_->tableViewDidClickTableColumn(model_->identifierAt(section), order == Qt::AscendingOrder);
    });
    // A column dragged elsewhere: the arrays a save writes follow the table's new order.
    connect(table_->horizontalHeader(), &QHeaderView::sectionMoved, this, [this](int, int from, int to) {
        if (!syncing_) browser_->columns().moveColumn(from, to);
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
    passwordField_->setAccessibleName(QStringLiteral("Master password"));
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
        // A large document takes a while to decipher (on a worker; this window waits for it, the
        // others do not).
        setCursor(Qt::WaitCursor);
        bool enoughMemory = true;
        try {
            doc_->submitPasswordToDecrypt(Sender{0, {}, passwordField_->text(), -1});
        } catch (const std::bad_alloc&) {
            // What was being built is let go as the failure unwinds; the file was only read.
            enoughMemory = false;
            setDecryptProgressAnimating(false);
        }
        unsetCursor();
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
    categoryPopup_->setAccessibleName(QStringLiteral("Show category"));
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
    searchField_->setAccessibleName(QStringLiteral("Search records"));
    searchField_->installEventFilter(this);
    connect(searchField_, &QLineEdit::selectionChanged, this, [this] { updateTextCommands(); });
    toolbar_->addWidget(searchField_);
    setTabOrder(categoryPopup_, searchField_);
    setTabOrder(searchField_, table_);
    setTabOrder(table_, categoryChooser_);
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
    if (controller_ && controller_->services()) categoryView_->setPasteboard(controller_->services()->pasteboard);
    form->addRow(categoryView_);
    categoryChooser_ = new QComboBox(detail_);
    categoryChooser_->setObjectName(QStringLiteral("categoryChooser"));
    categoryChooser_->setAccessibleName(QStringLiteral("Category"));
    form->addRow(labelFor(QStringLiteral("Ca&tegory:"), categoryChooser_), categoryChooser_);
    connect(categoryChooser_, &QComboBox::activated, this, [this](int index) {
        if (!recordsOpenToTheUser()) return;
        browser_->categoryWasSet(index);
        // The category is assigned after the browser's own reload: show the record as it is now.
        reloadRecords();
    });
    QWidget* previous = categoryChooser_;
    auto chain = [&previous](QWidget* next) {
        setTabOrder(previous, next);
        previous = next;
    };
    const std::pair<const char*, const QString*> fields[] = {
        {"&Name", &keys::name},         {"A&ccount", &keys::account}, {"&User ID", &keys::userID},
        {"&Password", &keys::password}, {"P&IN", &keys::pin},         {"&Security", &keys::security},
        {"U&RL", &keys::url},           {"&Email", &keys::email}};
    for (const auto& [title, key] : fields) {
        auto* edit = new QLineEdit(detail_);
        edit->setObjectName(*key + QStringLiteral("Field"));
        const QString plainTitle = QString::fromLatin1(title).remove(QLatin1Char('&'));
        edit->setAccessibleName(plainTitle);
        edit->installEventFilter(this);
        chain(edit);
        connect(edit, &QLineEdit::textChanged, this, [this] { updateCopyButtons(); });
        connect(edit, &QLineEdit::selectionChanged, this, [this] { updateTextCommands(); });
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
            copy->setToolTip(QStringLiteral("Copy %1").arg(plainTitle));
            copy->setAccessibleName(QStringLiteral("Copy %1").arg(plainTitle));
            const int tag = tags.value(k, 10);
            connect(copy, &QToolButton::clicked, this, [this, edit, tag] {
                if (recordsOpenToTheUser()) copier_->textCopiedInClipboard(edit->text(), tag);
            });
            row->addWidget(copy);
            copyButtons_.emplace_back(edit, copy);
            chain(copy);
            if (k == keys::url) {
                auto* open = new QToolButton(detail_);
                open->setObjectName(QStringLiteral("urlOpen"));
                open->setText(QStringLiteral("Open"));
                open->setToolTip(QStringLiteral("Open the address"));
                open->setAccessibleName(QStringLiteral("Open URL"));
                connect(open, &QToolButton::clicked, this, [this, edit] {
                    if (recordsOpenToTheUser()) controller_->services()->resolutor->openUrl(edit->text());
                });
                row->addWidget(open);
                urlOpen_ = open;
                chain(open);
            }
        }
        if (k == keys::url) {
            // A file or a web address dropped here becomes the selected record's URL.
            auto* drop = new DropArea(detail_);
            drop->setAccessibleName(QStringLiteral("Drop a file or an address here to set the URL"));
            connect(drop, &DropArea::valueDropped, this, [this](const QString& dropKey, const QString& value) {
                if (!recordsOpenToTheUser()) return;
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
            pick->setAccessibleName(QStringLiteral("Choose an address from the list"));
            chain(pick);
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
        form->addRow(labelFor(QString::fromLatin1(title) + QLatin1Char(':'), edit), row);
        detailEdits_.emplace_back(k, edit);
    }
    noteEdit_ = new QPlainTextEdit(detail_);
    noteEdit_->setObjectName(QStringLiteral("noteField"));
    noteEdit_->setTabChangesFocus(true);
    noteEdit_->setAccessibleName(QStringLiteral("Note"));
    noteEdit_->installEventFilter(this);
    connect(noteEdit_, &QPlainTextEdit::selectionChanged, this, [this] { updateTextCommands(); });
    chain(noteEdit_);
    if (copier_) {
        auto* noteRow = new QHBoxLayout;
        noteRow->addWidget(noteEdit_);
        auto* copyNote = new QToolButton(detail_);
        copyNote->setObjectName(QStringLiteral("noteCopy"));
        copyNote->setText(QStringLiteral("Copy"));
        copyNote->setToolTip(QStringLiteral("Copy Note"));
        copyNote->setAccessibleName(QStringLiteral("Copy Note"));
        noteCopy_ = copyNote;
        chain(copyNote);
        connect(copyNote, &QToolButton::clicked, this, [this] {
            if (!recordsOpenToTheUser()) return;
            // A note shown in part is copied whole, from the record.
            const Array selected = browser_->myArrayController().selectedObjects();
            const QString note = noteShownInPart_ && !selected.isEmpty()
                                     ? selected.at(0).toDictionary().value(keys::note).toString()
                                     : noteEdit_->toPlainText();
            copier_->textCopiedInClipboard(note, 9);
        });
        noteRow->addWidget(copyNote, 0, Qt::AlignTop);
        form->addRow(labelFor(QStringLiteral("N&ote:"), noteEdit_), noteRow);
    } else {
        form->addRow(labelFor(QStringLiteral("N&ote:"), noteEdit_), noteEdit_);
    }
    // Under the note, across the pane, so that it stays readable in a small window.
    noteTooLong_ = new QLabel(detail_);
    noteTooLong_->setObjectName(QStringLiteral("noteTooLongNotice"));
    noteTooLong_->setWordWrap(true);
    noteTooLong_->hide();
    form->addRow(noteTooLong_);
    connect(noteEdit_, &QPlainTextEdit::textChanged, this, [this] {
        updateCopyButtons();
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
        connect(a, &QAction::triggered, this, [this, name, run] {
            // A shortcut can fire while the item still shows the state of the last look at the
            // menu (a lock decided a moment ago): the same table decides again now.
            if (name.endsWith(QLatin1Char(':')) && !browser_->validateUserInterfaceItem(name).enabled) return;
            // Nothing reaches a document whose tables a worker is reading or writing; a new
            // document or another file is no business of this one.
            if (runningOffThread_ > 0 && name != QLatin1String("newDocument:") &&
                name != QLatin1String("openDocument:"))
                return;
            run();
        });
        return a;
    };
    QMenu* app = menuBar()->addMenu(QStringLiteral("Quorvane"));
    add(app, QStringLiteral("about"), QStringLiteral("About Quorvane"), {}, [this] { showAbout(); });
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
    add(file, QStringLiteral("mergeWithDocument:"), QStringLiteral("Merge With Document\u2026"), {}, [this] {
        if (!recordsOpenToTheUser()) return;
        FilePanelOptions options;
        options.title = QStringLiteral("Merge With Document");
        options.allowedExtensions = {QStringLiteral("qvane")};
        if (const auto other = filePanel_->runOpenPanel(options)) MergeFlow::mergeInto(this, *other);
    });
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
        if (!recordsOpenToTheUser()) return;
        browser_->undoManager().undo();
        refresh();
    });
    QAction* redo = add(edit, QStringLiteral("redo:"), QStringLiteral("Redo"), QKeySequence::Redo, [this] {
        if (!recordsOpenToTheUser()) return;
        browser_->undoManager().redo();
        refresh();
    });
    edit->addSeparator();
    // The text commands act on the text field that has the keyboard, as everywhere on the desktop.
    const std::tuple<const char*, const char*, QKeySequence::StandardKey> textCommands[] = {
        {"cut", "Cut", QKeySequence::Cut},
        {"copy", "Copy", QKeySequence::Copy},
        {"paste", "Paste", QKeySequence::Paste},
        {"selectAll", "Select All", QKeySequence::SelectAll}};
    for (const auto& [name, title, keys] : textCommands) {
        const QString command = QLatin1String(name);
        add(edit, command, QLatin1String(title), keys, [this, command] { runTextCommand(command); });
    }
    connect(edit, &QMenu::aboutToShow, this, [this, undo, redo] {
        undo->setText(browser_->undoManager().undoMenuItemTitle());
        undo->setEnabled(browser_->undoManager().canUndo() && recordsOpenToTheUser());
        redo->setText(browser_->undoManager().redoMenuItemTitle());
        redo->setEnabled(browser_->undoManager().canRedo() && recordsOpenToTheUser());
        updateTextCommands();
    });
    edit->addSeparator();
    add(edit, QStringLiteral("makeToolbarSearchFieldFirstResponder:"), QStringLiteral("Find"), QKeySequence::Find,
        [this] { focusSearchField(); });

    QMenu* records = menuBar()->addMenu(QStringLiteral("Record"));
    add(records, QStringLiteral("addRow:"), QStringLiteral("New Record"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_N),
        [this] {
            browser_->addRow();
            // Edit mode is on now: the fields take keys before the name field is given the focus.
            showSelectedRecord();
            updateCommands();
        });
    add(records, QStringLiteral("duplicateRow:"), QStringLiteral("Duplicate Record"), QKeySequence(Qt::CTRL | Qt::Key_D),
        [this] {
            browser_->duplicateRow();
            showSelectedRecord();
        });
    add(records, QStringLiteral("deleteRow:"), QStringLiteral("Delete Record\u2026"), QKeySequence(Qt::CTRL | Qt::Key_Backspace),
        [this] { browser_->deleteRow(); });
    records->addSeparator();
    add(records, QStringLiteral("editContentToggle:"), QStringLiteral("Edit Record"), QKeySequence(Qt::CTRL | Qt::Key_E), [this] {
        browser_->editContentToggle();
        showSelectedRecord();
        updateCommands();
    })->setCheckable(true);
    records->addSeparator();
    add(records, QStringLiteral("editCategoriesSheet:"), QStringLiteral("Categories\u2026"), {}, [this] {
        CategorySheet sheet(*browser_, this);
        runSheet(sheet);
        browser_->synkCategorySubMenu();  // names reach the pop-up when the sheet closes
        refresh();
    });
    add(records, QStringLiteral("emailListSheet:"), QStringLiteral("E-mail Addresses\u2026"), {}, [this] {
        EmailListSheet sheet(*browser_, this);
        runSheet(sheet);
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
    // Every document can bring its filter and search bar back, also one converted from an old
    // file, which opens with the bar hidden.
    add(view, QStringLiteral("toggleToolbarShown:"), QStringLiteral("Hide Toolbar"), QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_T),
        [this] {
            if (!recordsOpenToTheUser()) return;
            setToolbarVisible(toolbar_->isHidden());
            updateCommands();
        })->setCheckable(true);
    view->addSeparator();
    add(view, QStringLiteral("showPasswordHealth:"), QStringLiteral("Password Health\u2026"),
        QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_H), [this] { showPasswordHealth(); });
    view->addSeparator();
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
            fitColumnsToView();
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
            fitColumnsToView();
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
    if (QAction* a = action(QStringLiteral("toggleToolbarShown:"))) {
        const bool shown = !toolbar_->isHidden();
        a->setEnabled(recordsOpenToTheUser());
        a->setChecked(shown && recordsOpenToTheUser());
        a->setText(shown ? QStringLiteral("Hide Toolbar") : QStringLiteral("Show Toolbar"));
    }
    for (const char* name : {"showPasswordHealth:", "mergeWithDocument:"})
        if (QAction* a = action(QLatin1String(name))) a->setEnabled(recordsOpenToTheUser());
    updateCopyButtons();
    updateTextCommands();
}

void DocumentWindow::showPasswordHealth() {
    if (!recordsOpenToTheUser()) return;
    UserDefaults* defaults = controller_ && controller_->services() ? controller_->services()->defaults : nullptr;
    const std::int64_t stored = defaults ? defaults->integerForKey(prefs::passwordHealthOldAfterDays) : 0;
    HealthSheet sheet(doc_->myArray, stored > 0 ? int(stored) : PasswordHealth::kDefaultOlderThanDays, this);
    connect(&sheet, &HealthSheet::olderThanDaysChanged, this, [defaults](int days) {
        if (defaults) defaults->setObject(prefs::passwordHealthOldAfterDays, Value::integer(days));
    });
    if (healthSheetHook_) healthSheetHook_(&sheet);
    const bool chosen = runSheet(sheet) == QDialog::Accepted && sheet.chosenRecord() >= 0;
    if (!chosen || !recordsOpenToTheUser() || sheet.chosenRecord() >= doc_->myArray.count()) return;
    // The record is shown even when the filter hides it now.
    const Value record = doc_->myArray.at(sheet.chosenRecord());
    if (browser_->myArrayController().arrangedObjects().indexOfIdentical(record) < 0) {
        browser_->showAllAndResetFilter();
        searchField_->clear();
    }
    const qsizetype row = browser_->myArrayController().arrangedObjects().indexOfIdentical(record);
    if (row < 0) return;
    browser_->myArrayController().setSelectionIndexes({row});
    browser_->tableViewSelectionDidChange(0);
    reloadRecords();
    scrollRowToVisible(row);
    table_->setFocus();
}

int DocumentWindow::runSheet(QDialog& sheet) {
    // A sheet made while the document was being locked (an import reads its file first, and the
    // background lock may come meanwhile) is not shown over the locked page, and what it was
    // asked for is not done once the lock is decided.
    if (!recordsOpenToTheUser()) return QDialog::Rejected;
    activeSheet_ = &sheet;
    const int result = sheet.exec();
    activeSheet_ = nullptr;
    return recordsOpenToTheUser() ? result : int(QDialog::Rejected);
}

bool DocumentWindow::recordsOpenToTheUser() const {
    return doc_->isDecrypted() && !doc_->isLockPending() && runningOffThread_ == 0;
}

void DocumentWindow::closeRecordsToTheUser() {
    // Disabling the page first lets a field that is being edited hand its value to the record,
    // as leaving it does; the lock keeps unsaved edits. Then nothing of the records stays in a
    // widget: the hidden password fields are what a copy would read.
    if (contextMenu_) contextMenu_->close();
    if (hud_) hud_->hide();
    pages_->widget(0)->setEnabled(false);
    syncing_ = true;
    for (auto& [key, edit] : detailEdits_) edit->clear();
    noteEdit_->clear();
    categoryView_->setCategory(Value());
    syncing_ = false;
    updateCommands();
}

void DocumentWindow::updateCopyButtons() {
    // A copy button is there to use only when its field has something to copy.
    const bool open = recordsOpenToTheUser() && !browser_->myArrayController().selectedObjects().isEmpty();
    for (const auto& [edit, button] : copyButtons_) button->setEnabled(open && !edit->text().isEmpty());
    if (noteCopy_) noteCopy_->setEnabled(open && !noteEdit_->toPlainText().isEmpty());
    if (urlOpen_) urlOpen_->setEnabled(open && !secureFieldText(keys::url).isEmpty());
}

namespace {
QLineEdit* focusedLineEdit() { return qobject_cast<QLineEdit*>(QApplication::focusWidget()); }
QPlainTextEdit* focusedTextEdit() { return qobject_cast<QPlainTextEdit*>(QApplication::focusWidget()); }
}  // namespace

void DocumentWindow::updateTextCommands() {
    QLineEdit* line = focusedLineEdit();
    QPlainTextEdit* text = focusedTextEdit();
    if (line && line->window() != this) line = nullptr;
    if (text && text->window() != this) text = nullptr;
    // A masked field gives nothing away, as its own context menu does.
    const bool masked = line && line->echoMode() != QLineEdit::Normal;
    const bool selected = (line && line->hasSelectedText()) || (text && text->textCursor().hasSelection());
    const bool writable = (line && !line->isReadOnly()) || (text && !text->isReadOnly());
    if (QAction* a = action(QStringLiteral("cut"))) a->setEnabled(selected && writable && !masked);
    if (QAction* a = action(QStringLiteral("copy"))) a->setEnabled(selected && !masked);
    if (QAction* a = action(QStringLiteral("paste"))) a->setEnabled(writable);
    if (QAction* a = action(QStringLiteral("selectAll")))
        a->setEnabled(line || text || (QApplication::focusWidget() == table_ && recordsOpenToTheUser()));
}

void DocumentWindow::runTextCommand(const QString& command) {
    QLineEdit* line = focusedLineEdit();
    QPlainTextEdit* text = focusedTextEdit();
    if (line && line->window() == this) {
        if (command == QLatin1String("cut")) line->cut();
        else if (command == QLatin1String("copy")) line->copy();
        else if (command == QLatin1String("paste")) line->paste();
        else line->selectAll();
    } else if (text && text->window() == this) {
        if (command == QLatin1String("cut")) text->cut();
        else if (command == QLatin1String("copy")) text->copy();
        else if (command == QLatin1String("paste")) text->paste();
        else text->selectAll();
    } else if (command == QLatin1String("selectAll") && QApplication::focusWidget() == table_) {
        table_->selectAll();
    }
}

void DocumentWindow::showSelectedRecord() {
    // A locked document shows no record, also when something asks to refresh the hidden page.
    const Array selected = recordsOpenToTheUser() ? browser_->myArrayController().selectedObjects() : Array();
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
    updateCopyButtons();
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
        int width = int(c.width);
        // The category column shows every title whole, and dates and counts are never cut,
        // however narrow the document remembers them; the remembered width itself stays as it is.
        if (c.identifier == QLatin1String("category")) width = std::max(width, widthOfLongestCategoryTitle());
        if (!c.hidden && (c.identifier == QLatin1String("createdDate") || c.identifier == QLatin1String("modificationDate") ||
                          c.identifier == QLatin1String("usageCount")))
            width = std::max(width, narrowestWidthOfColumn(section));
        if (width > 0) table_->setColumnWidth(section, width);
    }
    syncing_ = false;
}

int DocumentWindow::widthOfLongestCategoryTitle() const {
    const QFontMetrics cells(table_->font());
    const int row = table_->verticalHeader()->defaultSectionSize();
    int longest = 0;
    for (const Value& c : doc_->myCategoryArray)
        longest = std::max(longest, CategoryPill::widthForTitle(cells, c.toDictionary().value(keys::cat_category).toString(), row));
    return longest;
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
    updateRecordCount();
}

void DocumentWindow::updateRecordCount() {
    const QLocale locale;
    const qsizetype total = doc_->myArray.count();
    const qsizetype shown = browser_->myArrayController().arrangedObjects().count();
    const QString noun = total == 1 ? QStringLiteral("record") : QStringLiteral("records");
    countLabel_->setText(shown == total ? QStringLiteral("%1 %2").arg(locale.toString(total), noun)
                                        : QStringLiteral("%1 of %2 %3 shown").arg(locale.toString(shown),
                                                                                 locale.toString(total), noun));
}

void DocumentWindow::recordValuesChanged() { model_->valuesChanged(); }

void DocumentWindow::setSearchFieldText(const QString& text) {
    if (searchField_->text() == text) return;
    const QSignalBlocker quiet(searchField_);  // the filter has been set already
    searchField_->setText(text);
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
    pages_->widget(0)->setEnabled(recordsOpenToTheUser());
    setWindowModified(doc_->isDocumentEdited());
    updateCommands();
}

// ---- The ports: the document's window, the record browser, the copier's notice ----

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
    // A frame remembered on a larger screen is brought within this one.
    setGeometry(fittedToScreen(QRect(int(f.x), int(f.y), int(f.width), int(f.height))));
    if (pages_->currentIndex() == 0) ensureDetailPaneShown();
}

void DocumentWindow::selectTabPage(int index) {
    if (index != 0) closeRecordsToTheUser();
    pages_->setCurrentIndex(index);
    pages_->widget(0)->setEnabled(recordsOpenToTheUser());
    if (index == 0) ensureDetailPaneShown();
    updateCommands();  // the locked state changed with the page
}
bool DocumentWindow::isToolbarVisible() const { return toolbar_->isVisible() || (!isVisible() && !toolbar_->isHidden()); }
void DocumentWindow::setToolbarVisible(bool visible) { toolbar_->setVisible(visible); }
void DocumentWindow::focusSearchField() { searchField_->setFocus(); }

void DocumentWindow::setDecryptProgressAnimating(bool animating) {
    progress_->setVisible(animating);
    // Laid out and painted now, so that the bar shows at once; deciphering then runs on a
    // worker while the event loop keeps it moving.
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
    // The new record's name is typed at once: a collapsed pane opens for it.
    if (detailViewCollapsed_) toggleCollapseExpandMainView();
    for (auto& [key, edit] : detailEdits_)
        if (key == keys::name) edit->setFocus();
}

void DocumentWindow::setCategoryPopupTitles(const QStringList& titles) {
    const int keep = categoryPopup_->currentIndex();
    while (categoryPopup_->count() > 2) categoryPopup_->removeItem(2);
    categoryPopup_->addItems(titles);
    categoryPopup_->setCurrentIndex(keep < categoryPopup_->count() ? keep : 0);
    syncing_ = true;
    categoryChooser_->clear();
    categoryChooser_->addItems(titles);
    syncing_ = false;
    // Filling the list leaves its first entry showing: show the selected record's again.
    const Array selected = recordsOpenToTheUser() ? browser_->myArrayController().selectedObjects() : Array();
    const Value category = selected.isEmpty() ? Value() : selected.at(0).toDictionary().value(keys::categoryPtr);
    categoryChooser_->setCurrentIndex(int(browser_->myCategoryArrayController().content().indexOfIdentical(category)));
}

void DocumentWindow::openHud(const QString& text, double seconds) {
    if (!hud_) {
        // A small notice that floats above other windows, centred on the screen.
        hud_ = new QWidget(this, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
        hud_->setObjectName(QStringLiteral("hud"));
        hud_->setStyleSheet(QStringLiteral("QWidget#hud { background: rgba(30, 30, 30, 215); border-radius: 10px; }"
                                           "QLabel { color: white; font-size: 15pt; padding: 14px 26px; }"));
        auto* l = new QVBoxLayout(hud_);
        l->setContentsMargins(0, 0, 0, 0);
        hudLabel_ = new QLabel(hud_);
        l->addWidget(hudLabel_);
    }
    hudLabel_->setText(text);
    hud_->adjustSize();
    const QRect g = screen() ? screen()->availableGeometry() : frameGeometry();
    hud_->move(g.center() - QPoint(hud_->width() / 2, hud_->height() / 2));
    hud_->show();
    hud_->raise();
    hud_->activateWindow();
    QTimer::singleShot(int(seconds * 1000), hud_, [this, hud = hud_] {
        // The keyboard goes back to the document it was taken from.
        const bool wasKey = hud->isActiveWindow();
        hud->hide();
        if (wasKey) activateWindow();
    });
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
    // The worker holds the document: the window stays until it has ended.
    if (runningOffThread_ > 0) {
        event->ignore();
        return;
    }
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
    int chosenType = 0;
    options.typeChoices = importPanelChoices();
    options.chosenType = &chosenType;
    const auto path = filePanel_->runOpenPanel(options);
    if (!path) return;
    if (chosenType > 0) {  // another password manager's file
        importForeign(*path, formatForChoice(chosenType));
        return;
    }
    ImportSheet sheet(*browser_, *path, this);
    if (sheet.readFailed()) return;  // the user has been told; there is nothing to map
    const bool confirmed = runSheet(sheet) == QDialog::Accepted;
    if (confirmed) runHeld([&sheet] { sheet.runImport(); });
    refresh();
}

void DocumentWindow::importForeign(const QString& path, const QString& format) {
    ForeignImportSheet sheet(*browser_, path, format, this);
    if (!sheet.load()) {
        if (!sheet.error().isEmpty())
            QMessageBox::warning(this, QStringLiteral("Import"), sheet.error() + QStringLiteral(" Nothing was added to the document."));
        return;
    }
    const bool confirmed = runSheet(sheet) == QDialog::Accepted;
    if (confirmed) runHeld([&sheet] { sheet.runImport(); });
    refresh();
}

void DocumentWindow::exportRecords(const Array& records) {
    ExportSheet sheet(records, doc_->myKeyArrayForExport, windowTitle().remove(QStringLiteral("[*]")), *filePanel_, this);
    runSheet(sheet);
}

// ---- Desktop manners ----

QLabel* DocumentWindow::labelFor(const QString& text, QWidget* field) {
    // The label names its field for screen readers, and its underlined letter moves the keyboard there.
    auto* label = new QLabel(text, field->parentWidget());
    label->setBuddy(field);
    return label;
}

QRect DocumentWindow::fittedToScreen(const QRect& wanted) const {
    const QScreen* s = QGuiApplication::screenAt(wanted.center());
    if (!s) s = screen();
    if (!s) s = QGuiApplication::primaryScreen();
    if (!s) return wanted;
    const QRect room = s->availableGeometry();
    // The title bar and borders lie outside the geometry; before the first show they are unknown.
    const QMargins frame = isVisible() ? QMargins(geometry().left() - frameGeometry().left(),
                                                  geometry().top() - frameGeometry().top(),
                                                  frameGeometry().right() - geometry().right(),
                                                  frameGeometry().bottom() - geometry().bottom())
                                       : QMargins(4, 30, 4, 4);
    const QRect inner = room.marginsRemoved(frame);
    QRect fit = wanted;
    fit.setWidth(std::max(std::min(wanted.width(), inner.width()), minimumWidth()));
    fit.setHeight(std::max(std::min(wanted.height(), inner.height()), minimumHeight()));
    fit.moveLeft(std::clamp(wanted.left(), inner.left(), std::max(inner.left(), inner.right() - fit.width() + 1)));
    fit.moveTop(std::clamp(wanted.top(), inner.top(), std::max(inner.top(), inner.bottom() - fit.height() + 1)));
    return fit;
}

int DocumentWindow::narrowestWidthOfColumn(int section) const {
    // Never narrower than its title with the sort arrow, nor than what its cells need to be read:
    // a whole date, a whole count, the longest category title.
    const QFontMetrics header(table_->horizontalHeader()->font());
    const QFontMetrics cells(table_->font());
    const QString id = model_->identifierAt(section);
    int narrowest = header.horizontalAdvance(model_->headerData(section, Qt::Horizontal, Qt::DisplayRole).toString()) + 34;
    if (id == QLatin1String("createdDate") || id == QLatin1String("modificationDate") || id == QLatin1String("usageCount")) {
        // The cells as the table writes them, sampled from the first rows: all alike in width.
        const int rows = std::min(model_->rowCount(), 200);
        for (int row = 0; row < rows; ++row)
            narrowest = std::max(narrowest, cells.horizontalAdvance(model_->index(row, section).data().toString()) + 16);
    } else if (id == QLatin1String("category")) {
        narrowest = std::max(narrowest, widthOfLongestCategoryTitle());
    } else if (id == QLatin1String("name")) {
        narrowest = std::max(narrowest, cells.horizontalAdvance(QStringLiteral("Mmmmmmmm")));
    }
    return narrowest;
}

void DocumentWindow::fitColumnsToView() {
    // A preset shows its columns within the window: a column too narrow to be read grows, the
    // detail pane gives up room down to its own minimum, then the wide columns give up room, and
    // none becomes narrower than it must be to be read. Only when even that is too wide does the
    // table scroll.
    QHeaderView* header = table_->horizontalHeader();
    std::vector<int> sections;
    for (int visual = 0; visual < header->count(); ++visual) {
        const int logical = header->logicalIndex(visual);
        if (!header->isSectionHidden(logical)) sections.push_back(logical);
    }
    if (sections.empty()) return;
    std::vector<int> narrowest(sections.size()), width(sections.size());
    int total = 0, least = 0;
    for (size_t i = 0; i < sections.size(); ++i) {
        // Dates and counts cut short tell nothing: those grow to be read whole; the others are
        // only ever made narrower here.
        const QString id = model_->identifierAt(sections[i]);
        const bool mustBeWhole = id == QLatin1String("createdDate") || id == QLatin1String("modificationDate") ||
                                 id == QLatin1String("usageCount") || id == QLatin1String("category");
        narrowest[i] = narrowestWidthOfColumn(sections[i]);
        width[i] = header->sectionSize(sections[i]);
        if (mustBeWhole) width[i] = std::max(width[i], narrowest[i]);
        else narrowest[i] = std::min(narrowest[i], width[i]);
        total += width[i];
        least += narrowest[i];
    }
    int room = table_->viewport()->width();
    const QList<int> split = split_->sizes();
    if (least > room && split.value(1) > detail_->minimumWidth()) {
        const int gain = std::min(least - room, split.value(1) - detail_->minimumWidth());
        split_->setSizes({split.value(0) + gain, split.value(1) - gain});
        bufferedDetailViewLength_ = split.value(1) - gain;
        room += gain;
    }
    int excess = total - room;
    for (int round = 0; round < 4 && excess > 0; ++round) {
        int spare = 0;
        for (size_t i = 0; i < sections.size(); ++i) spare += width[i] - narrowest[i];
        if (spare <= 0) break;
        const double share = std::min(1.0, double(excess) / spare);
        int taken = 0;
        for (size_t i = 0; i < sections.size(); ++i) {
            const int give = int(std::ceil((width[i] - narrowest[i]) * share));
            const int actual = std::min(give, std::min(width[i] - narrowest[i], excess - taken));
            width[i] -= actual;
            taken += actual;
        }
        excess -= taken;
    }
    // Reported as the user's own resizing would be, so that the document keeps the new widths.
    for (size_t i = 0; i < sections.size(); ++i) header->resizeSection(sections[i], width[i]);
}

void DocumentWindow::showRowMenu(const QPoint& at) {
    if (!recordsOpenToTheUser()) return;
    const QModelIndex index = table_->indexAt(at);
    if (index.isValid() && !table_->selectionModel()->isRowSelected(index.row(), QModelIndex())) table_->selectRow(index.row());
    // The menu's own items are the Record menu's, so the one table enables them alike.
    updateCommands();
    QMenu menu(this);
    menu.setObjectName(QStringLiteral("rowMenu"));
    contextMenu_ = &menu;
    auto put = [this, &menu](const char* name, const QString& title = {}) {
        if (QAction* a = action(QLatin1String(name))) {
            if (title.isEmpty()) {
                menu.addAction(a);
            } else {
                // The same command under a title that says what it copies, out of its submenu.
                QAction* copy = menu.addAction(title);
                copy->setObjectName(QStringLiteral("row:") + QLatin1String(name));
                copy->setEnabled(a->isEnabled());
                connect(copy, &QAction::triggered, a, &QAction::trigger);
            }
        }
    };
    if (copier_) {
        put("copyName:", QStringLiteral("Copy Name"));
        put("copyAccount:", QStringLiteral("Copy Account"));
        put("copyUserID:", QStringLiteral("Copy User ID"));
        put("copyPassword:", QStringLiteral("Copy Password"));
        put("copyPin:", QStringLiteral("Copy PIN"));
        put("copySecurity:", QStringLiteral("Copy Security"));
        put("copyUrl:", QStringLiteral("Copy URL"));
        put("copyEmail:", QStringLiteral("Copy Email"));
        put("copyNote:", QStringLiteral("Copy Note"));
        put("copyCategory:", QStringLiteral("Copy Category"));
        menu.addSeparator();
        put("openUrl:");
        put("pushAndPull:");
        menu.addSeparator();
    }
    put("editContentToggle:");
    put("duplicateRow:");
    put("deleteRow:");
    if (rowMenuHook_) rowMenuHook_(&menu);
    menu.exec(table_->viewport()->mapToGlobal(at));
    contextMenu_ = nullptr;
}

void DocumentWindow::showAbout() {
    QDialog about(this);
    about.setObjectName(QStringLiteral("aboutWindow"));
    about.setWindowTitle(QStringLiteral("About Quorvane"));
    auto* layout = new QVBoxLayout(&about);
    layout->setContentsMargins(28, 22, 28, 18);
    auto* icon = new QLabel(&about);
    icon->setPixmap(QApplication::windowIcon().pixmap(64, 64));
    layout->addWidget(icon, 0, Qt::AlignHCenter);
    auto* name = new QLabel(QStringLiteral("Quorvane"), &about);
    QFont big = name->font();
    big.setPointSizeF(big.pointSizeF() * 1.6);
    big.setBold(true);
    name->setFont(big);
    layout->addWidget(name, 0, Qt::AlignHCenter);
    auto* release = new QLabel(QStringLiteral("Release %1").arg(doc_->appReleaseString), &about);
    release->setObjectName(QStringLiteral("aboutRelease"));
    layout->addWidget(release, 0, Qt::AlignHCenter);
    auto* line = new QLabel(QStringLiteral("A password manager: your accounts, passwords, PINs and notes in enciphered "
                                           "documents, each opened by its own master password."),
                            &about);
    line->setObjectName(QStringLiteral("aboutDescription"));
    line->setWordWrap(true);
    line->setAlignment(Qt::AlignCenter);
    layout->addWidget(line);
    auto* ok = new QPushButton(QStringLiteral("OK"), &about);
    ok->setDefault(true);
    connect(ok, &QPushButton::clicked, &about, &QDialog::accept);
    layout->addWidget(ok, 0, Qt::AlignRight);
    // Wide enough that a window manager never has to cut the title.
    about.setMinimumWidth(std::max(380, about.fontMetrics().horizontalAdvance(about.windowTitle()) * 2 + 160));
    activeSheet_ = &about;
    about.exec();
    activeSheet_ = nullptr;
}

bool DocumentWindow::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress && watched == searchField_) {
        // Escape empties the search, and the filter it made goes with it.
        if (static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape && !searchField_->text().isEmpty()) {
            searchField_->clear();
            return true;
        }
    }
    if (event->type() == QEvent::ShortcutOverride) {
        // A text field claims many Ctrl keys for itself (Ctrl+E moves to the end of the line);
        // the document's commands keep theirs, except the keys of text editing proper.
        auto* key = static_cast<QKeyEvent*>(event);
        const QKeySequence pressed(key->keyCombination());
        static const QKeySequence::StandardKey textKeys[] = {
            QKeySequence::Undo, QKeySequence::Redo, QKeySequence::Cut, QKeySequence::Copy, QKeySequence::Paste,
            QKeySequence::SelectAll, QKeySequence::DeleteStartOfWord, QKeySequence::DeleteEndOfWord,
            QKeySequence::MoveToPreviousWord, QKeySequence::MoveToNextWord, QKeySequence::Find};
        for (QKeySequence::StandardKey k : textKeys)
            if (key->matches(k)) return QMainWindow::eventFilter(watched, event);
        if (key->modifiers() & (Qt::ControlModifier | Qt::AltModifier)) {
            for (QAction* a : findChildren<QAction*>())
                if (!a->shortcut().isEmpty() && a->shortcut().matches(pressed) == QKeySequence::ExactMatch && a->isEnabled()) {
                    event->ignore();
                    return true;
                }
        }
    }
    return QMainWindow::eventFilter(watched, event);
}

}  // namespace qv::app
