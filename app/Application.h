#pragma once

// The running program: preferences, the application delegate, the open documents, and the
// automatic lock that follows the application into the background and back.

#include "DocumentController.h"
#include "MainWindow.h"
#include "NetworkFeedFetcher.h"
#include "PasswordMakerWindow.h"
#include "PlatformServices.h"
#include "PreferencesWindow.h"

#include "passwordtools/PushAndPull.h"
#include "shell/ZKUrlResolutor.h"

#include "document/AutomaticLockTimer.h"
#include "foundation/MainQueue.h"
#include "foundation/UserDefaults.h"
#include "shell/ApplicationUi.h"
#include "shell/MyAppDelegate.h"
#include "shell/ZKPhoneHome.h"

#include <QIcon>
#include <QObject>
#include <QStringList>
#include <QTimer>

#include <memory>

namespace qv::app {

class Application : public QObject, public ApplicationUi {
    Q_OBJECT
public:
    // `settings` may be null: the user's INI file under the XDG config folder is used.
    explicit Application(std::unique_ptr<UserDefaults> settings = nullptr);
    ~Application() override;

    // After the files given at launch are open: the start-up document action and the daily
    // update check. Tests that build an Application don't call it, so they never go online.
    void applicationDidFinishLaunching();
    // Shows the window for no document when no document is open, so that the program never runs
    // without a window of its own.
    void showWelcomeIfNothingOpen();
    MainWindow* welcomeWindow() const { return welcome_.get(); }
    // Files a later launch handed over: opened, and the last one brought to the front and made
    // active. While a modal alert or sheet is up they wait, in order, until it has gone.
    void openHandedOverFiles(const QStringList& files);
    bool hasHandOverWaiting() const { return handOverWaiting_; }
    // Quit Quorvane: closes every window, each document asking about unsaved changes, and ends
    // the program unless one of them was kept open.
    void quit();
    // Ends the program; Quit and closing the start window with no document open call it. Tests
    // replace it.
    std::function<void()> quitProgram;

    // The program's icon in the sizes desktops ask for.
    static QIcon programIcon();
    PreferencesWindow& preferences();
    ZKPhoneHome& phoneHome() { return ZKPhoneHome::sharedPhoneHome(); }
    NetworkFeedFetcher& feedFetcher() { return feedFetcher_; }
    // The application menu's Preferences and Software Update, and the Help menu, in a window.
    void addApplicationCommands(QMainWindow* window);
    // The table font and sort comparison of the preferences, on one document or on all.
    void applyTablePreferences(class DocumentWindow* window);
    void preferenceChanged(const QString& key);

    // ApplicationUi
    bool hasDocuments() const override { return !documents_.documents().empty(); }
    void newDocument() override;
    void openDocument() override;
    void openDocumentWithContentsOfURL(const QString& path, std::function<void()> completion) override;
    int runModal(const Alert& alert) override;
    void openPreferences() override;
    std::optional<QString> runOpenPanelOnPreferences(const FilePanelOptions& options) override;
    void scheduleTimer(double seconds, std::function<void()> fire) override;
    void postToMainQueue(std::function<void()> step) override;

    UserDefaults& defaults() { return *defaults_; }
    MyAppDelegate& delegate() { return delegate_; }
    DocumentController& documents() { return documents_; }
    AutomaticLockTimer& lockTimer() { return lockTimer_; }
    PushAndPull& pushAndPull() { return pushAndPull_; }
    DesktopWorkspace& workspace() { return workspace_; }
    TrayStatusItem& statusItem() { return statusItem_; }
    PasswordMakerWindow& passwordMaker();

    void applicationDidResignActive();
    void applicationDidBecomeActive();
    // What the timer does when it runs out: every open document, in order, locks if it can.
    void AutomaticLockAllOpenedDocuments();

private:
    std::unique_ptr<UserDefaults> defaults_;
    MyAppDelegate delegate_;
    DocumentController documents_;
    SingleShotTimer timer_;
    AutomaticLockTimer lockTimer_;
    ClipboardPasteboard pasteboard_;
    TrayStatusItem statusItem_;
    DesktopWorkspace workspace_;
    ZKUrlResolutor resolutor_{workspace_};
    SingleShotTimer pullTimer_;
    PushAndPull pushAndPull_;
    AppServices services_;
    std::unique_ptr<PasswordMakerWindow> passwordMaker_;
    NetworkFeedFetcher feedFetcher_;
    std::unique_ptr<PreferencesWindow> preferences_;
    std::unique_ptr<MainWindow> welcome_;
    QStringList handedOver_;
    bool handOverWaiting_ = false;
    bool quitting_ = false;
    QTimer handOverRetry_;
    void deliverHandedOverFiles();
};

}  // namespace qv::app
