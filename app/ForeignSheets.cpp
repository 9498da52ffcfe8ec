#include "ForeignSheets.h"
#include "WorkWithProgress.h"

#include "browsing/DocumentBrowser.h"
#include "document/DocumentKeys.h"
#include "importexport/ForeignExport.h"

#include <QDialogButtonBox>
#include <QFile>
#include <QFileInfo>
#include <QHeaderView>
#include <QInputDialog>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QSet>
#include <QTableWidget>
#include <QVBoxLayout>

namespace qv::app {

namespace {

// Rows past this are counted in the summary but not listed; a preview of 100 000 rows helps
// nobody and takes seconds to build.
constexpr qsizetype kPreviewRows = 500;

QString extensionsOf(const QString& format) {
    if (format == QLatin1String("keepass-xml")) return QStringLiteral("*.xml");
    if (format == QLatin1String("kdbx")) return QStringLiteral("*.kdbx");
    if (format == QLatin1String("bitwarden-json")) return QStringLiteral("*.json");
    if (format == QLatin1String("auto")) return QStringLiteral("*");
    return QStringLiteral("*.csv");
}

}  // namespace

QStringList importPanelChoices() {
    QStringList choices = {QStringLiteral("Tab, Comma or Semicolon Text (*.txt *.TXT *.text *.csv *.CSV *.tsv *.TSV)")};
    QStringList formats = ForeignImport::formatNames();
    formats << QStringLiteral("auto");
    for (const QString& f : formats) choices << QStringLiteral("%1 (%2)").arg(ForeignImport::formatTitle(f), extensionsOf(f));
    return choices;
}

QString formatForChoice(int choice) {
    if (choice <= 0) return QString();
    QStringList formats = ForeignImport::formatNames();
    formats << QStringLiteral("auto");
    return formats.value(choice - 1);
}

ForeignImportSheet::ForeignImportSheet(DocumentBrowser& browser, const QString& path, const QString& format, QWidget* parent)
    : QDialog(parent), browser_(browser), path_(path), format_(format) {
    setWindowModality(Qt::WindowModal);
    setObjectName(QStringLiteral("foreignImportSheet"));
    setWindowTitle(QStringLiteral("Import"));
    auto* layout = new QVBoxLayout(this);
    summary_ = new QLabel(this);
    summary_->setObjectName(QStringLiteral("importSummary"));
    summary_->setWordWrap(true);
    layout->addWidget(summary_);
    preview_ = new QTableWidget(0, 4, this);
    preview_->setObjectName(QStringLiteral("importPreview"));
    preview_->setHorizontalHeaderLabels({QStringLiteral("Category"), QStringLiteral("Name"), QStringLiteral("User ID"),
                                         QStringLiteral("Url")});
    preview_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    preview_->horizontalHeader()->setStretchLastSection(true);
    preview_->verticalHeader()->hide();
    layout->addWidget(preview_);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    auto* go = buttons->addButton(QStringLiteral("Import"), QDialogButtonBox::AcceptRole);
    go->setObjectName(QStringLiteral("doImport"));
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    layout->addWidget(buttons);
    resize(640, 420);
    askPassword = [this]() -> std::optional<QString> {
        bool ok = false;
        const QString pw = QInputDialog::getText(this, QStringLiteral("Import"),
                                                 QStringLiteral("Password of \"%1\":").arg(QFileInfo(path_).fileName()),
                                                 QLineEdit::Password, QString(), &ok);
        if (!ok) return std::nullopt;
        return pw;
    };
}

bool ForeignImportSheet::load() {
    QFile file(path_);
    if (!file.open(QIODevice::ReadOnly)) {
        error_ = QStringLiteral("The file cannot be read: %1").arg(file.errorString());
        return false;
    }
    const QByteArray data = file.readAll();
    QString format = format_;
    if (format == QLatin1String("auto")) format = ForeignImport::detectFormat(data);
    if (format.isEmpty()) {
        error_ = QStringLiteral("The file is none of the formats this program imports.");
        return false;
    }
    QString password;
    if (format == QLatin1String("kdbx")) {
        const auto given = askPassword();
        if (!given) return false;
        password = *given;
    }
    // Reading the file and making its records touch no document: a worker does it while the
    // window repaints.
    ForeignRecordMaker maker;
    std::optional<ForeignImport::Read> read;
    QSet<QString> categories;
    const bool enoughMemory =
        withProgress(this, QStringLiteral("Reading %1\u2026").arg(QFileInfo(path_).fileName()), [&] {
            read = ForeignImport::read(format, data, password, [&maker](ForeignEntry&& e) { maker.add(std::move(e)); });
            for (const Dictionary& rec : maker.records())
                if (const QString& category = rec.get(keys::categoryNAME).stringRef(); !category.isEmpty())
                    categories.insert(category);
        });
    if (!enoughMemory) {
        error_ = QStringLiteral("The file \"%1\" is too large to import: there is not enough memory to read it.")
                     .arg(QFileInfo(path_).fileName());
        return false;
    }
    const ForeignImport::Read& r = *read;
    if (!r) {
        error_ = r.kind() == ForeignImport::Problem::WrongPassword
                     ? QStringLiteral("Wrong password, or the database also needs a key file, which this program does not take.")
                     : QStringLiteral("The file cannot be imported as %1: %2").arg(ForeignImport::formatTitle(format), r.message());
        return false;
    }
    if (maker.count() == 0) {
        error_ = QStringLiteral("The file holds no entries.");
        return false;
    }
    maker_ = std::move(maker);
    const qsizetype shown = std::min(maker_.count(), kPreviewRows);
    preview_->setRowCount(int(shown));
    for (qsizetype i = 0; i < shown; ++i) {
        const Dictionary& rec = maker_.records()[size_t(i)];
        const QString category = rec.value(keys::categoryNAME).toString();
        const QString cells[] = {category, rec.value(keys::name).toString(), rec.value(keys::userID).toString(),
                                 rec.value(keys::url).toString()};
        for (int c = 0; c < 4; ++c) preview_->setItem(int(i), c, new QTableWidgetItem(cells[c]));
    }
    summary_->setText(QStringLiteral("%1 records will be added from \"%2\" (%3), in %4 categories from its groups%5.")
                          .arg(maker_.count())
                          .arg(QFileInfo(path_).fileName(), ForeignImport::formatTitle(format))
                          .arg(categories.size())
                          .arg(maker_.count() > shown ? QStringLiteral("; the first %1 are listed").arg(shown) : QString()));
    return true;
}

qsizetype ForeignImportSheet::runImport() {
    // From the first record added to the lists caught up, the document takes no command and no
    // edit, and a lock that falls due waits. The records go in on this thread, as they change
    // the document and its lists; the event loop turns every few milliseconds on the way.
    const ZKCryptoDoc::BusyHold busy(browser_.document());
    EventLoopTurns turns;
    const qsizetype added = maker_.commit(browser_, turns.between());
    // The window then catches up with the new table after a turn of its own.
    turns.now();
    return added;
}

bool exportForeign(QWidget* parent, FilePanel& panel, const Array& records, const QString& format,
                   const QString& suggestedName) {
    QMessageBox warning(QMessageBox::Warning, QStringLiteral("Export"),
                        QStringLiteral("The file will hold every password in clear text."), QMessageBox::NoButton, parent);
    warning.setObjectName(QStringLiteral("clearTextWarning"));
    warning.setInformativeText(QStringLiteral("Anyone who can read the file can read your passwords. Keep it only as long "
                                              "as the other program needs it, then delete it."));
    auto* go = warning.addButton(QStringLiteral("Export"), QMessageBox::AcceptRole);
    warning.addButton(QMessageBox::Cancel);
    warning.setWindowModality(Qt::WindowModal);
    warning.exec();
    if (warning.clickedButton() != go) return false;
    const QString extension = ForeignExport::fileExtension(format);
    FilePanelOptions options;
    options.title = QStringLiteral("Export");
    options.suggestedName = suggestedName + QLatin1Char('.') + extension;
    options.allowedExtensions = {extension};
    const auto path = panel.runSavePanel(options);
    if (!path) return false;
    if (const auto written = ForeignExport::writeToFile(format, records, *path); !written) {
        QMessageBox::warning(parent, QStringLiteral("Export"), QStringLiteral("The file could not be written.\n%1").arg(written.message()));
        return false;
    }
    return true;
}

}  // namespace qv::app
