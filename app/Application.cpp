#include "Application.h"

#include "DocumentWindow.h"

#include <QFontDatabase>
#include <QGuiApplication>
#include <QSettings>

// Images compiled into the program's library; a static library needs its resources pulled in.
static void initResources() { Q_INIT_RESOURCE(resources); }

namespace qv::app {

namespace {
std::unique_ptr<UserDefaults> userSettings() {
    return std::make_unique<SettingsUserDefaults>(
        std::make_unique<QSettings>(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("Quorvane"),
                                    QStringLiteral("Quorvane")));
}
}  // namespace

Application::Application(std::unique_ptr<UserDefaults> settings)
    : defaults_(settings ? std::move(settings) : userSettings()),
      lockTimer_([this](double seconds, std::function<void()> fire) { timer_.start(seconds, std::move(fire)); },
                 [this] { timer_.cancel(); },
                 [this] { AutomaticLockAllOpenedDocuments(); }),
      pushAndPull_(statusItem_, pasteboard_,
                   PushAndPull::Timer{[this](double s, std::function<void()> f) { pullTimer_.start(s, std::move(f)); },
                                      [this] { pullTimer_.cancel(); },
                                      [this] {
                                          // Firing now: the pending removal runs at once.
                                          if (pullTimer_.isActive()) {
                                              pullTimer_.cancel();
                                              pushAndPull_.timerFireMethod();
                                          }
                                      }},
                   [this] { return int(defaults_->integerForKey(prefs::disposePasswordIconAfter)); }) {
    initResources();
    services_.pasteboard = &pasteboard_;
    services_.defaults = defaults_.get();
    services_.resolutor = &resolutor_;
    services_.pushAndPull = &pushAndPull_;
    services_.showPasswordMaker = [this] { passwordMaker().showPasswordMaker(); };
    documents_.setServices(&services_);
    MyAppDelegate::initialize(*defaults_);
    delegate_.adjustBeforeFinishingLaunching(*defaults_);
    delegate_.buildUpFontMenuAndBindProgrammatically(QFontDatabase::families());
    if (auto* gui = qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        connect(gui, &QGuiApplication::applicationStateChanged, this, [this](Qt::ApplicationState state) {
            if (state == Qt::ApplicationActive) applicationDidBecomeActive();
            else if (state == Qt::ApplicationInactive) applicationDidResignActive();
        });
    }
    // Read once at launch: a change in a running program takes effect at the next start.
    documents_.setAutosavingDelay(double(defaults_->integerForKey(prefs::autosavingDelay)));
    delegate_.finishedLaunching = 1;
}

PasswordMakerWindow& Application::passwordMaker() {
    if (!passwordMaker_) passwordMaker_ = std::make_unique<PasswordMakerWindow>(delegate_, *defaults_);
    return *passwordMaker_;
}

void Application::applicationDidResignActive() {
    lockTimer_.applicationDidResignActive(defaults_->boolForKey(prefs::autolocBackgroundEnabled),
                                          int(defaults_->integerForKey(prefs::autolocBackgroundInterval)));
}

void Application::applicationDidBecomeActive() { lockTimer_.applicationDidBecomeActive(); }

void Application::AutomaticLockAllOpenedDocuments() {
    for (DocumentWindow* w : documents_.documents()) w->document().lockAutomatically();
}

}  // namespace qv::app
