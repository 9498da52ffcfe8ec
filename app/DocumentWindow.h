#pragma once

// One document's window: the record browser and the locked page with the password field, as two
// pages of a stack chosen by the document's locked state. It implements the three ports the logic
// reaches the window through: the document's (sheets, frames, focus, the password sheets), the
// record browser's (table, filter strip, pop-up) and the copier's (the notice, secure fields).

#include "browsing/DocumentBrowser.h"
#include "browsing/RecordBrowserUi.h"
#include "passwordtools/NoticeUi.h"
#include "passwordtools/ValueCopier.h"
#include "document/DocumentWindowUi.h"
#include "document/MyDocument.h"
#include "foundation/FilePanel.h"

#include <QMainWindow>
#include <QPointer>
#include <QPrinter>

#include <functional>
#include <memory>
#include <vector>

class QComboBox;
class QDialog;
class QLabel;
class QPlainTextEdit;
class QSplitter;
class QLineEdit;
class QProgressBar;
class QStackedWidget;
class QTableView;
class QToolBar;
class QToolButton;
class QMenu;

namespace qv::app {

class CategoryView;
class DocumentController;
class RecordTableModel;

class DocumentWindow : public QMainWindow,
                       public DocumentWindowUi,
                       public RecordBrowserUi,
                       public NoticeUi {
    Q_OBJECT
public:
    DocumentWindow(std::unique_ptr<MyDocument> doc, const QString& path, DocumentController* controller);
    ~DocumentWindow() override;

    MyDocument& document() { return *doc_; }
    DocumentBrowser& browser() { return *browser_; }
    // Null without the application's services.
    ValueCopier* copier() { return copier_.get(); }
    QString filePath() const { return path_; }
    void setFilePath(const QString& path);
    // Import and export reach files through this panel; tests hand in their own.
    void setFilePanel(FilePanel* panel);
    void importFromTextFile();
    // Another password manager's file, in a format of the import panel's type pop-up.
    void importForeign(const QString& path, const QString& format);
    void exportRecords(const Array& records);
    void refresh();  // after the document's content or state changed
    // Runs `work` on a worker thread and returns when it has ended. Meanwhile the event loop
    // turns (the progress bar paints, timers run, other windows take input) and this window
    // takes no keys, clicks, drops or closing. Deciphering, enciphering and writing go through it.
    void runOffThread(const std::function<void()>& work);
    // Runs `steps` here, the window held as during such work, for long work on this thread that
    // lets the event loop turn now and then (an import taking its records in).
    void runHeld(const std::function<void()>& steps);

    // Test hooks into the real widgets.
    QLineEdit* passwordToDecryptField() const { return passwordField_; }
    QTableView* recordTable() const { return table_; }
    QAction* action(const QString& name) const;
    // Collapses the detail pane, or brings it back at its remembered width.
    void toggleCollapseExpandMainView();
    bool isDetailViewCollapsed() const { return detailViewCollapsed_; }
    void ensureDetailPaneShown();
    // Prints the table, whole rows per page; returns the page count.
    int printTable(QPrinter& printer);

    // DocumentWindowUi
    void beginSheet(const Alert& alert, std::function<void(int)> done) override;
    int runModal(const Alert& alert) override;
    Rect windowFrame() const override;
    void setWindowFrame(const Rect& frame) override;
    void selectTabPage(int index) override;
    bool isToolbarVisible() const override;
    void setToolbarVisible(bool visible) override;
    void focusSearchField() override;
    void setDecryptProgressAnimating(bool animating) override;
    void setDetailViewCollapsed(bool collapsed) override;
    void synkCategorySubMenu() override;
    void liftMaximumWindowSize() override;
    void applyColumnSize(const Value& sizes) override;
    void setColumnVisibilityCompactPlusCMA() override;
    void applyColumnVisibility(const Value& visibilities) override;
    void setSplitViewFrames(const Rect& left, const Rect& right) override;
    void orderByColumn(const QString& identifier, bool ascending) override;
    void clearPasswordToDecryptField() override;
    void showPasswordSheet(PasswordSheet sheet, std::function<void(int)> done) override;
    bool isPasswordToDecryptFieldEmpty() const override;
    void focusPasswordToDecryptField() override;
    void closeDocument() override;
    Value columnSizes() const override;
    Value columnVisibilities() const override;
    Rect splitLeftFrame() const override;
    Rect splitRightFrame() const override;
    void endAttachedSheet() override;
    void shrinkToMinimumSizeAndPin() override;
    // RecordBrowserUi
    void showFilterInfoPane(bool visible, const QString& sentence) override;
    void reloadRecords() override;
    void recordValuesChanged() override;
    void setSearchFieldText(const QString& text) override;
    void scrollRowToVisible(qsizetype row) override;
    void focusNameField() override;
    void setCategoryPopupTitles(const QStringList& titles) override;
    int categoryPopupSelectedIndex() const override;
    void selectCategoryPopupIndex(int index) override;
    // NoticeUi
    void openHud(const QString& text, double seconds) override;
    QString secureFieldText(const QString& key) const override;
    QWidget* hud() const { return hud_; }
    // Tests reach the row menu while it is open; the hook runs just before it shows.
    void setRowMenuHook(std::function<void(QMenu*)> hook) { rowMenuHook_ = std::move(hook); }
    void showRowMenu(const QPoint& at);
    QLabel* recordCountLabel() const { return countLabel_; }
    // Shrinks the shown columns, wide ones first, to fit the table's width.
    void fitColumnsToView();
    // The frame brought within the available part of the screen it is on.
    QRect fittedToScreen(const QRect& wanted) const;
    void showAbout();
    void showPasswordHealth();
    // Tests reach the health sheet while it is open.
    void setHealthSheetHook(std::function<void(QDialog*)> hook) { healthSheetHook_ = std::move(hook); }

    // A note is shown whole only when it can be laid out quickly; otherwise its beginning is
    // shown, read-only, with a sentence that says so. A note of a hundred megabytes would hold
    // the window for many seconds and a gigabyte of memory, and every keystroke in it would copy
    // it whole; one long line with nothing to break it at (a pasted key or blob) costs the square
    // of its length. The record keeps the whole note; copying and exporting give all of it.
    static constexpr qsizetype kNoteShownInFull = 1'000'000;  // characters at most
    // How many characters of `note` the pane shows.
    static qsizetype shownLengthOfNote(QStringView note);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void buildMenus();
    void buildPages();
    void buildDetail(QWidget* parent);
    void syncColumns();
    void syncSelectionFromView();
    void runCommand(const QString& action, const std::function<void()>& command);
    void updateTitle();
    void updateCommands();
    void showSelectedRecord();
    void commitDetailField(const QString& key, const QString& text);
    bool recordsOpenToTheUser() const;
    // Runs a sheet of the record browser; Rejected when the document is or gets locked.
    int runSheet(QDialog& sheet);
    void closeRecordsToTheUser();
    void updateCopyButtons();
    void updateTextCommands();
    void runTextCommand(const QString& command);
    void updateRecordCount();
    int narrowestWidthOfColumn(int section) const;
    int widthOfLongestCategoryTitle() const;
    static QLabel* labelFor(const QString& text, QWidget* field);

    std::unique_ptr<MyDocument> doc_;
    std::unique_ptr<DocumentBrowser> browser_;
    std::unique_ptr<ValueCopier> copier_;
    QPrinter printer_;  // the document's page set-up
    bool detailViewCollapsed_ = false;
    double bufferedDetailViewLength_ = 300;
    double bufferedSplitWidth_ = 0;
    bool syncing_ = false;
    QComboBox* categoryPopup_ = nullptr;
    QComboBox* categoryChooser_ = nullptr;
    CategoryView* categoryView_ = nullptr;
    QLabel* filterStrip_ = nullptr;
    QSplitter* split_ = nullptr;
    std::vector<std::pair<QString, QLineEdit*>> detailEdits_;
    QPlainTextEdit* noteEdit_ = nullptr;
    QLabel* noteTooLong_ = nullptr;
    bool noteShownInPart_ = false;
    QString path_;
    QPointer<DocumentController> controller_;
    bool closingWithoutAsking_ = false;
    int runningOffThread_ = 0;

    QStackedWidget* pages_ = nullptr;
    QTableView* table_ = nullptr;
    RecordTableModel* model_ = nullptr;
    QLineEdit* passwordField_ = nullptr;
    QProgressBar* progress_ = nullptr;
    QLabel* formatLabel_ = nullptr;
    QLabel* releaseLabel_ = nullptr;
    QLabel* descriptionLabel_ = nullptr;
    QToolBar* toolbar_ = nullptr;
    QLineEdit* searchField_ = nullptr;
    QWidget* activeSheet_ = nullptr;
    std::unique_ptr<FilePanel> ownFilePanel_;
    FilePanel* filePanel_ = nullptr;
    QWidget* detail_ = nullptr;
    QWidget* hud_ = nullptr;
    QLabel* hudLabel_ = nullptr;
    QLabel* countLabel_ = nullptr;
    std::vector<std::pair<QLineEdit*, QToolButton*>> copyButtons_;
    QToolButton* noteCopy_ = nullptr;
    QToolButton* urlOpen_ = nullptr;
    QMenu* contextMenu_ = nullptr;
    std::function<void(QMenu*)> rowMenuHook_;
    std::function<void(QDialog*)> healthSheetHook_;
};

}  // namespace qv::app
