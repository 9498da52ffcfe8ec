#pragma once

// The preferences window: a toolbar of six panes over a tab view. Choosing a pane shows its tab
// and gives the window that pane's height, the top edge held still. Every control writes its
// preference as soon as it changes.

#include "foundation/UserDefaults.h"
#include "shell/MyAppDelegate.h"

#include <QAction>
#include <QHash>
#include <QList>
#include <QMainWindow>
#include <QObject>

#include <functional>
#include <vector>

class QTabWidget;
class QToolBar;
class QLabel;
class QActionGroup;
class QPropertyAnimation;

namespace qv::app {

// The pane mechanism; a subclass names the panes.
class ZKPrefToolbarDelegate : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    QMainWindow* myWindow = nullptr;
    QTabWidget* myTabView = nullptr;
    QToolBar* toolbar = nullptr;
    QHash<QString, QAction*> items;  // stays empty
    QList<double> myHeightArray;

    virtual QList<double> heightArray() const { return {}; }
    virtual QStringList returnAllkeys() const { return {}; }
    // toolbar:itemForItemIdentifier:willBeInsertedIntoToolbar:
    virtual QAction* toolbarItemForItemIdentifier(const QString&, bool) { return nullptr; }

    void awakeFromNib();
    void AttachToWindow();
    QStringList toolbarDefaultItemIdentifiers() const { return returnAllkeys(); }
    QStringList toolbarAllowedItemIdentifiers() const { return returnAllkeys(); }
    QStringList toolbarSelectableItemIdentifiers() const { return returnAllkeys(); }
    void toolbaritemclicked() {}
    // The item's pane, or with none the first pane.
    void PanelAction(QAction* sender);
    void SetPanelTab(int index);

    // Room the title bar and the toolbar take, added to a pane's height.
    static constexpr int kFrameAllowance = 78;
    // A shown window slides to its new height; a hidden one, or any on the offscreen platform,
    // takes it at once. The final frame is the same either way.
    bool animatesResize = false;

private:
    void resizeToPane(int index);
    QPropertyAnimation* resizeAnimation_ = nullptr;
    QList<QAction*> toolbarItems() const;
    QActionGroup* group_ = nullptr;
};

class MyPrefToolbarDelegate : public ZKPrefToolbarDelegate {
    Q_OBJECT
public:
    using ZKPrefToolbarDelegate::ZKPrefToolbarDelegate;
    QList<double> heightArray() const override { return {215, 153, 150, 424, 140, 150}; }
    QStringList returnAllkeys() const override;
    QAction* toolbarItemForItemIdentifier(const QString& identifier, bool willBeInserted) override;
};

class PreferencesWindow : public QMainWindow {
    Q_OBJECT
public:
    PreferencesWindow(UserDefaults& defaults, MyAppDelegate& delegate, QWidget* parent = nullptr);

    ZKPrefToolbarDelegate& toolbarDelegate() { return *toolbarDelegate_; }
    QTabWidget* tabView() const { return tabs_; }

    // openPreferences:, openPreferencesAtSenderTagTab:, openPreferencesAtTab:
    void openPreferences();
    void openPreferencesAtTab(int index);
    void openPreferencesAtSenderTagTab(const Sender& sender) { openPreferencesAtTab(sender.tag); }
    // The window the preferences stay in front of: the desktop keeps a utility window above the
    // window it belongs to. Set to the active document window whenever that changes, so the
    // preferences never end up behind the window the user works in.
    void keepAbove(QWidget* window);

    // Every control shows what the preferences hold now.
    void reloadFromDefaults();
    // The registered defaults back, for every key that has one.
    void restoreDefaults();

Q_SIGNALS:
    void preferenceChanged(const QString& key);

protected:
    // Coming back to the window shows what changed meanwhile, such as the date of a check.
    void changeEvent(QEvent* event) override;

private:
    QWidget* buildGeneral();
    QWidget* buildFont();
    QWidget* buildPasswordCreate();
    QWidget* buildTiming();
    QWidget* buildAdvanced();
    QWidget* buildSoftwareUpdate();
    void set(const QString& key, const Value& value);
    void showStartupDocState();

    UserDefaults& defaults_;
    MyAppDelegate& delegate_;
    QTabWidget* tabs_ = nullptr;
    MyPrefToolbarDelegate* toolbarDelegate_ = nullptr;
    std::vector<std::function<void()>> reloaders_;
    bool loading_ = false;
    QLabel* startupDocLabel_ = nullptr;
    QLabel* lastCheckLabel_ = nullptr;
};

}  // namespace qv::app
