#include "foundation/UndoManager.h"

#include <QStringList>

#include <gtest/gtest.h>

using qv::UndoManager;

namespace {

// A list with add and remove primitives that register each other, the way the document's record
// primitives do.
struct List {
    UndoManager undo;
    QStringList items;

    void add(const QString& s) {
        undo.registerUndo([this, s] { remove(s); });
        undo.setActionName(QStringLiteral("Add Record"));
        items.append(s);
    }
    void remove(const QString& s) {
        undo.registerUndo([this, s] { add(s); });
        undo.setActionName(QStringLiteral("Add Record"));
        items.removeOne(s);
    }
};

}  // namespace

TEST(UndoManager, PartnersUndoAndRedoEachOtherUntilANewEdit) {
    List l;
    l.add(QStringLiteral("a"));
    l.add(QStringLiteral("b"));
    EXPECT_EQ(l.undo.undoMenuItemTitle(), QStringLiteral("Undo Add Record"));
    l.undo.undo();
    EXPECT_EQ(l.items, QStringList{QStringLiteral("a")});
    EXPECT_TRUE(l.undo.canRedo());
    EXPECT_EQ(l.undo.redoMenuItemTitle(), QStringLiteral("Redo Add Record"));
    l.undo.redo();
    EXPECT_EQ(l.items, (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
    // Redo registered the partner on the undo stack again, without losing the older step.
    l.undo.undo();
    l.undo.undo();
    EXPECT_TRUE(l.items.isEmpty());
    EXPECT_FALSE(l.undo.canUndo());
    l.undo.redo();
    l.undo.redo();
    EXPECT_EQ(l.items.size(), 2);
    // A new edit clears redo.
    l.undo.undo();
    ASSERT_TRUE(l.undo.canRedo());
    l.add(QStringLiteral("c"));
    EXPECT_FALSE(l.undo.canRedo());
}

TEST(UndoManager, GroupsUndoAsOneStepInReverseOrderAndDisabledRegistrationIsDropped) {
    UndoManager u;
    QStringList log;
    u.beginUndoGrouping();
    u.registerUndo([&] { log << QStringLiteral("first"); });
    u.registerUndo([&] { log << QStringLiteral("second"); });
    u.setActionName(QStringLiteral("Import"));
    u.endUndoGrouping();
    u.registerUndo([&] { log << QStringLiteral("alone"); });
    u.undo();
    EXPECT_EQ(log, QStringList{QStringLiteral("alone")});
    EXPECT_EQ(u.undoActionName(), QStringLiteral("Import"));
    u.undo();
    EXPECT_EQ(log, (QStringList{QStringLiteral("alone"), QStringLiteral("second"), QStringLiteral("first")}));
    EXPECT_FALSE(u.canUndo());
    EXPECT_EQ(u.undoMenuItemTitle(), QStringLiteral("Undo"));

    // Registration while disabled is dropped.
    u.disableUndoRegistration();
    u.registerUndo([] {});
    EXPECT_FALSE(u.canUndo());
    u.enableUndoRegistration();
    u.registerUndo([] {});
    EXPECT_TRUE(u.canUndo());
    u.removeAllActions();
    EXPECT_FALSE(u.canUndo());
}
