#include "MainWindow.h"

#include <QMenuBar>

#include <gtest/gtest.h>

using qv::app::MainWindow;

TEST(MainWindow, FirstMenuIsTheApplicationMenu) {
    MainWindow w;
    w.show();
    const QList<QAction*> menus = w.menuBar()->actions();
    ASSERT_FALSE(menus.isEmpty());
    EXPECT_EQ(menus.first()->text(), QStringLiteral("Quorvane"));
    QStringList items;
    for (QAction* a : w.applicationMenu()->actions())
        if (!a->isSeparator()) items << a->text();
    EXPECT_TRUE(items.contains(QStringLiteral("Quit Quorvane")));
    EXPECT_EQ(w.applicationMenu()->actions().value(1)->text(), QStringLiteral("Software Update\u2026"));
    EXPECT_EQ(w.windowTitle(), QStringLiteral("Quorvane"));
    EXPECT_GE(w.minimumWidth(), 400);
}
