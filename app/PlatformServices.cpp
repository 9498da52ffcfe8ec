#include "PlatformServices.h"

#include <QDir>
#include <QFileDialog>

#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QFileInfo>
#include <QLabel>
#include <QMouseEvent>
#include <QScreen>
#include <QSystemTrayIcon>
#include <QUrl>
#include <QVBoxLayout>

namespace qv::app {

void ClipboardPasteboard::setString(const QString& text) { QGuiApplication::clipboard()->setText(text); }

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
    const QString path = QFileDialog::getOpenFileName(parent_, o.title, o.directory.isEmpty() ? QDir::homePath() : o.directory,
                                                      filterFor(o.allowedExtensions));
    if (path.isEmpty()) return std::nullopt;
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
