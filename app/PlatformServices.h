#pragma once

// The desktop's services behind the program's ports: the clipboard, the status-area icon (or,
// where the desktop has no tray, a small always-on-top window to click), and the handlers for
// URLs and files.

#include "foundation/FilePanel.h"
#include "foundation/Pasteboard.h"
#include "foundation/StatusItem.h"
#include "foundation/Workspace.h"

#include <QObject>
#include <QPointer>

class QSystemTrayIcon;
class QWidget;

namespace qv::app {

class ClipboardPasteboard : public Pasteboard {
public:
    void setString(const QString& text) override;
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
