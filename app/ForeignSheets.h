#pragma once

// The window's side of other password managers' files: the preview sheet of an import, and the
// export to their formats after a warning that every password leaves in clear.

#include "importexport/ForeignImport.h"

#include "foundation/FilePanel.h"
#include "foundation/Value.h"

#include <QDialog>

#include <functional>
#include <optional>

class QLabel;
class QTableWidget;

namespace qv {
class DocumentBrowser;
}

namespace qv::app {

// The entries of the import panel's type pop-up: the described text import first, then one per
// foreign format and "auto". formatForChoice(0) is empty (the text import).
QStringList importPanelChoices();
QString formatForChoice(int choice);

class ForeignImportSheet : public QDialog {
    Q_OBJECT
public:
    ForeignImportSheet(DocumentBrowser& browser, const QString& path, const QString& format, QWidget* parent);
    // Asked for a database's password; nullopt when the user cancels. A password dialog unless set.
    std::function<std::optional<QString>()> askPassword;
    // Reads the file into the preview. False with error() set when nothing can be imported; the
    // document is untouched either way.
    bool load();
    const QString& error() const { return error_; }
    qsizetype count() const { return maker_.count(); }
    QTableWidget* preview() const { return preview_; }
    // Adds the previewed records to the document. Returns how many.
    qsizetype runImport();

private:
    DocumentBrowser& browser_;
    QString path_, format_, error_;
    ForeignRecordMaker maker_;
    QLabel* summary_;
    QTableWidget* preview_;
};

// Warns that the file holds every password in clear, asks for a file and writes `records` in
// `format` (readable by the owner only). False when cancelled or not written (the user is told).
bool exportForeign(QWidget* parent, FilePanel& panel, const Array& records, const QString& format,
                   const QString& suggestedName);

}  // namespace qv::app
