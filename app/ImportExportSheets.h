#pragma once

// The import and export sheets of a document window.
//
// Import: the file is chosen first; the sheet then shows one line per column of the file with
// its text in the row being previewed and the record field it goes to, the tools that map
// columns, the format and encoding (changing them reads the file again), and Import.
// Export: the fields to write, in order, picked from the available ones; the format, a header
// row, and the tags of the custom format; then the file.

#include "importexport/ZKDataExportManager.h"
#include "importexport/ZKDataImportManager.h"
#include "foundation/FilePanel.h"

#include <QDialog>

#include <memory>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QTableWidget;

namespace qv {
class DocumentBrowser;
}

namespace qv::app {

class ImportSheet : public QDialog {
    Q_OBJECT
public:
    ImportSheet(DocumentBrowser& browser, const QString& path, QWidget* parent);
    MyDataImportManager& manager() { return *manager_; }
    QTableWidget* columnTable() const { return table_; }
    // Reads the file with the chosen format and encoding, off the main thread. A file too large
    // for the memory there is is told to the user and leaves the sheet with no rows.
    void reload();
    bool readFailed() const { return readFailed_; }
    // Makes the records and hands them to the document; returns how many were added. Running out
    // of memory on the way takes back the records made so far, tells the user and gives 0.
    qsizetype runImport();

private:
    void fillColumns();
    void showPreview();
    DocumentBrowser& browser_;
    QString path_;
    std::unique_ptr<MyDataImportManager> manager_;
    QComboBox* format_;
    QComboBox* encoding_;
    QTableWidget* table_;
    QLabel* previewLabel_;
    QLabel* countLabel_;
    QCheckBox* skipFirst_;
    bool filling_ = false;
    bool readFailed_ = false;
};

class ExportSheet : public QDialog {
    Q_OBJECT
public:
    // `records` are what goes out: all, or the ones shown, in their order.
    ExportSheet(const Array& records, const Array& keyArray, const QString& displayName, FilePanel& panel,
                QWidget* parent);
    ZKDataExportManager& manager() { return manager_; }
    // Writes to `path` with a progress dialog; false with a message when it could not.
    bool exportTo(const QString& path);

private:
    void refreshLists();
    void syncTags(bool toManager);
    ZKDataExportManager manager_;
    QListWidget* left_;
    QListWidget* right_;
    QComboBox* format_;
    QCheckBox* header_;
    QWidget* customBox_;
    std::vector<QLineEdit*> tagEdits_;
    QString displayName_;
    FilePanel& panel_;
};

}  // namespace qv::app
