#pragma once

// The record browser's part of the window as the browser sees it: the table, the filter strip,
// the search field, the name field and the category pop-up of the filter. Questions the browser
// asks (deleting a row) go through the document's window, as every sheet does.

#include <QString>
#include <QStringList>

namespace qv {

class RecordBrowserUi {
public:
    virtual ~RecordBrowserUi() = default;

    // The strip that states the filter; hidden when no filter stands.
    virtual void showFilterInfoPane(bool visible, const QString& sentence) = 0;
    // The arranged records, the selection or the columns changed.
    virtual void reloadRecords() = 0;
    // Values of the shown records changed where they stand, in the same order (a use counted):
    // the table draws them again. Nothing else is reloaded, so an edit still open stays.
    virtual void recordValuesChanged() {}
    // The search field shows the filter's search string, also when the filter was reset.
    virtual void setSearchFieldText(const QString&) {}
    virtual void scrollRowToVisible(qsizetype row) = 0;
    virtual void focusNameField() = 0;
    // The category items of the filter pop-up, after its two fixed items.
    virtual void setCategoryPopupTitles(const QStringList& titles) = 0;
    virtual int categoryPopupSelectedIndex() const = 0;
    virtual void selectCategoryPopupIndex(int index) = 0;
};

}  // namespace qv
