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
class QUrl;
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

// Opens addresses and files with the desktop's programs. A desktop may have no program at all for
// a kind of address or file (no browser, no PDF viewer); the user is then told so once, with the
// address or the path, instead of the request vanishing. Where a program exists nothing is shown,
// whatever it later makes of the request.
class DesktopWorkspace : public Workspace {
public:
    // Whether the desktop has a program for a type: "x-scheme-handler/https", "application/pdf".
    using HandlerProbe = std::function<bool(const QString& type)>;
    // Hands the address to the desktop; false when nothing could be started.
    using Launcher = std::function<bool(const QUrl& url)>;
    // Tells the user; the message and the explanation under it.
    using Notice = std::function<void(const QString& text, const QString& informative)>;

    // Empty arguments take the desktop's own: hasDesktopHandler, QDesktopServices, and a message
    // box on the active window (or on its own when no window is active).
    explicit DesktopWorkspace(HandlerProbe probe = {}, Launcher launch = {}, Notice notice = {});

    bool openUrl(const QString& url) override;
    bool openFile(const QString& path) override;
    bool revealFile(const QString& path) override;

    void setHandlerProbe(HandlerProbe probe) { probe_ = std::move(probe); }
    void setLauncher(Launcher launch) { launch_ = std::move(launch); }
    void setNotice(Notice notice) { notice_ = std::move(notice); }
    // The message box of the default notice while it shows, for tests.
    QWidget* noticeBox() const;

    // Asks the freedesktop MIME database (xdg-mime) for the default program of the type. Only a
    // clear "none" counts as none: without xdg-mime, or when it fails, the launch decides. A web
    // browser on the path also counts, as xdg-open falls back to one for any address or file.
    static bool hasDesktopHandler(const QString& type);
    // The type the desktop's handlers are chosen by.
    static QString handlerTypeOf(const QUrl& url);

private:
    bool open(const QUrl& url, const QString& shown, const QString& kind);
    void showNotice(const QString& text, const QString& informative);

    HandlerProbe probe_;
    Launcher launch_;
    Notice notice_;
    QPointer<QWidget> box_;
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
