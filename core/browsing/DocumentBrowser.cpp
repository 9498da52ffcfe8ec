#include "DocumentBrowser.h"

#include <QHash>
#include <QSet>

#include "document/DocumentKeys.h"
#include "document/RecordModel.h"

namespace qv {

namespace {

const QString kAddRecord = QStringLiteral("Add Record");
const QString kDuplicateRecord = QStringLiteral("Duplicate Record");
const QString kDeleteRecord = QStringLiteral("Delete Record");
const QString kAddEmail = QStringLiteral("Add Email");
const QString kDeleteEmail = QStringLiteral("Delete Email");

// The eleven visibility commands and their columns.
const std::pair<const char*, const char*> kColumnCommands[] = {
    {"switchColumnVisibilityUrl:", "url"},
    {"switchColumnVisibilityCategory:", "category"},
    {"switchColumnVisibilityAccount:", "account"},
    {"switchColumnVisibilityUserID:", "userID"},
    {"switchColumnVisibilityPassword:", "password"},
    {"switchColumnVisibilityPin:", "pin"},
    {"switchColumnVisibilitySecurity:", "security"},
    {"switchColumnVisibilityEmail:", "email"},
    {"switchColumnVisibilityCreatedDate:", "createdDate"},
    {"switchColumnVisibilityModifiedDate:", "modificationDate"},
    {"switchColumnVisibilityUsageCount:", "usageCount"},
};

// A key path split once, walked for every comparison of a sort.
Value valueAt(const Value& record, const QStringList& steps) {
    Value v = record;
    for (const QString& s : steps) {
        if (!v.isDictionary()) return Value();
        v = v.toDictionary().value(s);
    }
    return v;
}

}  // namespace

DocumentBrowser::DocumentBrowser(MyDocument& doc) : doc_(doc) {
    categoriesForMenu_.avoidsEmptySelection = false;
    split_.configureForMainWindow();
    bindTables();
}

void DocumentBrowser::setClock(std::function<double()> now) {
    now_ = now;
    records_.now = std::move(now);
}

void DocumentBrowser::bindTables() {
    // New tables, or the same ones changed (a merge, its undo, a revert).
    searchIndex_.invalidate();
    categories_.setContent(doc_.myCategoryArray);
    categoriesForMenu_.setContent(doc_.myCategoryArray);
    records_.setContent(doc_.myArray);
    emails_.setContent(doc_.emailArray);
}

void DocumentBrowser::post(std::function<void()> step) {
    if (doc_.postToMainQueue) doc_.postToMainQueue(std::move(step));
    else step();
}

void DocumentBrowser::reload() {
    if (ui()) ui()->reloadRecords();
}

// ---- Search and filter ----

void DocumentBrowser::setFilterPredicate(const Sender&) {
    showSearchInfoView(!searchString.isEmpty() || !categoryString.isEmpty());
    usedFilterDisplay = filterSentence(categoryString, searchString);
    if (ui()) {
        ui()->showFilterInfoPane(prevFilterInaction, usedFilterDisplay);
        ui()->setSearchFieldText(searchString);
    }
    // The inputs are read when the filter runs, at this and every later rearrangement.
    records_.setPositionFilter([this](const Array& content) {
        return searchIndex_.filter(content, categoryString, searchString);
    });
    reload();
}

void DocumentBrowser::ResetFilterPredicate(const Sender&) {
    searchString.clear();
    categoryString.clear();
    setFilterPredicate();
}

void DocumentBrowser::showAllCategory(const Sender&) {
    categoryString.clear();
    setFilterPredicate();
    if (ui() && ui()->categoryPopupSelectedIndex() != 0) ui()->selectCategoryPopupIndex(0);
}

void DocumentBrowser::showAllAndResetFilter(const Sender&) {
    showAllCategory();
    ResetFilterPredicate();
}

void DocumentBrowser::doSelectCatMenu(const Sender& item) {
    categoryString = item.title;
    setFilterPredicate();
}

void DocumentBrowser::filteringWasPerformed(const Sender&) {
    records_.setSelectionIndex(0);
    reload();
}

void DocumentBrowser::showSearchInfoView(bool show) {
    // Only a change of state moves the split view; asking twice changes it once.
    if (show == prevFilterInaction) return;
    prevFilterInaction = show;
    if (ui()) ui()->showFilterInfoPane(show, usedFilterDisplay);
}

// ---- Sorting ----

void DocumentBrowser::orderByColumnWithidentifier(const QString& identifier, bool ascending) {
    if (identifier.isEmpty()) return;
    applySort(columnSortFor(identifier), ascending);
    markEdited();
    reload();
}

void DocumentBrowser::tableViewDidClickTableColumn(const QString& identifier, bool ascendingNow) {
    applySort(columnPrototypeFor(identifier), ascendingNow);
    selectedTableColumnWithidentifier(identifier, true);
    reload();
}

void DocumentBrowser::applySort(const ColumnSort& sort, bool ascending) {
    const auto key = sort.usesPreferredComparison ? makeSortKey(textComparisonForPreference(tableSortCompare))
                                                  : std::function<Value(const Value&)>([](const Value& v) { return v; });
    const QStringList steps = sort.keyPath.split(QLatin1Char('.'));
    records_.setSortKey([key, steps](const Value& record) { return key(valueAt(record, steps)); },
                        [ascending](const Value& a, const Value& b) {
                            const int c = compareValues(a, b);
                            return ascending ? c : -c;
                        });
}

void DocumentBrowser::selectedTableColumnWithidentifier(const QString& identifier, bool ascending) {
    doc_.latestOrderedColumn = Value(identifier);
    doc_.latestOrderedColumnAscending = ascending;
}

// ---- Editing ----

void DocumentBrowser::addRow(const Sender&) {
    if (!doc_.isDecrypted()) return;
    showAllAndResetFilter();
    addTheRecord(records_.newObject());
    doc_.isEditable = true;
    post([this] {
        if (ui()) ui()->focusNameField();
    });
}

void DocumentBrowser::duplicateRow(const Sender&) {
    if (!doc_.isDecrypted() || !records_.canRemove()) return;
    duplicateTheRecord(records_.duplicateSelection());
}

void DocumentBrowser::deleteRow(const Sender&) {
    DocumentWindowUi* window = doc_.ui();
    if (!window) return;
    window->beginSheet(Alert{QStringLiteral("Delete Selected Row?"),
                             QStringLiteral("The selected row will be removed from the document"),
                             {QStringLiteral("Delete"), QStringLiteral("Cancel")}},
                       [this](int code) {
                           if (code != kAlertFirstButtonReturn) return;
                           // Only the last selected record goes, also with several selected.
                           const Array selected = records_.selectedObjects();
                           if (!selected.isEmpty()) deleteTheRecord(selected.at(selected.count() - 1));
                       });
}

void DocumentBrowser::editContentToggle(const Sender&) { doc_.isEditable = !doc_.isEditable; }

void DocumentBrowser::recordEdited(const Sender& sender, bool fromEmailField) {
    searchIndex_.invalidate();
    if (fromEmailField) lengthOfEmailField = int(sender.stringValue.size());
    // After the field has committed its value.
    post([this] {
        records_.setValueForKeyPath(QStringLiteral("selection.") + keys::modificationDate,
                                    Value::date(now_ ? now_() : nowSince2001()));
    });
}

void DocumentBrowser::insertEmailFromPopup(const Sender& item) {
    records_.setValueForKeyPath(QStringLiteral("selection.") + keys::email, Value(item.title));
    searchIndex_.invalidate();
    lengthOfEmailField = int(item.title.size());
    markEdited();
}

void DocumentBrowser::tableViewSelectionDidChange(int emailFieldLength) {
    usageCountDirtyFlag = false;
    lengthOfEmailField = emailFieldLength;
}

void DocumentBrowser::newEmailInEmailList(const Sender&) {
    addEmailInEmailList(Value(RecordModel::newEmailEntry(now_ ? now_() : nowSince2001())));
}

void DocumentBrowser::deleteEmailInEmailList(const Sender&) {
    const Array selected = emails_.selectedObjects();
    if (!selected.isEmpty()) removeEmailInEmailList(selected.at(selected.count() - 1));
}

// Each primitive registers its partner with the same object and names the action, then changes
// the list. The category bookkeeping calls read cat_uniqueID from a record, which has none, so
// they do nothing: the real counting happens in the controller's add and remove.
void DocumentBrowser::addTheRecord(const Value& r) {
    undo_.registerUndo([this, r] { addTheRecordUndo(r); });
    undo_.setActionName(kAddRecord);
    records_.addObject(r);
    categories_.incrementObjUsingThisInCategoryWithUniqueID(r.toDictionary().value(keys::cat_uniqueID).toInt64(), 1);
    records_.rearrangeObjects();
    if (ui()) ui()->scrollRowToVisible(records_.arrangedObjects().indexOfIdentical(r));
    markEdited();
    reload();
}

void DocumentBrowser::addTheRecordUndo(const Value& r) {
    undo_.registerUndo([this, r] { addTheRecord(r); });
    undo_.setActionName(kAddRecord);
    categories_.incrementObjUsingThisInCategoryWithUniqueID(r.toDictionary().value(keys::cat_uniqueID).toInt64(), -1);
    records_.removeObject(r);
    records_.rearrangeObjects();
    markEdited();
    reload();
}

void DocumentBrowser::duplicateTheRecord(const Value& r) {
    undo_.registerUndo([this, r] { duplicateTheRecordUndo(r); });
    undo_.setActionName(kDuplicateRecord);
    records_.addObjectAfterSelection(r);
    categories_.incrementObjUsingThisInCategoryWithUniqueID(r.toDictionary().value(keys::cat_uniqueID).toInt64(), 1);
    records_.rearrangeObjects();
    markEdited();
    reload();
}

void DocumentBrowser::duplicateTheRecordUndo(const Value& r) {
    undo_.registerUndo([this, r] { duplicateTheRecord(r); });
    undo_.setActionName(kDuplicateRecord);
    categories_.incrementObjUsingThisInCategoryWithUniqueID(r.toDictionary().value(keys::cat_uniqueID).toInt64(), -1);
    records_.removeObject(r);
    records_.rearrangeObjects();
    markEdited();
    reload();
}

void DocumentBrowser::deleteTheRecord(const Value& r) {
    undo_.registerUndo([this, r] { deleteTheRecordUndo(r); });
    undo_.setActionName(kDeleteRecord);
    records_.removeObject(r);
    records_.rearrangeObjects();
    markEdited();
    reload();
}

void DocumentBrowser::deleteTheRecordUndo(const Value& r) {
    undo_.registerUndo([this, r] { deleteTheRecord(r); });
    undo_.setActionName(kDeleteRecord);
    records_.addObject(r);  // back at the end of the content, not at its old place
    records_.rearrangeObjects();
    markEdited();
    reload();
}

// Adding and removing an address rearranges the record list, where their partners rearrange the
// address list; the asymmetry is kept.
void DocumentBrowser::addEmailInEmailList(const Value& e) {
    undo_.registerUndo([this, e] { addEmailInEmailListUndo(e); });
    undo_.setActionName(kAddEmail);
    emails_.addObject(e);
    records_.rearrangeObjects();
    markEdited();
}

void DocumentBrowser::addEmailInEmailListUndo(const Value& e) {
    undo_.registerUndo([this, e] { addEmailInEmailList(e); });
    undo_.setActionName(kAddEmail);
    emails_.removeObject(e);
    emails_.rearrangeObjects();
    markEdited();
}

void DocumentBrowser::removeEmailInEmailList(const Value& e) {
    undo_.registerUndo([this, e] { removeEmailInEmailListUndo(e); });
    undo_.setActionName(kDeleteEmail);
    emails_.removeObject(e);
    records_.rearrangeObjects();
    markEdited();
}

void DocumentBrowser::removeEmailInEmailListUndo(const Value& e) {
    undo_.registerUndo([this, e] { removeEmailInEmailList(e); });
    undo_.setActionName(kDeleteEmail);
    emails_.addObject(e);
    emails_.rearrangeObjects();
    markEdited();
}

// ---- Categories ----

void DocumentBrowser::addNewCategory(const Sender&) {
    categories_.addObject(categories_.newObject());
    categoriesForMenu_.rearrangeObjects();
    markEdited();
    post([this] { synkCategorySubMenu(); });
}

void DocumentBrowser::removeCategory(const Sender&) {
    // Records keep their category; nothing is marked.
    categories_.remove();
    categoriesForMenu_.rearrangeObjects();
    post([this] { synkCategorySubMenu(); });
}

void DocumentBrowser::categoryWasSet(int index) {
    reload();
    const Value category = categoriesForMenu_.arrangedObjects().value(index);
    const qsizetype row = records_.selectionIndex();
    if (row >= 0) records_.assignCategory(category, records_.arrangedObjects().at(row));
    markEdited();
    recordEdited();
}

void DocumentBrowser::synkCategorySubMenu(const Sender&) {
    // The one sort key is categoryPtr.cat_category, which no category has: the order stays that
    // of creation, as intended.
    categories_.setSortComparator([](const Value& a, const Value& b) {
        const QString path = keys::categoryPtr + QStringLiteral(".") + keys::cat_category;
        return compareValues(a.toDictionary().valueForKeyPath(path), b.toDictionary().valueForKeyPath(path));
    });
    QStringList titles;
    for (const Value& c : categories_.arrangedObjects()) titles << c.toDictionary().value(keys::cat_category).toString();
    if (ui()) ui()->setCategoryPopupTitles(titles);
}

void DocumentBrowser::synkNotesWithCategory() {
    reload();
    markEdited();
}

// ---- Import ----

void DocumentBrowser::justFinishedImporting(qsizetype firstImported, const std::function<void()>& between) {
    records_.setContent(doc_.myArray);  // the new records are in the table already
    // How many records go to each title, so that a category's list of records grows once, not
    // by doubling: a million records in one category would otherwise hold half as much again.
    QHash<QString, qsizetype> comingTo;
    for (qsizetype i = firstImported; i < doc_.myArray.count(); ++i) {
        if (between && i > firstImported) between();
        const QString& title = doc_.myArray.at(i).toDictionary().get(keys::categoryNAME).stringRef();
        if (!title.isEmpty()) ++comingTo[title];
    }

    // A title's category is the first one that bears it, or else a new one made as addWithName
    // makes it. New ones go into the list without arranging it each time (a file with a category
    // a row would sort every category once per row, and look through all of them for the title
    // and a free id); the list is arranged, and the newest selected as an added category is, once
    // at the end or before anything reads the arrangement or the selection. Categories are only
    // added here, never removed or renamed, so what was found stays true. A filtered list (no
    // such list today) could leave an added category out of the arrangement and the selection
    // where it was: it takes them in one by one, as ever.
    const bool oneByOne = categories_.hasFilterPredicate();
    Array categoryList = categories_.content();  // the controller's own, shared
    QHash<QString, Value> byTitle;
    QSet<std::int64_t> usedIds;
    qsizetype known = 0;  // the categories of the list looked at so far
    std::int64_t lowestFreeId = 1;
    const auto takeInNewOnes = [&] {
        for (; known < categoryList.count(); ++known) {
            const Value c = categoryList.at(known);
            const Dictionary d = c.toDictionary();
            if (const QString& title = d.get(keys::cat_category).stringRef(); !byTitle.contains(title))
                byTitle.insert(title, c);  // the first with a title is the one found
            usedIds.insert(d.get(keys::cat_uniqueID).toInt64());
        }
    };
    Value newest;  // the last category put in since the list was last arranged
    const auto arrange = [&] {
        if (newest.isAbsent()) return;
        categories_.rearrangeObjects();
        if (categories_.selectsInsertedObjects && categories_.arrangedObjects().indexOfIdentical(newest) >= 0)
            categories_.setSelectedObjects(Array{newest});
        newest = Value();
    };
    const auto categoryFor = [&](const QString& title) {
        if (oneByOne) {
            const Value found = categories_.categoryWithTitle(title);
            return found.isAbsent() ? categories_.addWithName(title) : found;
        }
        takeInNewOnes();
        if (const auto it = byTitle.constFind(title); it != byTitle.cend()) return *it;
        // The lowest id from 1 that no category has, as newUniqueID finds it; ids are only
        // added, so it never goes down.
        while (usedIds.contains(lowestFreeId)) ++lowestFreeId;
        const Value made(RecordModel::newCategory(title, lowestFreeId));
        categoryList.append(made);
        newest = made;
        return made;
    };

    QSet<QString> reserved;  // the titles whose category's list has room for what comes
    for (qsizetype i = firstImported; i < doc_.myArray.count(); ++i) {
        if (between && i > firstImported) between();
        const Value r = doc_.myArray.at(i);
        Dictionary record = r.toDictionary();
        const QString title = record.value(keys::categoryNAME).toString();
        // A record that has a category is taken out of it by way of the arranged list.
        if (!record.get(keys::categoryPtr).isAbsent()) arrange();
        if (!title.isEmpty()) {
            const Value category = categoryFor(title);
            if (!reserved.contains(title)) {
                reserved.insert(title);
                if (const Value list = category.toDictionary().value(keys::records); list.isArray())
                    list.toArray().reserve(list.toArray().count() + comingTo.value(title));
            }
            records_.assignCategory(category, r);
        } else {
            // Also the records that were there before: they go through the same choice.
            arrange();
            records_.assignCategory(records_.catToAssignToNewObject(), r);
        }
        record.remove(keys::categoryNAME);
    }
    arrange();
    markEdited();
    synkCategorySubMenu();
    categories_.rearrangeObjects();
    categoriesForMenu_.rearrangeObjects();
    searchIndex_.invalidate();  // records that were there may have changed category above
    records_.rearrangeObjects();
    reload();
}

void DocumentBrowser::recordsWereImported() {
    searchIndex_.invalidate();
    records_.setContent(doc_.myArray);
    markEdited();
    synkCategorySubMenu();
    categories_.rearrangeObjects();
    categoriesForMenu_.rearrangeObjects();
    reload();
}

// ---- Columns and table ----

void DocumentBrowser::showPasswordsInTable(const Sender&) {
    myShowPasswordInTable = Value::boolean(!myShowPasswordInTable.toBool());
    reload();
}

void DocumentBrowser::switchShowClearPassword(const Sender&) { showClearPassword = showClearPassword ? 0 : 1; }

void DocumentBrowser::switchColumnVisibility(const QString& identifier) {
    columns_.switchVisibilityColumnWithIdentifier(identifier);
    markEdited();
    reload();
}

void DocumentBrowser::setColumnVisibilityPreset(const QString& action) {
    if (action == QLatin1String("setColumnVisibilityCompact:")) columns_.setColumnVisibilityCompact();
    else if (action == QLatin1String("setColumnVisibilityCompactPlusCMA:")) columns_.setColumnVisibilityCompactPlusCMA();
    else if (action == QLatin1String("setColumnVisibilityAllMinusCMA:")) columns_.setColumnVisibilityAllMinusCMA();
    else if (action == QLatin1String("setColumnVisibilityAll:")) columns_.setColumnVisibilityAll();
    else return;
    markEdited();  // also when nothing changed
    reload();
}

void DocumentBrowser::defineCustomTableSettingsToCurrent(const Sender&) {
    doc_.customTableSettings = columns_.getColumnVisibility();  // not marked, as designed
}

void DocumentBrowser::setCurrentToCustomTableSettings(const Sender&) {
    columns_.applyColumnVisibility(doc_.customTableSettings);
    reload();
}

void DocumentBrowser::tableViewColumnDidResize(const QString& identifier, double width) {
    columns_.setWidth(identifier, width);
    markEdited();
}

// ---- Command enabling ----

DocumentBrowser::Validation DocumentBrowser::validateUserInterfaceItem(const QString& action) const {
    // A lock that is decided but not yet carried out counts as done.
    const bool a = doc_.isDecrypted() && !doc_.isLockPending();
    const bool b = a && records_.canRemove();
    const bool c = a && doc_.myArray.count() > 0;
    const bool d = a && !doc_.fileURL.isEmpty();
    static const QStringList condB{QStringLiteral("copyEmail:"),   QStringLiteral("copyPassword:"),
                                   QStringLiteral("copyPin:"),     QStringLiteral("copySecurity:"),
                                   QStringLiteral("copyUrl:"),     QStringLiteral("copyAccount:"),
                                   QStringLiteral("copyUserID:"),  QStringLiteral("openUrl:"),
                                   QStringLiteral("duplicateRow:"), QStringLiteral("deleteRow:"),
                                   QStringLiteral("pushAndPull:")};
    static const QStringList condA{QStringLiteral("toggleCollapseExpandMainView:"),
                                   QStringLiteral("importFromTextFile:"),
                                   QStringLiteral("addRow:"),
                                   QStringLiteral("makeToolbarSearchFieldFirstResponder:"),
                                   QStringLiteral("editCategoriesSheet:"),
                                   QStringLiteral("emailListSheet:"),
                                   QStringLiteral("showPasswordMaker:")};
    if (action == QLatin1String("lockDocument:")) return {d, std::nullopt};
    if (condA.contains(action)) return {a, std::nullopt};
    if (condB.contains(action)) return {b, std::nullopt};
    if (action == QLatin1String("exportToTextFile:")) return {c, std::nullopt};
    if (action == QLatin1String("showPasswordsInTable:")) return {c, myShowPasswordInTable.toBool()};
    if (action == QLatin1String("editContentToggle:")) return {c, doc_.isEditable};
    for (const auto& [command, column] : kColumnCommands)
        if (action == QLatin1String(command)) {
            // Enabled as the base document decides (any action it has); checked even while locked.
            return {doc_.validateUserInterfaceItem(action).value_or(true), !columns_.isHidden(QLatin1String(column))};
        }
    return {doc_.validateUserInterfaceItem(action).value_or(true), std::nullopt};
}

bool DocumentBrowser::deleteRowShouldBeEnabled(const Sender&) const {
    return records_.canRemove() && doc_.isDecrypted();
}

}  // namespace qv
