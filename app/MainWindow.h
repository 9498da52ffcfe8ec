#pragma once

#include <QMainWindow>

namespace qv::app {

// The window the program shows when no document is open. Its first menu is the application
// menu, titled "Quorvane", as in every window of the program.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(QWidget* parent = nullptr);

    QMenu* applicationMenu() const { return applicationMenu_; }

private:
    void showAbout();
    QMenu* applicationMenu_ = nullptr;
};

}  // namespace qv::app
