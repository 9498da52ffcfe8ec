#include "MainWindow.h"

#include "DocumentController.h"
#include "PlainViews.h"

#include "foundation/ZKAppSupportUtility.h"
#include "shell/MyAppDelegate.h"

#include <QApplication>
#include <QCloseEvent>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QVBoxLayout>

namespace qv::app {

MainWindow::MainWindow(DocumentController* controller, QWidget* parent) : QMainWindow(parent) {
    setWindowTitle(QStringLiteral("Quorvane"));
    setMinimumSize(480, 320);
    resize(760, 480);

    applicationMenu_ = menuBar()->addMenu(QStringLiteral("Quorvane"));
    applicationMenu_->setObjectName(QStringLiteral("applicationMenu"));
    QAction* about = applicationMenu_->addAction(QStringLiteral("About Quorvane"));
    about->setMenuRole(QAction::AboutRole);
    connect(about, &QAction::triggered, this, &MainWindow::showAbout);
    // The program connects it to the update check, beside Preferences.
    applicationMenu_->addAction(ZKAppDelegateBase::softwareUpdateMenuTitle())->setObjectName(QStringLiteral("checkForUpdates"));
    applicationMenu_->addSeparator();
    QAction* quit = applicationMenu_->addAction(QStringLiteral("Quit Quorvane"));
    quit->setObjectName(QStringLiteral("quit"));
    quit->setShortcut(QKeySequence::Quit);
    quit->setMenuRole(QAction::QuitRole);
    connect(quit, &QAction::triggered, qApp, &QApplication::quit);

    if (controller) {
        QMenu* file = menuBar()->addMenu(QStringLiteral("File"));
        QAction* create = file->addAction(QStringLiteral("New"));
        create->setShortcut(QKeySequence::New);
        connect(create, &QAction::triggered, this, [this, controller] {
            controller->newDocument();
            close();
        });
        QAction* open = file->addAction(QStringLiteral("Open\u2026"));
        open->setShortcut(QKeySequence::Open);
        connect(open, &QAction::triggered, this, [this, controller] {
            controller->openDocumentWithPanel(this);
            if (!controller->documents().empty()) close();
        });
    }

    auto* page = new ZKGrayView(this);
    auto* layout = new QVBoxLayout(page);
    layout->addStretch(2);
    auto* title = new QLabel(QStringLiteral("Quorvane"), page);
    QFont big = title->font();
    big.setPointSizeF(big.pointSizeF() * 2.2);
    big.setBold(true);
    title->setFont(big);
    title->setAlignment(Qt::AlignCenter);
    auto* subtitle = new QLabel(
        QStringLiteral("Release %1 \u2014 no document is open. Choose File \u203a New or Open.")
            .arg(ZKAppSupportUtility::calcReleaseString(kReleaseNumber)),
        page);
    subtitle->setAlignment(Qt::AlignCenter);
    subtitle->setEnabled(false);
    layout->addWidget(title);
    layout->addWidget(subtitle);
    layout->addStretch(3);
    setCentralWidget(page);
}

void MainWindow::closeEvent(QCloseEvent* event) {
    QMainWindow::closeEvent(event);
    if (event->isAccepted()) Q_EMIT closedByUser();
}

void MainWindow::showAbout() {
    QMessageBox::about(this, QStringLiteral("About Quorvane"),
                       QStringLiteral("<b>Quorvane</b> %1<br>A password manager for your desktop.")
                           .arg(ZKAppSupportUtility::calcReleaseString(kReleaseNumber)));
}

}  // namespace qv::app
