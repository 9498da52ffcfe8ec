#include "Application.h"
#include "DocumentController.h"
#include "DocumentWindow.h"
#include "MainWindow.h"

#include "foundation/ZKAppSupportUtility.h"

#include <QApplication>

#include <memory>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Quorvane"));
    QApplication::setOrganizationName(QStringLiteral("Quorvane"));
    QApplication::setApplicationVersion(qv::ZKAppSupportUtility::calcReleaseString(qv::kReleaseNumber));
    QApplication::setDesktopFileName(QStringLiteral("quorvane"));

    qv::app::Application quorvane;
    qv::app::DocumentController& documents = quorvane.documents();
    QStringList files = QApplication::arguments();
    files.removeFirst();
    for (const QString& f : files) documents.openDocument(f);
    // Without a document to show, the empty window offers New and Open.
    std::unique_ptr<qv::app::MainWindow> welcome;
    if (documents.documents().empty()) {
        welcome = std::make_unique<qv::app::MainWindow>(&documents);
        welcome->show();
    }
    return app.exec();
}
