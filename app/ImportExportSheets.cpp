#include "ImportExportSheets.h"

#include "ForeignSheets.h"
#include "WorkWithProgress.h"
#include "importexport/ForeignExport.h"

#include "browsing/DocumentBrowser.h"
#include "document/DocumentKeys.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QTableWidget>
#include <QToolButton>
#include <QVBoxLayout>

#include <new>

namespace qv::app {

namespace {

// A window to hang an alert on: the sheet once it shows, the document window before.
QWidget* alertParent(QWidget* sheet) { return sheet->isVisible() ? sheet : sheet->parentWidget(); }

// The preview shows the start of a field; a field of many megabytes would hold up its table.
QString previewText(const QString& field) {
    constexpr qsizetype kShown = 2000;
    return field.size() > kShown ? field.left(kShown) + QChar(0x2026) : field;
}

const std::pair<int, const char*> kEncodings[] = {{0, "Automatic"},        {1, "UTF-8"},
                                                  {10, "UTF-16"},          {11, "UTF-16 big-endian"},
                                                  {12, "UTF-16 little-endian"}, {20, "UTF-32"},
                                                  {21, "UTF-32 big-endian"}, {22, "UTF-32 little-endian"},
                                                  {30, "Mac OS Roman"},    {50, "ASCII"}};

}  // namespace

ImportSheet::ImportSheet(DocumentBrowser& browser, const QString& path, QWidget* parent)
    : QDialog(parent), browser_(browser), path_(path) {
    setWindowModality(Qt::WindowModal);
    setObjectName(QStringLiteral("importSettingsPanel"));
    setWindowTitle(QStringLiteral("Import"));
    resize(640, 460);
    MyDocument& doc = browser_.document();
    manager_ = std::make_unique<MyDataImportManager>(doc.myArray, doc.myKeyArrayForImport);
    manager_->notVisibleFirstRecAsNameOption = true;

    auto* layout = new QVBoxLayout(this);
    auto* top = new QFormLayout;
    format_ = new QComboBox(this);
    format_->setObjectName(QStringLiteral("importFormat"));
    format_->addItems({QStringLiteral("Automatic"), QStringLiteral("Tab separated"), QStringLiteral("Comma separated"),
                       QStringLiteral("Semicolon separated")});
    encoding_ = new QComboBox(this);
    encoding_->setObjectName(QStringLiteral("importEncoding"));
    for (const auto& [code, title] : kEncodings) encoding_->addItem(QLatin1String(title), code);
    top->addRow(QStringLiteral("File:"), new QLabel(QFileInfo(path).fileName(), this));
    top->addRow(QStringLiteral("Format:"), format_);
    top->addRow(QStringLiteral("Encoding:"), encoding_);
    layout->addLayout(top);
    connect(format_, &QComboBox::activated, this, [this] { reload(); });
    connect(encoding_, &QComboBox::activated, this, [this] { reload(); });

    table_ = new QTableWidget(this);
    table_->setObjectName(QStringLiteral("destFieldTable"));
    table_->setColumnCount(3);
    table_->setHorizontalHeaderLabels({QStringLiteral("Column"), QStringLiteral("Text in this row"), QStringLiteral("Goes to")});
    table_->horizontalHeader()->setSectionResizeMode(1, QHeaderView::Stretch);
    table_->verticalHeader()->hide();
    layout->addWidget(table_);

    auto* preview = new QHBoxLayout;
    auto* prev = new QPushButton(QStringLiteral("\u25C0"), this);
    auto* next = new QPushButton(QStringLiteral("\u25B6"), this);
    prev->setFixedWidth(36);
    next->setFixedWidth(36);
    previewLabel_ = new QLabel(this);
    preview->addWidget(prev);
    preview->addWidget(previewLabel_);
    preview->addWidget(next);
    preview->addStretch(1);
    auto* tools = new QToolButton(this);
    tools->setObjectName(QStringLiteral("toolsPopUpButton"));
    tools->setText(QStringLiteral("Assign"));
    tools->setPopupMode(QToolButton::InstantPopup);
    auto* toolsMenu = new QMenu(tools);
    toolsMenu->addAction(QStringLiteral("Clear All"), this, [this] {
        manager_->ResetImportFields();
        fillColumns();
    });
    toolsMenu->addAction(QStringLiteral("In Order of the Fields"), this, [this] {
        manager_->AssignCascadeImportFields();
        fillColumns();
    });
    toolsMenu->addAction(QStringLiteral("By the Names in the First Row"), this, [this] {
        manager_->tryAssignFromFirstRow();
        fillColumns();
    });
    tools->setMenu(toolsMenu);
    preview->addWidget(tools);
    layout->addLayout(preview);
    connect(prev, &QPushButton::clicked, this, [this] {
        manager_->showPrevRecord();
        showPreview();
    });
    connect(next, &QPushButton::clicked, this, [this] {
        manager_->showNextRecord();
        showPreview();
    });

    skipFirst_ = new QCheckBox(QStringLiteral("Do not import the first row"), this);
    skipFirst_->setObjectName(QStringLiteral("doNotImportFirstRecord"));
    connect(skipFirst_, &QCheckBox::toggled, this, [this](bool on) { manager_->doNotImportFirstRecord = on; });
    layout->addWidget(skipFirst_);
    countLabel_ = new QLabel(this);
    layout->addWidget(countLabel_);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    auto* go = buttons->addButton(QStringLiteral("Import"), QDialogButtonBox::AcceptRole);
    go->setObjectName(QStringLiteral("doImport"));
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
    reload();
}

void ImportSheet::reload() {
    const int format = format_->currentIndex();
    const int encoding = encoding_->currentData().toInt();
    MyDataImportManager* m = manager_.get();
    const QString path = path_;
    readFailed_ = !withProgress(this, QStringLiteral("Reading %1\u2026").arg(QFileInfo(path).fileName()),
                                [m, path, format, encoding] { m->loadDataFromFile(path, format, encoding); });
    if (readFailed_) {
        // The rows read so far go with the manager; the sheet stands on an empty file.
        MyDocument& doc = browser_.document();
        manager_.reset();
        manager_ = std::make_unique<MyDataImportManager>(doc.myArray, doc.myKeyArrayForImport);
        manager_->notVisibleFirstRecAsNameOption = true;
        QMessageBox::warning(alertParent(this), QStringLiteral("Import"),
                             QStringLiteral("The file \"%1\" is too large to import: there is not enough memory to read "
                                            "it. Nothing was added to the document.")
                                 .arg(QFileInfo(path).fileName()));
    }
    manager_->ImportSettings();
    manager_->AssignCascadeImportFields();  // a starting point the user can change
    fillColumns();
}

void ImportSheet::fillColumns() {
    filling_ = true;
    auto& columns = manager_->destFieldArray();
    table_->setRowCount(int(columns.size()));
    QStringList destinations{QStringLiteral("Not imported"), QStringLiteral("Not imported")};
    for (const Value& k : manager_->outsideKeyArray()) {
        const QString title = k.toDictionary().value(keys::publicKey).toString();
        destinations << (title.isEmpty() ? QStringLiteral("-") : title);
    }
    for (int i = 0; i < int(columns.size()); ++i) {
        auto* number = new QTableWidgetItem(QStringLiteral("%1 %2").arg(columns[size_t(i)].importFlag.value_or(QString())).arg(i + 1));
        number->setFlags(Qt::ItemIsEnabled);
        table_->setItem(i, 0, number);
        auto* combo = new QComboBox(table_);
        combo->addItems(destinations);
        combo->setCurrentIndex(columns[size_t(i)].destination);
        connect(combo, &QComboBox::activated, this, [this, i](int d) {
            if (filling_) return;
            manager_->destinationSelected(i, d);
            fillColumns();
        });
        table_->setCellWidget(i, 2, combo);
    }
    skipFirst_->setChecked(manager_->doNotImportFirstRecord);
    filling_ = false;
    showPreview();
}

void ImportSheet::showPreview() {
    const auto& grid = manager_->grid();
    const int index = manager_->currentRecordIndex;
    const int row = std::max(0, std::min(index, int(grid.size())) - 1);
    // The row is cut into fields once, not once per column.
    const QStringList fields = row < int(grid.size()) ? grid[size_t(row)] : QStringList();
    for (int i = 0; i < table_->rowCount(); ++i) {
        const QString text = previewText(fields.value(i));
        auto* item = new QTableWidgetItem(text);
        item->setFlags(Qt::ItemIsEnabled);
        table_->setItem(i, 1, item);
    }
    previewLabel_->setText(QStringLiteral("Row %1 of %2").arg(index).arg(grid.size()));
    countLabel_->setText(QStringLiteral("%1 columns go into records.").arg(manager_->numberOfImportedFields));
}

qsizetype ImportSheet::runImport() {
    MyDocument& doc = browser_.document();
    Array records = doc.myArray;
    const qsizetype before = records.count();
    QProgressDialog progress(QStringLiteral("Importing\u2026"), QString(), 0, 100, this);
    progress.setWindowModality(Qt::WindowModal);
    progress.setMinimumDuration(300);
    // From the first record made to the last category given, the document takes no command and
    // no edit, and a lock that falls due waits for the import to end.
    const ZKCryptoDoc::BusyHold busy(doc);
    try {
        // Making the records reads only the file's rows: a worker does it while the window
        // repaints. Its progress reaches the dialog through the event loop.
        MyDataImportManager* m = manager_.get();
        QProgressDialog* shown = &progress;
        const auto make = [m, shown] {
            m->makeRecords([shown](double done) {
                QMetaObject::invokeMethod(shown, [shown, done] { shown->setValue(int(done * 100)); },
                                          Qt::QueuedConnection);
            });
        };
        if (doc.runOffThread) doc.runOffThread(make);
        else make();
        manager_->handOverRecords();
    } catch (const std::bad_alloc&) {
        // All of the file or none of it: the records made so far are taken back out, and with
        // them the memory they held.
        while (records.count() > before) records.removeAt(records.count() - 1);
        progress.reset();
        QMessageBox::warning(alertParent(this), QStringLiteral("Import"),
                             QStringLiteral("The import of \"%1\" was stopped: there is not enough memory for all of "
                                            "its records. Nothing was added to the document.")
                                 .arg(QFileInfo(path_).fileName()));
        return 0;
    }
    // Giving the records their categories changes the document and its lists, so it stays on
    // this thread; the event loop turns every few milliseconds on the way, so that the window
    // repaints. Nothing that runs then can reach the busy document.
    EventLoopTurns turns;
    browser_.justFinishedImporting(0, turns.between());
    // The window then catches up with the new table after a turn of its own.
    turns.now();
    return doc.myArray.count() - before;
}

// ---------------------------------------------------------------------------------------------

ExportSheet::ExportSheet(const Array& records, const Array& keyArray, const QString& displayName, FilePanel& panel,
                         QWidget* parent)
    : QDialog(parent), manager_(records, keyArray), displayName_(displayName), panel_(panel) {
    setWindowModality(Qt::WindowModal);
    setObjectName(QStringLiteral("exportSettingsPanel"));
    setWindowTitle(QStringLiteral("Export"));
    manager_.suggestedFileName = ZKDataExportManager::suggestedNameFor(displayName);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(new QLabel(QStringLiteral("Every value leaves in clear text. Choose the fields to write, in order:"), this));
    auto* lists = new QHBoxLayout;
    left_ = new QListWidget(this);
    left_->setObjectName(QStringLiteral("leftKeyList"));
    right_ = new QListWidget(this);
    right_->setObjectName(QStringLiteral("rightKeyList"));
    for (QListWidget* l : {left_, right_}) l->setSelectionMode(QAbstractItemView::ExtendedSelection);
    auto* moves = new QVBoxLayout;
    auto button = [&](const char* text, const char* name, auto action) {
        auto* b = new QPushButton(QString::fromUtf8(text), this);
        b->setObjectName(QLatin1String(name));
        connect(b, &QPushButton::clicked, this, action);
        moves->addWidget(b);
        return b;
    };
    auto selected = [](QListWidget* l) {
        std::vector<qsizetype> rows;
        for (const QModelIndex& i : l->selectionModel()->selectedRows()) rows.push_back(i.row());
        std::sort(rows.begin(), rows.end());
        return rows;
    };
    moves->addStretch(1);
    button("Add \u25B6", "addSelectedToRight", [this, selected] {
        manager_.addSelectedToRight(selected(left_));
        refreshLists();
    });
    button("Add All \u25B6\u25B6", "addAllToRight", [this] {
        manager_.addAllToRight();
        refreshLists();
    });
    button("\u25C0 Remove", "removeSelectedFromRight", [this, selected] {
        manager_.removeSelectedFromRight(selected(right_));
        refreshLists();
    });
    button("\u25C0\u25C0 Remove All", "removeAllFromRight", [this] {
        manager_.removeAllFromRight();
        refreshLists();
    });
    button("Up", "moveUp", [this] {
        const int row = manager_.moveUp(right_->currentRow());
        refreshLists();
        right_->setCurrentRow(row);
    });
    button("Down", "moveDown", [this] {
        const int row = manager_.moveDown(right_->currentRow());
        refreshLists();
        right_->setCurrentRow(row);
    });
    moves->addStretch(1);
    lists->addWidget(left_);
    lists->addLayout(moves);
    lists->addWidget(right_);
    layout->addLayout(lists);

    auto* options = new QFormLayout;
    format_ = new QComboBox(this);
    format_->setObjectName(QStringLiteral("exportFormat"));
    format_->addItems({QStringLiteral("Custom (tags below)"), QStringLiteral("Tab separated (.tsv)"),
                       QStringLiteral("Quoted, comma separated (.csv)"), QStringLiteral("HTML table (.txt)"),
                       QStringLiteral("Web page (.html)"), QStringLiteral("Comma separated (.csv)")});
    // Other password managers' formats: every field, always; the field lists do not apply.
    for (const QString& f : ForeignExport::formatNames()) format_->addItem(ForeignExport::formatTitle(f), f);
    format_->setCurrentIndex(manager_.fileFormatToSave);
    header_ = new QCheckBox(QStringLiteral("Field names as the first row"), this);
    header_->setObjectName(QStringLiteral("useFieldNamesAsFirstRow"));
    options->addRow(QStringLiteral("Format:"), format_);
    options->addRow(QString(), header_);
    layout->addLayout(options);

    auto* custom = new QGroupBox(QStringLiteral("Custom format (\\n is a line end, \\t a tab)"), this);
    customBox_ = custom;
    auto* grid = new QGridLayout(custom);
    const char* tagTitles[] = {"Start of file", "End of file", "Start of record", "End of record", "Field opens",
                               "Field closes", "Between fields", "End after the last record (YES/NO)"};
    for (int i = 0; i < 8; ++i) {
        auto* e = new QLineEdit(custom);
        grid->addWidget(new QLabel(QString::fromLatin1(tagTitles[i]), custom), i / 2, (i % 2) * 2);
        grid->addWidget(e, i / 2, (i % 2) * 2 + 1);
        tagEdits_.push_back(e);
    }
    auto* preset = new QComboBox(custom);
    preset->addItems({QStringLiteral("Start from\u2026"), QStringLiteral("Tab separated"), QStringLiteral("Quoted comma"),
                      QStringLiteral("HTML table"), QStringLiteral("Web page"), QStringLiteral("Plain comma")});
    grid->addWidget(preset, 4, 0, 1, 2);
    connect(preset, &QComboBox::activated, this, [this](int tag) {
        if (tag == 0) return;
        manager_.setCustomFields(tag);
        syncTags(false);
    });
    layout->addWidget(custom);
    auto showCustom = [this] {
        customBox_->setEnabled(format_->currentIndex() == 0);
        const bool foreign = !format_->currentData().toString().isEmpty();
        for (QWidget* w : std::initializer_list<QWidget*>{left_, right_, header_}) w->setEnabled(!foreign);
    };
    connect(format_, &QComboBox::currentIndexChanged, this, showCustom);
    showCustom();

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    auto* go = buttons->addButton(QStringLiteral("Export\u2026"), QDialogButtonBox::AcceptRole);
    go->setObjectName(QStringLiteral("doExport"));
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(buttons, &QDialogButtonBox::accepted, this, [this, records] {
        if (const QString foreign = format_->currentData().toString(); !foreign.isEmpty()) {
            if (exportForeign(this, panel_, records, foreign, manager_.suggestedFileName)) accept();
            return;
        }
        syncTags(true);
        manager_.fileFormatToSave = format_->currentIndex();
        manager_.useFieldNamesAsFirstRow = header_->isChecked();
        // The sheet goes before the file panel shows; cancelling the panel ends the export.
        if (const auto path = manager_.chooseFile(panel_, [this] { accept(); })) exportTo(*path);
    });
    layout->addWidget(buttons);
    refreshLists();
}

void ExportSheet::refreshLists() {
    left_->clear();
    right_->clear();
    for (const Value& k : manager_.leftKeyArray) left_->addItem(k.toDictionary().value(keys::publicKey).toString());
    for (const Value& k : manager_.rightKeyArray) right_->addItem(k.toDictionary().value(keys::publicKey).toString());
}

void ExportSheet::syncTags(bool toManager) {
    QString* tags[] = {&manager_.start_of_file,   &manager_.end_of_file,     &manager_.start_of_record,
                       &manager_.end_of_record,   &manager_.field_open_tag,  &manager_.field_close_tag,
                       &manager_.field_separator, &manager_.use_end_of_record_in_last_record};
    for (size_t i = 0; i < 8; ++i) {
        if (toManager) *tags[i] = tagEdits_[i]->text();
        else tagEdits_[i]->setText(*tags[i]);
    }
}

bool ExportSheet::exportTo(const QString& path) {
    bool ok = false;
    QString error;
    ZKDataExportManager* m = &manager_;
    if (!withProgress(alertParent(this), QStringLiteral("Exporting\u2026"),
                      [m, path, &ok, &error] {
                          const auto written = m->writeToFile(path);
                          ok = written.ok();
                          if (!ok) error = written.message();
                      })) {
        QMessageBox::warning(alertParent(this), QStringLiteral("Export"),
                             QStringLiteral("The export could not be finished: there is not enough memory. No file was "
                                            "written."));
        return false;
    }
    if (!ok)
        QMessageBox::warning(alertParent(this), QStringLiteral("Export"),
                             QStringLiteral("The file could not be written.\n%1").arg(error));
    return ok;
}

}  // namespace qv::app
