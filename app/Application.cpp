#include "Application.h"

#include "DocumentWindow.h"

#include "foundation/ZKAppSupportUtility.h"
#include "GuiValueTransformers.h"
#include "shell/ZKValueTransformers.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QHeaderView>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QSettings>
#include <QStandardPaths>
#include <QTableView>
#include <QTimer>
#include <QWindow>

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
    registerGuiValueTransformers();
    ZKPhoneHome& home = ZKPhoneHome::sharedPhoneHome();
    home.SetValueAppRelease(kReleaseNumber, QStringLiteral("Quorvane"), updates::mirror(*defaults_, 1),
                            updates::mirror(*defaults_, 2), updates::mirror(*defaults_, 3), updates::mirror(*defaults_, 4));
    home.setServices({defaults_.get(), &feedFetcher_, &workspace_, [this](const Alert& a) { return runModal(a); },
                      [this] { ZKAppSupportUtility::visitUs(workspace_); }, {}});
    delegate_.setServices({defaults_.get(), this, &workspace_, &home,
                           QStringLiteral(":/guide/%1.pdf").arg(delegate_.getUserGuideName()),
                           QStandardPaths::writableLocation(QStandardPaths::AppDataLocation)});
    connect(&documents_, &DocumentController::documentAdded, this, [this](DocumentWindow* w) {
        delegate_.documentIsOpening = 1;
        addApplicationCommands(w);
        applyTablePreferences(w);
        if (welcome_) welcome_->hide();
    });
    // Closing the last document leaves the start window with New and Open, as a document-based
    // program does; Quit ends the program. The window is gone by the time this runs, so the start
    // window comes after the current event.
    connect(&documents_, &DocumentController::documentRemoved, this, [this] {
        QTimer::singleShot(0, this, [this] {
            if (!quitting_) showWelcomeIfNothingOpen();
        });
    });
    quitProgram = [] { QCoreApplication::quit(); };
    handOverRetry_.setInterval(150);
    connect(&handOverRetry_, &QTimer::timeout, this, &Application::deliverHandedOverFiles);
    delegate_.adjustBeforeFinishingLaunching(*defaults_);
    delegate_.buildUpFontMenuAndBindProgrammatically(QFontDatabase::families());
    if (auto* gui = qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        // Every window of the program carries its icon, and the window manager gets it too.
        QGuiApplication::setWindowIcon(programIcon());
        QGuiApplication::setQuitOnLastWindowClosed(false);
        // The open preferences follow the user from document window to document window.
        connect(gui, &QGuiApplication::focusWindowChanged, this, [this](QWindow* focus) {
            if (!focus || !preferences_ || !preferences_->isVisible()) return;
            for (QWidget* w : QApplication::topLevelWidgets())
                if (w->windowHandle() == focus && (qobject_cast<DocumentWindow*>(w) || qobject_cast<MainWindow*>(w)))
                    preferences_->keepAbove(w);
        });
        connect(gui, &QGuiApplication::applicationStateChanged, this, [this](Qt::ApplicationState state) {
            if (state == Qt::ApplicationActive) applicationDidBecomeActive();
            else if (state == Qt::ApplicationInactive) applicationDidResignActive();
        });
    }
    // Read once at launch: a change in a running program takes effect at the next start.
    documents_.setAutosavingDelay(double(defaults_->integerForKey(prefs::autosavingDelay)));
}

Application::~Application() {
    // The shared update checker outlives this object; it must not call back into it.
    ZKPhoneHome::sharedPhoneHome().setServices({});
    delegate_.startupDocStateChanged = nullptr;
}

void Application::applicationDidFinishLaunching() {
    delegate_.executeDocumentStartupAsInPref();
    ZKPhoneHome::sharedPhoneHome().startupProcedure();
    delegate_.finishedLaunching = 1;
}

QIcon Application::programIcon() {
    initResources();
    QIcon icon;
    for (int size : {16, 32, 48, 64, 128, 256})
        icon.addFile(QStringLiteral(":/icons/quorvane-%1.png").arg(size), QSize(size, size));
    return icon;
}

void Application::showWelcomeIfNothingOpen() {
    if (hasDocuments()) return;
    if (!welcome_) {
        welcome_ = std::make_unique<MainWindow>(&documents_);
        addApplicationCommands(welcome_.get());
        // Closed by the user with nothing else open, it ends the program: no window would be left.
        connect(welcome_.get(), &MainWindow::closedByUser, this, [this] {
            if (!quitting_ && !hasDocuments() && quitProgram) quitProgram();
        });
    }
    if (!welcome_->isVisible()) {
        if (const QScreen* s = welcome_->screen() ? welcome_->screen() : QGuiApplication::primaryScreen()) {
            QRect g = welcome_->frameGeometry();
            g.moveCenter(s->availableGeometry().center());
            welcome_->move(g.topLeft());
        }
    }
    welcome_->show();
    welcome_->raise();
    welcome_->activateWindow();
}

void Application::quit() {
    quitting_ = true;
    // Every window closes; a document with unsaved changes asks first, and Cancel there keeps
    // the program running.
    QApplication::closeAllWindows();
    bool cancelled = false;
    for (DocumentWindow* w : documents_.documents())
        if (w->isVisible()) cancelled = true;
    if (cancelled) {
        quitting_ = false;
        return;
    }
    if (quitProgram) quitProgram();
}

void Application::openHandedOverFiles(const QStringList& files) {
    handedOver_ += files;
    handOverWaiting_ = true;
    deliverHandedOverFiles();
}

void Application::deliverHandedOverFiles() {
    // An alert or sheet waits for its answer: a document opened now would land behind it, or
    // be lost with the alert's own event loop.
    if (QApplication::activeModalWidget()) {
        if (!handOverRetry_.isActive()) handOverRetry_.start();
        return;
    }
    handOverRetry_.stop();
    const QStringList files = std::exchange(handedOver_, {});
    handOverWaiting_ = false;
    QWidget* front = nullptr;
    for (const QString& f : files)
        if (DocumentWindow* w = documents_.openDocument(f)) front = w;
    // With no new document (none given, or none opened) the program itself comes forward.
    if (!front) front = QApplication::activeWindow();
    if (!front && hasDocuments()) front = documents_.documents().back();
    if (!front) {
        showWelcomeIfNothingOpen();
        front = welcome_.get();
    }
    if (!front) return;
    front->show();
    if (front->isMinimized()) front->showNormal();
    front->raise();
    front->activateWindow();
}

PreferencesWindow& Application::preferences() {
    if (!preferences_) {
        preferences_ = std::make_unique<PreferencesWindow>(*defaults_, delegate_);
        connect(preferences_.get(), &PreferencesWindow::preferenceChanged, this, &Application::preferenceChanged);
    }
    return *preferences_;
}

void Application::addApplicationCommands(QMainWindow* window) {
    // Quit ends the program, whichever window it is chosen in. Closing the windows alone would
    // leave the start window, which stays when the last document is closed.
    for (QAction* quit : window->findChildren<QAction*>(QStringLiteral("quit"))) {
        disconnect(quit, &QAction::triggered, nullptr, nullptr);
        connect(quit, &QAction::triggered, this, &Application::quit);
    }
    const QList<QAction*> menus = window->menuBar()->actions();
    QMenu* app = menus.isEmpty() ? nullptr : menus.first()->menu();
    if (!app) return;
    for (QAction* a : app->actions()) {
        if (a->text() != ZKAppDelegateBase::softwareUpdateMenuTitle()) continue;
        connect(a, &QAction::triggered, this, [this] { delegate_.checkForLastReleaseAvailable(Sender{}); });
        auto* prefsItem = new QAction(QStringLiteral("Preferences\u2026"), app);
        prefsItem->setObjectName(QStringLiteral("openPreferences:"));
        prefsItem->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Comma));
        prefsItem->setMenuRole(QAction::PreferencesRole);
        connect(prefsItem, &QAction::triggered, this, [this] { openPreferences(); });
        const int at = int(app->actions().indexOf(a));
        QAction* before = app->actions().value(at + 1);
        app->insertSeparator(before);
        app->insertAction(before, prefsItem);
        break;
    }
    QMenu* help = window->menuBar()->addMenu(QStringLiteral("Help"));
    help->setObjectName(QStringLiteral("myHelpMenu"));
    QAction* guide = help->addAction(delegate_.getUserGuideName());
    guide->setObjectName(QStringLiteral("openUserGuide:"));
    guide->setShortcut(QKeySequence::HelpContents);
    connect(guide, &QAction::triggered, this, [this] { delegate_.openUserGuide(Sender{}); });
    help->addSeparator();
    connect(help->addAction(QStringLiteral("Quorvane Web Page")), &QAction::triggered, this,
            [this] { ZKAppSupportUtility::visitAppUrl(workspace_); });
    connect(help->addAction(QStringLiteral("Zenmorrow Web Site")), &QAction::triggered, this,
            [this] { ZKAppSupportUtility::visitUs(workspace_); });
    connect(help->addAction(QStringLiteral("Zenmorrow on Social Media")), &QAction::triggered, this,
            [this] { ZKAppSupportUtility::visitTwitter(workspace_); });
    connect(help->addAction(QStringLiteral("Support Request by E-mail\u2026")), &QAction::triggered, this,
            [this] { ZKAppSupportUtility::emailUs(workspace_, delegate_.releaseString); });
}

void Application::applyTablePreferences(DocumentWindow* w) {
    if (QTableView* table = w->recordTable()) {
        QFont font = table->font();
        const QString family = defaults_->stringForKey(prefs::tableFontFamily);
        if (!family.isEmpty()) font.setFamily(family);
        const double size = defaults_->doubleForKey(prefs::tableFontSize);
        if (size > 0) font.setPointSizeF(size);
        font.setBold(defaults_->boolForKey(prefs::tableFontBold));
        font.setItalic(defaults_->boolForKey(prefs::tableFontItalic));
        table->setFont(font);
        // Row height follows the size through the same transformer as the layout always used,
        // never lower than the font needs on this desktop.
        const int height = ValueTransformers::transform(QStringLiteral("heightAmplifier"), font.pointSizeF()).toInt();
        table->verticalHeader()->setDefaultSectionSize(std::max(height, QFontMetrics(font).height() + 4));
    }
    w->browser().tableSortCompare = defaults_->integerForKey(prefs::tableSortCompare);
}

void Application::preferenceChanged(const QString& key) {
    if (key.startsWith(QLatin1String("tableFont"))) {
        for (DocumentWindow* w : documents_.documents()) applyTablePreferences(w);
    } else if (key == prefs::tableSortCompare) {
        // Every open document, a locked one too, sorts again by its remembered column with the
        // new comparison.
        for (DocumentWindow* w : documents_.documents()) {
            applyTablePreferences(w);
            const MyDocument& doc = w->document();
            if (!doc.latestOrderedColumn.toString().isEmpty())
                w->browser().orderByColumnWithidentifier(doc.latestOrderedColumn.toString(),
                                                         doc.latestOrderedColumnAscending);
        }
    } else if (key == prefs::lockDocumentsWhenSessionLocks) {
        // Turned on with documents already open: start listening now, not at the next opening.
        documents_.applyLockWhenSessionLocks();
    }
}

void Application::newDocument() { documents_.newDocument(); }

void Application::openDocument() {
    documents_.openDocumentWithPanel(QApplication::activeWindow());
    showWelcomeIfNothingOpen();
}

void Application::openDocumentWithContentsOfURL(const QString& path, std::function<void()> completion) {
    documents_.openDocument(path);
    if (completion) completion();
    showWelcomeIfNothingOpen();
}

int Application::runModal(const Alert& alert) {
    QMessageBox box(QApplication::activeWindow());
    box.setWindowModality(Qt::ApplicationModal);
    box.setWindowTitle(QStringLiteral("Quorvane"));
    box.setIcon(QMessageBox::Warning);
    box.setText(alert.messageText);
    box.setInformativeText(alert.informativeText);
    const QStringList titles = alert.buttons.isEmpty() ? QStringList{QStringLiteral("OK")} : alert.buttons;
    std::vector<QAbstractButton*> buttons;
    for (const QString& t : titles)
        buttons.push_back(box.addButton(t, buttons.empty() ? QMessageBox::AcceptRole : QMessageBox::RejectRole));
    box.setDefaultButton(qobject_cast<QPushButton*>(buttons.front()));
    box.setEscapeButton(buttons.back());
    box.exec();
    for (size_t i = 0; i < buttons.size(); ++i)
        if (box.clickedButton() == buttons[i]) return kAlertFirstButtonReturn + int(i);
    return kAlertFirstButtonReturn + int(buttons.size()) - 1;
}

void Application::openPreferences() { preferences().openPreferences(); }

std::optional<QString> Application::runOpenPanelOnPreferences(const FilePanelOptions& options) {
    QFileDialog panel(&preferences(), options.title, options.directory.isEmpty() ? QDir::homePath() : options.directory);
    panel.setWindowModality(Qt::WindowModal);
    panel.setFileMode(QFileDialog::ExistingFile);
    if (!options.prompt.isEmpty()) panel.setLabelText(QFileDialog::Accept, options.prompt);
    QStringList patterns;
    for (const QString& e : options.allowedExtensions)
        if (!e.isEmpty()) patterns << QStringLiteral("*.") + e;
    if (!patterns.isEmpty()) panel.setNameFilter(QStringLiteral("Quorvane documents (%1)").arg(patterns.join(QLatin1Char(' '))));
    if (panel.exec() != QDialog::Accepted || panel.selectedFiles().isEmpty()) return std::nullopt;
    return panel.selectedFiles().last();
}

void Application::scheduleTimer(double seconds, std::function<void()> fire) {
    QTimer::singleShot(int(seconds * 1000), this, [fire = std::move(fire)] { fire(); });
}

void Application::postToMainQueue(std::function<void()> step) { MainQueue::post(std::move(step)); }

PasswordMakerWindow& Application::passwordMaker() {
    if (!passwordMaker_) passwordMaker_ = std::make_unique<PasswordMakerWindow>(delegate_, *defaults_, pasteboard_);
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
