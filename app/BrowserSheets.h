#pragma once

// The sheets of the record browser: the categories (names and colours), the document's list of
// e-mail addresses, and the note on using a document with the phone edition.

#include <QDialog>

class QListWidget;
class QTableWidget;

namespace qv {
class DocumentBrowser;
}

namespace qv::app {

class CategorySheet : public QDialog {
    Q_OBJECT
public:
    CategorySheet(DocumentBrowser& browser, QWidget* parent);
    QTableWidget* table() const { return table_; }

private:
    void fill();
    void chooseColor(int row, bool background);
    DocumentBrowser& browser_;
    QTableWidget* table_;
    bool filling_ = false;
};

class EmailListSheet : public QDialog {
    Q_OBJECT
public:
    EmailListSheet(DocumentBrowser& browser, QWidget* parent);
    QListWidget* list() const { return list_; }

private:
    void fill();
    DocumentBrowser& browser_;
    QListWidget* list_;
    bool filling_ = false;
};

class PhoneListSheet : public QDialog {
    Q_OBJECT
public:
    explicit PhoneListSheet(QWidget* parent);
};

}  // namespace qv::app
