#include "ClipMode.h"

#include "crypto/SecretMemory.h"

#include <QApplication>
#include <QClipboard>
#include <QDeadlineTimer>
#include <QMimeData>
#include <QProcess>
#include <QStandardPaths>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace qv::app {

ClipboardHolder::ClipboardHolder(const QString& value, std::int64_t seconds, QObject* parent)
    : QObject(parent), value_(value) {
    // The pasteboard remembers the value, to clear only that; its own timer is replaced by ours,
    // which also ends the holder.
    pasteboard_.setClearAfter([] { return std::int64_t(24 * 3600); });
    pasteboard_.setString(value);
    timer_.setSingleShot(true);
    connect(&timer_, &QTimer::timeout, this, &ClipboardHolder::timeUp);
    if (seconds > 0) timer_.start(int(std::min<std::int64_t>(seconds, 24 * 3600)) * 1000);
    connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this, &ClipboardHolder::clipboardChanged);
}

ClipboardHolder::~ClipboardHolder() { secrets::wipe(value_); }

void ClipboardHolder::clipboardChanged() {
    const QMimeData* now = QGuiApplication::clipboard()->mimeData();
    if (now && now->hasText() && now->text() == value_ &&
        now->data(ClipboardPasteboard::kSecretHintType) == "secret")
        return;  // still ours
    timer_.stop();
    Q_EMIT finished();
}

void ClipboardHolder::timeUp() {
    pasteboard_.clearIfStillCopied();
    Q_EMIT finished();
}

namespace {

// After this line `qvane clip` returns to its shell, and this process is on its own: its
// standard streams may be gone with the terminal.
void announceCopiedAndDetach() {
    std::fputs("copied\n", stdout);
    std::fflush(stdout);
    if (std::FILE* null = std::fopen("/dev/null", "w")) {
        dup2(fileno(null), STDOUT_FILENO);
        dup2(fileno(null), STDERR_FILENO);
        std::fclose(null);
    }
}

bool waylandSession() {
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    if (!wayland || !*wayland) return false;
    const char* platform = std::getenv("QT_QPA_PLATFORM");
    return !platform || !*platform || std::strncmp(platform, "wayland", 7) == 0;
}

// A Wayland compositor lets only the program that has the keyboard set the clipboard, and most
// check the serial of an input event that this hidden holder never gets. wl-copy, the desktop's
// own clipboard tool, knows how to get both; the holder hands it the value on its standard input
// and stays until the time is up. The clipboard then holds plain text without the
// password-manager hint, which wl-copy can't offer beside it.
int holdWithWlCopy(int argc, char** argv, const QString& wlCopy, QString& value, std::int64_t seconds) {
    QCoreApplication app(argc, argv);
    QProcess copier;
    copier.setProgram(wlCopy);
    copier.setArguments({QStringLiteral("--foreground"), QStringLiteral("--type"), QStringLiteral("text/plain;charset=utf-8")});
    // Its streams are ours, not the terminal's: the shell's prompt must not wait for wl-copy.
    copier.setStandardOutputFile(QProcess::nullDevice());
    copier.start();
    if (!copier.waitForStarted(5000)) {
        std::fprintf(stderr, "quorvane: wl-copy could not be started\n");
        return 8;
    }
    QByteArray bytes = value.toUtf8();
    secrets::wipe(value);
    copier.write(bytes);
    copier.closeWriteChannel();
    copier.waitForBytesWritten(5000);
    secrets::wipe(bytes);
    // wl-copy stays while it holds the clipboard; when it ends at once, the compositor refused.
    if (copier.waitForFinished(500)) {
        std::fprintf(stderr, "quorvane: the compositor did not let wl-copy set the clipboard: %s\n",
                     copier.readAllStandardError().trimmed().constData());
        return 8;
    }
    announceCopiedAndDetach();
    // wl-copy ends by itself when another program takes the clipboard: nothing to clear then.
    QObject::connect(&copier, &QProcess::finished, &app, &QCoreApplication::quit);
    QTimer clear;
    clear.setSingleShot(true);
    QObject::connect(&clear, &QTimer::timeout, &app, [&] {
        if (copier.state() != QProcess::NotRunning) QProcess::execute(wlCopy, {QStringLiteral("--clear")});
        copier.waitForFinished(2000);
        app.quit();
    });
    if (seconds > 0) clear.start(int(std::min<std::int64_t>(seconds, 24 * 3600)) * 1000);
    const int status = app.exec();
    if (copier.state() != QProcess::NotRunning) copier.kill();
    return status;
}

}  // namespace

int runClipMode(int argc, char** argv) {
    if (argc < 2 || std::strcmp(argv[1], "--clip") != 0) return -1;
    long long seconds = 45;
    for (int i = 2; i < argc; ++i) {
        if (std::strcmp(argv[i], "--seconds") == 0 && i + 1 < argc) {
            char* end = nullptr;
            seconds = std::strtoll(argv[++i], &end, 10);
            if (*end || seconds < 0) seconds = -1;
        } else {
            seconds = -1;
        }
    }
    if (seconds < 0) {
        std::fprintf(stderr, "usage: quorvane --clip [--seconds S] (the value on standard input)\n");
        return 2;
    }
    bool display = false;
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        if (const char* v = std::getenv(name); v && *v) display = true;
    if (!display) {
        std::fprintf(stderr, "quorvane: no display to hold the clipboard (neither DISPLAY nor WAYLAND_DISPLAY is set)\n");
        return 8;
    }
    QByteArray bytes;
    char buffer[4096];
    ssize_t n;
    while ((n = read(STDIN_FILENO, buffer, sizeof buffer)) > 0) bytes.append(buffer, n);
    QString value = QString::fromUtf8(bytes);
    secrets::wipe(bytes);

    if (waylandSession()) {
        const QString wlCopy = QStandardPaths::findExecutable(QStringLiteral("wl-copy"));
        if (!wlCopy.isEmpty()) return holdWithWlCopy(argc, argv, wlCopy, value, seconds);
    }

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Quorvane"));
    QApplication::setQuitOnLastWindowClosed(false);
    // Without wl-copy on Wayland, the holder tries on its own: it shows a one-pixel, see-through window for the moment it takes to get the keyboard,
    // sets the clipboard, and hides the window again; the clipboard stays with the process.
    std::unique_ptr<QWidget> anchor;
    if (QGuiApplication::platformName().startsWith(QLatin1String("wayland"))) {
        anchor = std::make_unique<QWidget>(nullptr, Qt::FramelessWindowHint | Qt::Tool);
        anchor->setAttribute(Qt::WA_TranslucentBackground);
        anchor->setWindowTitle(QStringLiteral("Quorvane"));
        anchor->resize(1, 1);
        anchor->show();
        anchor->activateWindow();
        QDeadlineTimer deadline(3000);
        while (!anchor->isActiveWindow() && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 20);
        if (!anchor->isActiveWindow()) {
            std::fprintf(stderr, "quorvane: the compositor gave no keyboard focus, so the clipboard can't be set\n");
            return 8;
        }
    }
    ClipboardHolder holder(value, seconds);
    if (anchor) {
        QCoreApplication::processEvents();
        anchor.reset();
    }
    announceCopiedAndDetach();
    // Where nothing outside the process can read the clipboard (the offscreen platform), there
    // is nothing to hold it for.
    if (QGuiApplication::platformName() == QLatin1String("offscreen") && seconds == 0) return 0;
    QObject::connect(&holder, &ClipboardHolder::finished, &app, &QCoreApplication::quit, Qt::QueuedConnection);
    return app.exec();
}

}  // namespace qv::app
