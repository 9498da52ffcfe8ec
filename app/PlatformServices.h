#pragma once

// The desktop's services behind the program's ports: the clipboard, the status-area icon (or,
// where the desktop has no tray, a small always-on-top window to click), the handlers for URLs
// and files, and the desktop's word that the screen locks or the machine goes to sleep.

#include "foundation/FilePanel.h"
#include "foundation/Pasteboard.h"
#include "foundation/StatusItem.h"
#include "foundation/Workspace.h"

#include <QDBusConnection>
#include <QIcon>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <functional>

class QSystemTrayIcon;
class QWidget;

namespace qv::app {

// Every value goes out marked as secret, so that clipboard managers that honour the mark keep
// it out of their history. When the user asks for it (clearAfter gives a number of seconds
// above 0) the clipboard is emptied that long after a copy, if it still holds what was copied.
class ClipboardPasteboard : public QObject, public Pasteboard {
    Q_OBJECT
public:
    static inline const QString kSecretHintType = QStringLiteral("x-kde-passwordManagerHint");

    ClipboardPasteboard();
    ~ClipboardPasteboard() override;
    void setString(const QString& text) override;
    void setClearAfter(std::function<std::int64_t()> seconds) { clearAfter_ = std::move(seconds); }
    bool isClearPending() const { return clearTimer_.isActive(); }
    // What the timer does: empties the clipboard unless something else was copied meanwhile.
    void clearIfStillCopied();

private:
    std::function<std::int64_t()> clearAfter_;
    QTimer clearTimer_;
    QString copied_;
};

// Tells when the desktop locks the screen (the freedesktop and GNOME screen savers, or the login
// manager's lock of the session) or the machine is about to sleep.
class SessionLockWatcher : public QObject {
    Q_OBJECT
public:
    // The user's session bus and the system bus; tests hand in a private bus for both.
    SessionLockWatcher(QDBusConnection session, QDBusConnection system, QObject* parent = nullptr);
    SessionLockWatcher(QObject* parent = nullptr);
    // How many of the desktop's signals are being listened to.
    int listening() const { return listening_; }

Q_SIGNALS:
    void sessionLocking();

private Q_SLOTS:
    void screenSaverActiveChanged(bool active);
    void prepareForSleep(bool sleeping);
    void lock();

private:
    int listening_ = 0;
};

class TrayStatusItem : public QObject, public StatusItem {
    Q_OBJECT
public:
    TrayStatusItem();
    ~TrayStatusItem() override;
    void show(const QString& toolTip, std::function<void()> clicked) override;
    void remove() override;
    bool isShown() const override { return shown_; }
    // The stand-in window when there is no tray (null otherwise); for tests and screenshots.
    QWidget* standIn() const { return standIn_; }
    // The installed one-colour icon, which the panel draws in its own colour on a dark or a light
    // panel; without it the coloured program icon, and a program run from its build folder, with
    // no icon installed, the image it carries.
    static QIcon trayIcon();

private:
    QSystemTrayIcon* tray_ = nullptr;
    QPointer<QWidget> standIn_;
    std::function<void()> clicked_;
    bool shown_ = false;
};

class DesktopWorkspace : public Workspace {
public:
    bool openUrl(const QString& url) override;
    bool openFile(const QString& path) override;
    bool revealFile(const QString& path) override;
};

// Open and save panels as the desktop's file dialogs, on top of `parent`.
class DesktopFilePanel : public FilePanel {
public:
    explicit DesktopFilePanel(QWidget* parent) : parent_(parent) {}
    std::optional<QString> runOpenPanel(const FilePanelOptions& options) override;
    std::optional<QString> runSavePanel(const FilePanelOptions& options) override;

private:
    QPointer<QWidget> parent_;
};

}  // namespace qv::app
