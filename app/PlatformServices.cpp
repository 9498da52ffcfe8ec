#include "PlatformServices.h"

#include "crypto/SecretMemory.h"

#include <QDir>
#include <QFileDialog>

#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QFileInfo>
#include <QLabel>
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

TrayStatusItem::TrayStatusItem() {
    if (QSystemTrayIcon::isSystemTrayAvailable()) {
        tray_ = new QSystemTrayIcon(QIcon(QStringLiteral(":/images/pushpullblack.png")), this);
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

bool DesktopWorkspace::openUrl(const QString& url) {
    const QUrl u(url);
    return u.isValid() && QDesktopServices::openUrl(u);
}

bool DesktopWorkspace::openFile(const QString& path) { return QDesktopServices::openUrl(QUrl::fromLocalFile(path)); }

bool DesktopWorkspace::revealFile(const QString& path) {
    return QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(path).absolutePath()));
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
