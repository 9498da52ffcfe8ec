#include "ClipMode.h"

#include "crypto/SecretMemory.h"

#include <QApplication>
#include <QClipboard>
#include <QMimeData>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

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

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Quorvane"));
    QApplication::setQuitOnLastWindowClosed(false);
    ClipboardHolder holder(value, seconds);
    // `qvane clip` waits for this line only; from here on this process is on its own, and its
    // standard streams may be gone with the terminal.
    std::fputs("copied\n", stdout);
    std::fflush(stdout);
    if (std::FILE* null = std::fopen("/dev/null", "w")) {
        dup2(fileno(null), STDOUT_FILENO);
        dup2(fileno(null), STDERR_FILENO);
        std::fclose(null);
    }
    // Where nothing outside the process can read the clipboard (the offscreen platform), there
    // is nothing to hold it for.
    if (QGuiApplication::platformName() == QLatin1String("offscreen") && seconds == 0) return 0;
    QObject::connect(&holder, &ClipboardHolder::finished, &app, &QCoreApplication::quit, Qt::QueuedConnection);
    return app.exec();
}

}  // namespace qv::app
