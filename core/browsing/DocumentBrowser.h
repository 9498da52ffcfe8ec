#pragma once

// The document's record browsing: the list controllers bound to its tables, the filter, the
// sort, editing with undo, categories, columns, and the one table that decides which commands
// are enabled and checked. These are operations of the document in the design; they live here,
// beside the controllers they drive, and reach the window through the record browser's port
// (RecordBrowserUi) and, for sheets, through the document's window.

#include "FilteringArrayController.h"
#include "RecordBrowserUi.h"
#include "RecordSearch.h"
#include "RecordSearchIndex.h"
#include "TableColumns.h"
#include "ZKCategoryArrayController.h"
#include "ZKVSplitViewDelegate.h"

#include "document/MyDocument.h"
#include "foundation/ArrayController.h"
#include "foundation/Sender.h"
#include "foundation/UndoManager.h"

#include <functional>
#include <optional>

namespace qv {

class DocumentBrowser {
public:
    explicit DocumentBrowser(MyDocument& doc);
    DocumentBrowser(const DocumentBrowser&) = delete;
    DocumentBrowser& operator=(const DocumentBrowser&) = delete;

    MyDocument& document() { return doc_; }
    // The window's record browser; none for headless use.
    void setUi(RecordBrowserUi* ui) { ui_ = ui; }
    RecordBrowserUi* ui() const { return ui_; }
    FilteringArrayController& myArrayController() { return records_; }
    ZKColoredCategoryArrayController& myCategoryArrayController() { return categories_; }
    ArrayController& myEmailArrayController() { return emails_; }
    UndoManager& undoManager() { return undo_; }
    TableColumns& columns() { return columns_; }
    ZKVSplitViewDelegate& splitView() { return split_; }
    // The clock for new dates; tests fix it.
    void setClock(std::function<double()> now);

    // After the document's tables were replaced (decryption, revert): bind them again.
    void bindTables();

    // ---- Search and filter ----
    QString searchString, categoryString, usedFilterDisplay;
    bool prevFilterInaction = false;
    void setFilterPredicate(const Sender& = {});
    void ResetFilterPredicate(const Sender& = {});
    void showAllCategory(const Sender& = {});
    void showAllAndResetFilter(const Sender& = {});
    void doSelectCatMenu(const Sender& item);
    void filteringWasPerformed(const Sender& = {});
    void showSearchInfoView(bool show);
    // Records were changed in place (not added, removed or replaced, which the filter sees for
    // itself): the search index reads them again at the next pass. recordEdited says it too.
    void recordsChangedInPlace() { searchIndex_.invalidate(); }
    const RecordSearchIndex& searchIndex() const { return searchIndex_; }

    // ---- Sorting ----
    std::int64_t tableSortCompare = 2;  // the preference, kept current by the window
    void orderByColumnWithidentifier(const QString& identifier, bool ascending);
    // A click on a column header: the table sorts, the column is remembered (ascending, as the
    // column's prototype is), and the document is not marked.
    void tableViewDidClickTableColumn(const QString& identifier, bool ascendingNow);
    void selectedTableColumnWithidentifier(const QString& identifier, bool ascending);

    // ---- Editing ----
    int lengthOfEmailField = 0;
    bool usageCountDirtyFlag = false;
    void addRow(const Sender& = {});
    void duplicateRow(const Sender& = {});
    void deleteRow(const Sender& = {});
    void editContentToggle(const Sender& = {});
    void recordEdited(const Sender& sender = {}, bool fromEmailField = false);
    void insertEmailFromPopup(const Sender& item);
    void tableViewSelectionDidChange(int emailFieldLength = 0);
    void newEmailInEmailList(const Sender& = {});
    void deleteEmailInEmailList(const Sender& = {});
    // Undoable primitives, each registering its partner.
    void addTheRecord(const Value& record);
    void addTheRecordUndo(const Value& record);
    void duplicateTheRecord(const Value& record);
    void duplicateTheRecordUndo(const Value& record);
    void deleteTheRecord(const Value& record);
    void deleteTheRecordUndo(const Value& record);
    void addEmailInEmailList(const Value& entry);
    void addEmailInEmailListUndo(const Value& entry);
    void removeEmailInEmailList(const Value& entry);
    void removeEmailInEmailListUndo(const Value& entry);

    // ---- Categories ----
    void addNewCategory(const Sender& = {});
    void removeCategory(const Sender& = {});
    // The chooser of the detail pane picked the category at `index` of the menu's list.
    void categoryWasSet(int index);
    void synkCategorySubMenu(const Sender& = {});
    void synkNotesWithCategory();

    // ---- Import ----
    // After an import added records: categories by title (made once per new title), every other
    // record through catToAssignToNewObject, the temporary key removed; then marked once. The
    // window passes every record through (as it always has); qvane only those from
    // `firstImported` on, so that the records that were there keep their categories.
    void justFinishedImporting(qsizetype firstImported = 0) { justFinishedImporting(firstImported, {}); }
    // The same, with `between` called after each record, where the window lets its event loop
    // turn now and then; it must not touch the document, its records or its categories.
    void justFinishedImporting(qsizetype firstImported, const std::function<void()>& between);
    // After records were put straight into the table with their categories (an import of
    // another program's file): the lists and the window catch up, and the document is marked.
    void recordsWereImported();

    // ---- Columns and table ----
    Value myShowPasswordInTable;  // absent at first, which reads false
    int showClearPassword = 0;
    void showPasswordsInTable(const Sender& = {});
    void switchShowClearPassword(const Sender& = {});
    void switchColumnVisibility(const QString& identifier);  // the eleven commands
    void setColumnVisibilityPreset(const QString& action);  // the four preset commands
    void defineCustomTableSettingsToCurrent(const Sender& = {});
    void setCurrentToCustomTableSettings(const Sender& = {});
    void tableViewColumnDidResize(const QString& identifier, double width);

    // ---- Command enabling ----
    struct Validation {
        bool enabled;
        std::optional<bool> checked;  // set only for items that carry a check mark
    };
    // The document's table first, then the base document's six content commands; any other
    // action is enabled (the application implements it).
    Validation validateUserInterfaceItem(const QString& action) const;
    // For a control of the window that binds its enabled state directly: the answer of the
    // table's row for deleteRow:, a selection in a decrypted document.
    bool deleteRowShouldBeEnabled(const Sender& = {}) const;

private:
    void markEdited() { doc_.updateChangeCount(ZKCryptoDoc::kChangeDone); }
    void post(std::function<void()> step);
    void reload();
    void applySort(const ColumnSort& sort, bool ascending);

    MyDocument& doc_;
    RecordBrowserUi* ui_ = nullptr;
    UndoManager undo_;
    ZKColoredCategoryArrayController categories_;
    ZKColoredCategoryArrayController categoriesForMenu_;
    FilteringArrayController records_{&categories_};
    ArrayController emails_;
    TableColumns columns_;
    ZKVSplitViewDelegate split_;
    std::function<double()> now_;
    RecordSearchIndex searchIndex_;
};

}  // namespace qv
