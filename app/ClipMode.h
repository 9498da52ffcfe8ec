#pragma once

// `quorvane --clip --seconds S`: the clipboard holder that `qvane clip` starts. It reads the value
// from standard input, puts it on the clipboard with the password-manager hint the window's copies
// carry, stays (without a window) so that the clipboard keeps the value, and after S seconds
// clears it when it still holds that value. It leaves early when another program takes the
// clipboard, since there is then nothing left to clear.

#include <QWidget>  // complete for the pointers PlatformServices.h keeps

#include "PlatformServices.h"

#include <QObject>
#include <QTimer>

#include <cstdint>

namespace qv::app {

class ClipboardHolder : public QObject {
    Q_OBJECT
public:
    // 0 seconds: never cleared; held until another copy replaces it.
    ClipboardHolder(const QString& value, std::int64_t seconds, QObject* parent = nullptr);
    ~ClipboardHolder() override;

Q_SIGNALS:
    void finished();

private:
    void clipboardChanged();
    void timeUp();
    ClipboardPasteboard pasteboard_;
    QTimer timer_;
    QString value_;
};

// Where main hands over when the first argument is --clip: -1 when it is not, else the exit
// status. Answers 8 without a display before any is needed.
int runClipMode(int argc, char** argv);

}  // namespace qv::app
