#pragma once

// The running program: preferences, the application delegate, the open documents, and the
// automatic lock that follows the application into the background and back.

#include "DocumentController.h"
#include "PasswordMakerWindow.h"
#include "PlatformServices.h"

#include "passwordtools/PushAndPull.h"
#include "shell/ZKUrlResolutor.h"

#include "crypto/AutomaticLockTimer.h"
#include "foundation/MainQueue.h"
#include "foundation/UserDefaults.h"
#include "shell/MyAppDelegate.h"

#include <QObject>

#include <memory>

namespace qv::app {

class Application : public QObject {
    Q_OBJECT
public:
    // `settings` may be null: the user's INI file under the XDG config folder is used.
    explicit Application(std::unique_ptr<UserDefaults> settings = nullptr);

    UserDefaults& defaults() { return *defaults_; }
    MyAppDelegate& delegate() { return delegate_; }
    DocumentController& documents() { return documents_; }
    AutomaticLockTimer& lockTimer() { return lockTimer_; }
    PushAndPull& pushAndPull() { return pushAndPull_; }
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
};

}  // namespace qv::app
