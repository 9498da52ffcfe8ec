#include "MainWindow.h"

#include "foundation/ZKAppSupportUtility.h"

#include <QApplication>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Quorvane"));
    QApplication::setOrganizationName(QStringLiteral("Quorvane"));
    QApplication::setApplicationVersion(qv::ZKAppSupportUtility::calcReleaseString(qv::kReleaseNumber));
    QApplication::setDesktopFileName(QStringLiteral("quorvane"));

    qv::app::MainWindow window;
    window.show();
    return app.exec();
}
