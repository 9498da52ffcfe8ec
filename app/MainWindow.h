#pragma once

#include <QMainWindow>

namespace qv::app {

// The window the program shows when no document is open. Its first menu is the application
// menu, titled "Quorvane", as in every window of the program.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    // With a controller, the File menu offers New and Open.
    explicit MainWindow(class DocumentController* controller = nullptr, QWidget* parent = nullptr);

    QMenu* applicationMenu() const { return applicationMenu_; }

Q_SIGNALS:
    // The window was closed: by its close button, or by New and Open once a document took its
    // place.
    void closedByUser();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void showAbout();
    QMenu* applicationMenu_ = nullptr;
};

}  // namespace qv::app
