#include "Application.h"
#include "ClipMode.h"
#include "DocumentController.h"
#include "DocumentWindow.h"
#include "SingleInstance.h"

#include "foundation/MemoryTuning.h"
#include "foundation/ZKAppSupportUtility.h"

#include <QApplication>

#include <cstdio>
#include <cstring>

namespace {

// --help and --version are answered before anything needs a display, so that they work in a
// terminal without one and never reach the documents as file names. After "--" every argument
// is a file, even one named like an option.
int answerInformationOptions(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const char* a = argv[i];
        if (std::strcmp(a, "--") == 0) return -1;
        if (std::strcmp(a, "--version") == 0 || std::strcmp(a, "-V") == 0) {
            std::printf("Quorvane %s (release %lld)\n",
                        qPrintable(qv::ZKAppSupportUtility::calcReleaseString(qv::kReleaseNumber)),
                        static_cast<long long>(qv::kReleaseNumber));
            return 0;
        }
        if (std::strcmp(a, "--help") == 0 || std::strcmp(a, "-h") == 0) {
            std::printf(
                "Usage: quorvane [OPTION] [DOCUMENT.qvane ...]\n"
                "Quorvane %s, a password manager for your desktop.\n"
                "\n"
                "Opens each document given. Without one, it does what Preferences > General asks at\n"
                "start-up. When Quorvane is already running, the documents open there.\n"
                "\n"
                "Options:\n"
                "  -h, --help     Show this help and exit.\n"
                "  -V, --version  Show the release and exit.\n"
                "  --clip [--seconds S]\n"
                "                 Hold the text read from standard input on the clipboard, marked as\n"
                "                 a secret, without a window; after S seconds (default 45, 0 never)\n"
                "                 clear it if it is still there. Exits 8 without a display.\n"
                "  --             Take every argument after it as a document.\n",
                qPrintable(qv::ZKAppSupportUtility::calcReleaseString(qv::kReleaseNumber)));
            return 0;
        }
    }
    return -1;
}

}  // namespace

int main(int argc, char** argv) {
    // `qvane clip` hands a value over to be held on the clipboard: no window, no documents.
    if (const int clipped = qv::app::runClipMode(argc, argv); clipped >= 0) return clipped;
    if (const int answered = answerInformationOptions(argc, argv); answered >= 0) return answered;
    qv::tuneMemoryForLargeWork(qv::LargeBlocks::Reused);
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Quorvane"));
    QApplication::setOrganizationName(QStringLiteral("Quorvane"));
    QApplication::setApplicationVersion(qv::ZKAppSupportUtility::calcReleaseString(qv::kReleaseNumber));
    QApplication::setDesktopFileName(QStringLiteral("io.quorvane.Quorvane"));

    QStringList files = QApplication::arguments();
    files.removeFirst();
    files.removeOne(QStringLiteral("--"));
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
    QObject::connect(&instance, &qv::app::SingleInstance::filesReceived, &quorvane,
                     &qv::app::Application::openHandedOverFiles);
    return app.exec();
}
