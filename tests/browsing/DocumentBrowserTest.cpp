#include "browsing/DocumentBrowser.h"
#include "document/DocumentKeys.h"
#include "document/RecordModel.h"

#include "support/Fakes.h"
#include "support/ManualQueue.h"

#include <gtest/gtest.h>

using namespace qv;

namespace {

// An open document with categories Bank and Home and three records, in a fake window.
struct Open {
    test::FakeDocumentWindowUi window;
    test::FakeRecordBrowserUi ui;
    test::ManualQueue queue;
    MyDocument doc;
    std::unique_ptr<DocumentBrowser> browser;
    double clock = 1000;

    Open() {
        doc.setUi(&window);
        doc.postToMainQueue = queue.poster();
        doc.prepareNewDocument();
        doc.myCategoryArray = Array{Value(RecordModel::newCategory(QStringLiteral("Bank"), 1)),
                                    Value(RecordModel::newCategory(QStringLiteral("Home"), 2))};
        auto add = [&](const char* name, const char* note, int category) {
            Dictionary r = RecordModel::newRecord(0);
            r.set(keys::name, Value(name));
            r.set(keys::note, Value(note));
            r.set(keys::categoryPtr, doc.myCategoryArray.at(category));
            doc.myArray.append(Value(r));
        };
        add("Savings", "", 0);
        add("Mail", "my secret word", 1);
        add("Checking", "", 0);
        doc.fileURL = QStringLiteral("/tmp/doc.qvane");
        browser = std::make_unique<DocumentBrowser>(doc);
        browser->setUi(&ui);
        browser->setClock([this] { return clock; });
        doc.updateChangeCount(ZKCryptoDoc::kChangeCleared);
    }
    QStringList arrangedNames() {
        QStringList names;
        for (const Value& r : browser->myArrayController().arrangedObjects())
            names << r.toDictionary().value(keys::name).toString();
        return names;
    }
};

}  // namespace

TEST(Filter, CategoryAndSearchCombineAndTheStripFollows) {
    Open o;
    o.browser->categoryString = QStringLiteral("Bank");
    o.browser->setFilterPredicate();
    EXPECT_EQ(o.arrangedNames(), (QStringList{QStringLiteral("Savings"), QStringLiteral("Checking")}));
    EXPECT_EQ(o.browser->usedFilterDisplay, QStringLiteral(" category = 'Bank'"));
    EXPECT_TRUE(o.ui.filterPaneVisible);
    o.browser->searchString = QStringLiteral("SECRET");
    o.browser->setFilterPredicate();
    EXPECT_TRUE(o.arrangedNames().isEmpty());
    o.browser->showAllCategory();
    EXPECT_EQ(o.arrangedNames(), QStringList{QStringLiteral("Mail")});  // the search survives
    EXPECT_EQ(o.ui.filterPaneChanges, 1);                               // shown once, never hidden yet
    o.ui.popupIndex = 3;
    o.browser->ResetFilterPredicate();
    EXPECT_EQ(o.ui.popupIndex, 3);  // the reset alone leaves the pop-up where it was
    EXPECT_EQ(o.arrangedNames().size(), 3);
    EXPECT_FALSE(o.ui.filterPaneVisible);
    EXPECT_FALSE(o.doc.isDocumentEdited());
}

TEST(Editing, AddDuplicateDeleteWithUndoAndRedo) {
    Open o;
    o.browser->myArrayController().setSelectionIndex(1);  // Mail, in Home
    o.browser->addRow();
    EXPECT_EQ(o.doc.myArray.count(), 4);
    const Dictionary added = o.doc.myArray.at(3).toDictionary();
    EXPECT_EQ(added.value(keys::categoryPtr).toDictionary().value(keys::cat_category).toString(),
              QStringLiteral("Home"));
    EXPECT_TRUE(o.doc.isEditable);
    EXPECT_TRUE(o.doc.isDocumentEdited());
    EXPECT_EQ(o.browser->undoManager().undoMenuItemTitle(), QStringLiteral("Undo Add Record"));
    o.queue.run();
    EXPECT_EQ(o.ui.nameFieldFocus, 1);

    o.browser->undoManager().undo();
    EXPECT_EQ(o.doc.myArray.count(), 3);
    o.browser->undoManager().redo();
    EXPECT_EQ(o.doc.myArray.count(), 4);

    // Duplicate goes behind the selection.
    o.browser->myArrayController().setSelectionIndex(0);
    o.browser->duplicateRow();
    EXPECT_EQ(o.doc.myArray.at(1).toDictionary().value(keys::name).toString(), QStringLiteral("Savings"));
    EXPECT_EQ(o.browser->undoManager().undoActionName(), QStringLiteral("Duplicate Record"));

    // Delete asks; undo puts the record back last in the content.
    o.browser->myArrayController().setSelectionIndex(0);
    o.window.answers = {kAlertFirstButtonReturn};
    o.browser->deleteRow();
    EXPECT_EQ(o.window.alerts.back().messageText, QStringLiteral("Delete Selected Row?"));
    EXPECT_EQ(o.doc.myArray.count(), 4);
    o.browser->undoManager().undo();
    EXPECT_EQ(o.doc.myArray.at(4).toDictionary().value(keys::name).toString(), QStringLiteral("Savings"));
    const Dictionary bank = o.doc.myCategoryArray.at(0).toDictionary();
    EXPECT_TRUE(bank.value(keys::records).toArray().indexOfIdentical(o.doc.myArray.at(4)) >= 0);
}

TEST(Editing, EmailsAndModificationDates) {
    Open o;
    o.browser->newEmailInEmailList();
    EXPECT_EQ(o.doc.emailArray.count(), 1);
    EXPECT_EQ(o.browser->undoManager().undoActionName(), QStringLiteral("Add Email"));
    o.browser->myEmailArrayController().setSelectionIndex(0);
    o.browser->deleteEmailInEmailList();
    EXPECT_EQ(o.doc.emailArray.count(), 0);
    EXPECT_EQ(o.browser->undoManager().undoActionName(), QStringLiteral("Delete Email"));
    o.browser->undoManager().undo();
    EXPECT_EQ(o.doc.emailArray.count(), 1);

    o.browser->myArrayController().setSelectionIndex(2);
    o.clock = 5000;
    o.browser->recordEdited(Sender{0, {}, QStringLiteral("me@x"), -1}, true);
    EXPECT_EQ(o.browser->lengthOfEmailField, 4);
    EXPECT_NE(o.doc.myArray.at(2).toDictionary().value(keys::modificationDate).toDate(), 5000.0);  // deferred
    o.queue.run();
    EXPECT_EQ(o.doc.myArray.at(2).toDictionary().value(keys::modificationDate).toDate(), 5000.0);
}

TEST(Sorting, RememberedColumnAndThePreference) {
    Open o;
    o.browser->tableSortCompare = 0;
    o.browser->orderByColumnWithidentifier(QStringLiteral("name"), false);
    EXPECT_EQ(o.arrangedNames(),
              (QStringList{QStringLiteral("Savings"), QStringLiteral("Mail"), QStringLiteral("Checking")}));
    EXPECT_TRUE(o.doc.isDocumentEdited());
    o.browser->orderByColumnWithidentifier(QStringLiteral("category"), true);
    EXPECT_EQ(o.arrangedNames().first(), QStringLiteral("Savings"));  // Bank first, stable
    // A header click sorts as shown but remembers the column ascending, and marks nothing.
    o.doc.updateChangeCount(ZKCryptoDoc::kChangeCleared);
    o.browser->tableViewDidClickTableColumn(QStringLiteral("url"), false);
    EXPECT_EQ(o.doc.latestOrderedColumn.toString(), QStringLiteral("url"));
    EXPECT_TRUE(o.doc.latestOrderedColumnAscending);
    EXPECT_FALSE(o.doc.isDocumentEdited());
}

TEST(Sorting, CreatedHeaderSortsByCreationDateTheRememberedSortDoesNot) {
    Open o;
    const double created[] = {3000, 1000, 2000};  // Savings, Mail, Checking
    for (int i = 0; i < 3; ++i) o.doc.myArray.at(i).toDictionary().set(keys::creationDate, Value::date(created[i]));
    o.browser->tableViewDidClickTableColumn(QStringLiteral("createdDate"), true);
    EXPECT_EQ(o.arrangedNames(),
              (QStringList{QStringLiteral("Mail"), QStringLiteral("Checking"), QStringLiteral("Savings")}));
    o.browser->tableViewDidClickTableColumn(QStringLiteral("createdDate"), false);
    EXPECT_EQ(o.arrangedNames().first(), QStringLiteral("Savings"));
    EXPECT_EQ(o.doc.latestOrderedColumn.toString(), QStringLiteral("createdDate"));
    // Restoring that column at opening sorts on its identifier, which no record holds.
    o.browser->orderByColumnWithidentifier(QStringLiteral("createdDate"), true);
    EXPECT_EQ(o.arrangedNames(), (QStringList{QStringLiteral("Savings"), QStringLiteral("Mail"), QStringLiteral("Checking")}));
}

TEST(Categories, RemovedCategoryKeepsItsRecordsAndMenuFollows) {
    Open o;
    o.browser->synkCategorySubMenu();
    EXPECT_EQ(o.ui.popupTitles, (QStringList{QStringLiteral("Bank"), QStringLiteral("Home")}));
    o.browser->addNewCategory();
    o.queue.run();
    EXPECT_EQ(o.ui.popupTitles.last(), QStringLiteral("Generic"));
    EXPECT_TRUE(o.doc.isDocumentEdited());

    o.doc.updateChangeCount(ZKCryptoDoc::kChangeCleared);
    o.browser->myCategoryArrayController().setSelectionIndex(1);  // Home
    o.browser->removeCategory();
    o.queue.run();
    EXPECT_FALSE(o.doc.isDocumentEdited());
    EXPECT_EQ(o.ui.popupTitles, (QStringList{QStringLiteral("Bank"), QStringLiteral("Generic")}));
    // Mail keeps its removed category and still matches a filter on its name.
    o.browser->categoryString = QStringLiteral("Home");
    o.browser->setFilterPredicate();
    EXPECT_EQ(o.arrangedNames(), QStringList{QStringLiteral("Mail")});

    // The chooser moves the selected record to another category.
    o.browser->showAllAndResetFilter();
    o.browser->myArrayController().setSelectionIndex(1);
    o.browser->categoryWasSet(0);
    EXPECT_EQ(o.doc.myArray.at(1).toDictionary().valueForKeyPath(QStringLiteral("categoryPtr.cat_category")).toString(),
              QStringLiteral("Bank"));
}

TEST(CommandTable, ConditionsAndCheckMarks) {
    Open o;
    o.browser->myArrayController().setSelectionIndexes({});
    auto v = [&](const char* action) { return o.browser->validateUserInterfaceItem(QLatin1String(action)); };
    EXPECT_FALSE(v("copyPassword:").enabled);  // B needs a selection
    EXPECT_TRUE(v("copyName:").enabled);       // not in the table: always
    EXPECT_TRUE(v("addRow:").enabled);
    EXPECT_TRUE(v("lockDocument:").enabled);   // D: decrypted with a file
    // A filter that hides every record leaves export enabled: C counts the whole table.
    o.browser->searchString = QStringLiteral("nothing matches this");
    o.browser->setFilterPredicate();
    EXPECT_TRUE(v("exportToTextFile:").enabled);
    const auto show = v("showPasswordsInTable:");
    ASSERT_TRUE(show.checked.has_value());
    EXPECT_FALSE(*show.checked);
    o.browser->showPasswordsInTable();
    EXPECT_TRUE(*v("showPasswordsInTable:").checked);
    EXPECT_TRUE(*v("switchColumnVisibilityCategory:").checked);
    EXPECT_FALSE(*v("switchColumnVisibilityPassword:").checked);

    o.doc.doLockDocument();
    EXPECT_FALSE(v("addRow:").enabled);
    EXPECT_FALSE(v("saveDocument:").enabled);
    EXPECT_TRUE(v("copyName:").enabled);  // stays enabled while locked, as designed
    EXPECT_TRUE(v("switchColumnVisibilityCategory:").checked.value());  // marks shown while locked
    o.doc.fileURL.clear();
    EXPECT_FALSE(v("lockDocument:").enabled);
}

TEST(CommandTable, DeleteRowShouldBeEnabledAnswersAsTheTable) {
    Open o;
    auto agree = [&](bool expected) {
        EXPECT_EQ(o.browser->validateUserInterfaceItem(QStringLiteral("deleteRow:")).enabled, expected);
        EXPECT_EQ(o.browser->deleteRowShouldBeEnabled(), expected);
    };
    o.browser->myArrayController().setSelectionIndexes({});
    agree(false);
    o.browser->myArrayController().setSelectionIndex(1);
    agree(true);
    o.doc.doLockDocument();
    agree(false);
}

TEST(Columns, PresetsMarkCustomSettingsDoNot) {
    Open o;
    o.browser->setColumnVisibilityPreset(QStringLiteral("setColumnVisibilityAll:"));
    EXPECT_TRUE(o.doc.isDocumentEdited());
    o.doc.updateChangeCount(ZKCryptoDoc::kChangeCleared);
    o.browser->setCurrentToCustomTableSettings();  // nothing stored yet: nothing happens
    EXPECT_FALSE(o.browser->columns().isHidden(QStringLiteral("password")));
    o.browser->defineCustomTableSettingsToCurrent();
    EXPECT_FALSE(o.doc.isDocumentEdited());
    o.browser->switchColumnVisibility(QStringLiteral("password"));
    EXPECT_TRUE(o.browser->columns().isHidden(QStringLiteral("password")));
    o.browser->setCurrentToCustomTableSettings();
    EXPECT_FALSE(o.browser->columns().isHidden(QStringLiteral("password")));
}
