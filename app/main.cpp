#include "Application.h"
#include "DocumentController.h"
#include "DocumentWindow.h"
#include "SingleInstance.h"

#include "foundation/LargePages.h"
#include "foundation/ZKAppSupportUtility.h"

#include <QApplication>

int main(int argc, char** argv) {
    qv::useLargeMemoryPages(argv);
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Quorvane"));
    QApplication::setOrganizationName(QStringLiteral("Quorvane"));
    QApplication::setApplicationVersion(qv::ZKAppSupportUtility::calcReleaseString(qv::kReleaseNumber));
    QApplication::setDesktopFileName(QStringLiteral("io.quorvane.Quorvane"));

    QStringList files = QApplication::arguments();
    files.removeFirst();
    qv::app::SingleInstance instance;
    if (!instance.becomePrimary()) {
        // Another Quorvane runs: it opens the files and comes to the front.
        if (instance.sendToPrimary(files)) return 0;
    }

    qv::app::Application quorvane;
    qv::app::DocumentController& documents = quorvane.documents();
    for (const QString& f : files) documents.openDocument(f);
    // The desktop's own untitled document at launch, when the preference asks for one.
    if (documents.documents().empty() && quorvane.delegate().applicationShouldOpenUntitledFile())
        documents.newDocument();
    quorvane.applicationDidFinishLaunching();
    // Without a document to show, the empty window offers New and Open.
    quorvane.showWelcomeIfNothingOpen();
    QObject::connect(&instance, &qv::app::SingleInstance::filesReceived, &app, [&](const QStringList& received) {
        for (const QString& f : received) documents.openDocument(f);
        QWidget* front = QApplication::activeWindow();
        if (!front && !documents.documents().empty()) front = documents.documents().back();
        if (!front) front = quorvane.welcomeWindow();
        if (front) {
            front->show();
            front->raise();
            front->activateWindow();
        }
    });
    return app.exec();
}
