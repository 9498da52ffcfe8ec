#include "PlatformServices.h"

#include "crypto/SecretMemory.h"

#include <QDir>
#include <QFileDialog>

#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QFileInfo>
#include <QLabel>
#include <QMessageBox>
#include <QMimeDatabase>
#include <QProcess>
#include <QStandardPaths>
#include <QMimeData>
#include <QMouseEvent>
#include <QScreen>
#include <QSystemTrayIcon>
#include <QUrl>
#include <QVBoxLayout>

namespace qv::app {

ClipboardPasteboard::ClipboardPasteboard() {
    clearTimer_.setSingleShot(true);
    connect(&clearTimer_, &QTimer::timeout, this, &ClipboardPasteboard::clearIfStillCopied);
}

ClipboardPasteboard::~ClipboardPasteboard() { secrets::wipe(copied_); }

void ClipboardPasteboard::setString(const QString& text) {
    auto* mime = new QMimeData;
    mime->setText(text);
    mime->setData(kSecretHintType, QByteArrayLiteral("secret"));
    QGuiApplication::clipboard()->setMimeData(mime);
    secrets::wipe(copied_);
    clearTimer_.stop();
    const std::int64_t seconds = clearAfter_ ? clearAfter_() : 0;
    if (seconds <= 0) return;
    copied_ = text;
    clearTimer_.start(int(std::min<std::int64_t>(seconds, 24 * 3600)) * 1000);
}

void ClipboardPasteboard::clearIfStillCopied() {
    clearTimer_.stop();
    QClipboard* clipboard = QGuiApplication::clipboard();
    if (const QMimeData* now = clipboard->mimeData();
        now && now->hasText() && now->text() == copied_ && now->data(kSecretHintType) == "secret")
        clipboard->clear();
    secrets::wipe(copied_);
}

namespace {
const QString kScreenSaverPath = QStringLiteral("/org/freedesktop/ScreenSaver");
const QString kScreenSaverInterface = QStringLiteral("org.freedesktop.ScreenSaver");
const QString kGnomeScreenSaverPath = QStringLiteral("/org/gnome/ScreenSaver");
const QString kGnomeScreenSaverInterface = QStringLiteral("org.gnome.ScreenSaver");
const QString kLogin1 = QStringLiteral("org.freedesktop.login1");
const QString kLogin1Path = QStringLiteral("/org/freedesktop/login1");
const QString kLogin1Manager = QStringLiteral("org.freedesktop.login1.Manager");
const QString kLogin1Session = QStringLiteral("org.freedesktop.login1.Session");
}  // namespace

SessionLockWatcher::SessionLockWatcher(QObject* parent)
    : SessionLockWatcher(QDBusConnection::sessionBus(), QDBusConnection::systemBus(), parent) {}

SessionLockWatcher::SessionLockWatcher(QDBusConnection session, QDBusConnection system, QObject* parent)
    : QObject(parent) {
    // Whichever of these the desktop has; a missing bus or service just means fewer signals.
    if (session.isConnected()) {
        listening_ += session.connect(QString(), kScreenSaverPath, kScreenSaverInterface, QStringLiteral("ActiveChanged"),
                                      this, SLOT(screenSaverActiveChanged(bool)));
        // KDE sends it from a second path as well.
        listening_ += session.connect(QString(), QStringLiteral("/ScreenSaver"), kScreenSaverInterface,
                                      QStringLiteral("ActiveChanged"), this, SLOT(screenSaverActiveChanged(bool)));
        listening_ += session.connect(QString(), kGnomeScreenSaverPath, kGnomeScreenSaverInterface,
                                      QStringLiteral("ActiveChanged"), this, SLOT(screenSaverActiveChanged(bool)));
    }
    if (system.isConnected()) {
        listening_ += system.connect(QString(), kLogin1Path, kLogin1Manager, QStringLiteral("PrepareForSleep"), this,
                                     SLOT(prepareForSleep(bool)));
        // "loginctl lock-session" and the desktops that use it: sent by the session's own object,
        // whose path is not known in advance.
        listening_ += system.connect(QString(), QString(), kLogin1Session, QStringLiteral("Lock"), this, SLOT(lock()));
    }
}

void SessionLockWatcher::screenSaverActiveChanged(bool active) {
    if (active) Q_EMIT sessionLocking();
}

void SessionLockWatcher::prepareForSleep(bool sleeping) {
    if (sleeping) Q_EMIT sessionLocking();
}

void SessionLockWatcher::lock() { Q_EMIT sessionLocking(); }

namespace {

// The small window that stands for the tray icon: always on top, in the top right corner,
// one click does what a click on the icon does.
class StandInWindow : public QWidget {
public:
    StandInWindow(const QString& tip, std::function<void()> clicked)
        : QWidget(nullptr, Qt::Tool | Qt::WindowStaysOnTopHint | Qt::FramelessWindowHint), clicked_(std::move(clicked)) {
        setObjectName(QStringLiteral("pullPasswordStandIn"));
        setAttribute(Qt::WA_ShowWithoutActivating);
        setToolTip(tip);
        setStyleSheet(QStringLiteral("QWidget#pullPasswordStandIn { background: #f4f4f4; border: 1px solid #999; "
                                     "border-radius: 6px; } QLabel { padding: 2px 8px; }"));
        auto* l = new QVBoxLayout(this);
        l->setContentsMargins(6, 4, 6, 4);
        auto* icon = new QLabel(this);
        icon->setPixmap(QPixmap(QStringLiteral(":/images/pushpullblack.png")).scaled(20, 20, Qt::KeepAspectRatio, Qt::SmoothTransformation));
        icon->setAlignment(Qt::AlignCenter);
        l->addWidget(icon);
        auto* text = new QLabel(QStringLiteral("Click to copy the password"), this);
        l->addWidget(text);
        adjustSize();
        if (const QScreen* s = QGuiApplication::primaryScreen())
            move(s->availableGeometry().topRight() - QPoint(width() + 12, -12));
    }

protected:
    void mousePressEvent(QMouseEvent*) override {
        if (auto c = clicked_) c();
    }

private:
    std::function<void()> clicked_;
};

}  // namespace

QIcon TrayStatusItem::trayIcon() {
    return QIcon::fromTheme(QStringLiteral("quorvane-symbolic"),
                            QIcon::fromTheme(QStringLiteral("quorvane"), QIcon(QStringLiteral(":/images/pushpullblack.png"))));
}

TrayStatusItem::TrayStatusItem() {
    if (QSystemTrayIcon::isSystemTrayAvailable()) {
        tray_ = new QSystemTrayIcon(trayIcon(), this);
        connect(tray_, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason) {
            if (auto c = clicked_) c();
        });
    }
}

TrayStatusItem::~TrayStatusItem() { delete standIn_.data(); }

void TrayStatusItem::show(const QString& toolTip, std::function<void()> clicked) {
    clicked_ = std::move(clicked);
    shown_ = true;
    if (tray_) {
        tray_->setToolTip(toolTip);
        tray_->show();
        return;
    }
    delete standIn_.data();
    standIn_ = new StandInWindow(toolTip, [this] {
        if (auto c = clicked_) c();
    });
    standIn_->show();
}

void TrayStatusItem::remove() {
    shown_ = false;
    clicked_ = nullptr;
    if (tray_) tray_->hide();
    if (standIn_) standIn_->deleteLater();
    standIn_ = nullptr;
}

DesktopWorkspace::DesktopWorkspace(HandlerProbe probe, Launcher launch, Notice notice)
    : probe_(probe ? std::move(probe) : HandlerProbe(&DesktopWorkspace::hasDesktopHandler)),
      launch_(launch ? std::move(launch) : Launcher([](const QUrl& u) { return QDesktopServices::openUrl(u); })),
      notice_(std::move(notice)) {}

bool DesktopWorkspace::openUrl(const QString& url) {
    const QUrl u(url);
    if (!u.isValid() || u.isEmpty()) return false;
    if (u.isLocalFile()) return openFile(u.toLocalFile());
    // A password the address carries (an FTP login) is not put on the screen.
    return open(u, u.toDisplayString(QUrl::RemovePassword), QStringLiteral("address"));
}

bool DesktopWorkspace::openFile(const QString& path) {
    return open(QUrl::fromLocalFile(path), QDir::toNativeSeparators(path), QStringLiteral("file"));
}

bool DesktopWorkspace::revealFile(const QString& path) {
    const QString folder = QFileInfo(path).absolutePath();
    return open(QUrl::fromLocalFile(folder), QDir::toNativeSeparators(folder), QStringLiteral("folder"));
}

QString DesktopWorkspace::handlerTypeOf(const QUrl& url) {
    if (!url.isLocalFile()) return QStringLiteral("x-scheme-handler/") + url.scheme().toLower();
    return QMimeDatabase().mimeTypeForFile(url.toLocalFile()).name();
}

bool DesktopWorkspace::open(const QUrl& url, const QString& shown, const QString& kind) {
    const QString type = handlerTypeOf(url);
    if (probe_(type) && launch_(url)) return true;
    QString what;
    if (url.isLocalFile()) {
        const QMimeType mime = QMimeDatabase().mimeTypeForName(type);
        what = QStringLiteral("No program is set up on this computer to open %1 (%2).")
                   .arg(kind == QLatin1String("folder") ? QStringLiteral("folders") : QStringLiteral("files of this type"),
                        mime.isValid() && !mime.comment().isEmpty() ? mime.comment() : type);
    } else {
        what = QStringLiteral("No program is set up on this computer for \u201c%1:\u201d addresses.").arg(url.scheme());
    }
    showNotice(QStringLiteral("The %1 \u201c%2\u201d could not be opened.").arg(kind, shown),
               what + QStringLiteral(" Install one, or choose one in your desktop's settings for default applications, "
                                     "and try again."));
    return false;
}

QWidget* DesktopWorkspace::noticeBox() const { return box_; }

void DesktopWorkspace::showNotice(const QString& text, const QString& informative) {
    if (notice_) return notice_(text, informative);
    // One message at a time: a second failure while it shows replaces its text.
    if (auto* box = qobject_cast<QMessageBox*>(box_.data())) {
        box->setText(text);
        box->setInformativeText(informative);
        box->raise();
        return;
    }
    // On the window the request came from, as a sheet; with no window, a box of its own that
    // holds the whole program until it is answered.
    QWidget* window = QApplication::activeWindow();
    auto* box = new QMessageBox(QMessageBox::Warning, QStringLiteral("Quorvane"), text, QMessageBox::Ok, window);
    box->setObjectName(QStringLiteral("noHandlerNotice"));
    box->setInformativeText(informative);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box_ = box;
    if (window) {
        box->open();  // window-modal
    } else {
        box->setWindowModality(Qt::ApplicationModal);
        box->show();
    }
}

bool DesktopWorkspace::hasDesktopHandler(const QString& type) {
    // xdg-open, which the desktop services run, tries a web browser when nothing else is set.
    if (!qEnvironmentVariableIsEmpty("BROWSER")) return true;
    for (const char* browser : {"x-www-browser", "sensible-browser", "firefox", "chromium", "chromium-browser",
                                "google-chrome", "epiphany", "konqueror", "www-browser"})
        if (!QStandardPaths::findExecutable(QLatin1String(browser)).isEmpty()) return true;
    const QString xdgMime = QStandardPaths::findExecutable(QStringLiteral("xdg-mime"));
    if (xdgMime.isEmpty()) return true;
    QProcess query;
    query.start(xdgMime, {QStringLiteral("query"), QStringLiteral("default"), type});
    if (!query.waitForFinished(3000)) {
        query.kill();
        query.waitForFinished(500);
        return true;
    }
    if (query.exitStatus() != QProcess::NormalExit || query.exitCode() != 0) return true;
    return !query.readAllStandardOutput().trimmed().isEmpty();
}

namespace {

QString filterFor(const QStringList& extensions) {
    if (extensions.isEmpty()) return QString();
    QStringList patterns;
    for (const QString& e : extensions) patterns << QStringLiteral("*.") + e;
    return QStringLiteral("%1;;All files (*)").arg(patterns.join(QLatin1Char(' ')));
}

}  // namespace

std::optional<QString> DesktopFilePanel::runOpenPanel(const FilePanelOptions& o) {
    QString chosen;
    const QString path = QFileDialog::getOpenFileName(parent_, o.title, o.directory.isEmpty() ? QDir::homePath() : o.directory,
                                                      o.typeChoices.isEmpty() ? filterFor(o.allowedExtensions)
                                                                              : o.typeChoices.join(QStringLiteral(";;")),
                                                      o.typeChoices.isEmpty() ? nullptr : &chosen);
    if (path.isEmpty()) return std::nullopt;
    if (o.chosenType) *o.chosenType = std::max<int>(0, int(o.typeChoices.indexOf(chosen)));
    return path;
}

std::optional<QString> DesktopFilePanel::runSavePanel(const FilePanelOptions& o) {
    const QString dir = o.directory.isEmpty() ? QDir::homePath() : o.directory;
    const QString path = QFileDialog::getSaveFileName(parent_, o.title, QDir(dir).filePath(o.suggestedName),
                                                      filterFor(o.allowedExtensions));
    if (path.isEmpty()) return std::nullopt;
    return path;
}

}  // namespace qv::app
