#pragma once

// The main queue and one-shot timers of the program. All logic runs on the main thread; a step
// that must follow the current event or sheet is posted here and runs on the next turn of the
// Qt event loop, in the order posted.

#include <QPointer>
#include <QTimer>

#include <functional>

namespace qv {

class MainQueue {
public:
    // Runs `step` after the current event has been handled. Needs a running Qt application.
    static void post(std::function<void()> step);
};

// A single-shot timer on the main thread that can be cancelled and restarted; the automatic
// lock, the notice of a copy and the status item's removal all work this way. Destroying it
// cancels it.
class SingleShotTimer {
public:
    SingleShotTimer();
    ~SingleShotTimer();
    SingleShotTimer(const SingleShotTimer&) = delete;
    SingleShotTimer& operator=(const SingleShotTimer&) = delete;

    // Replaces any pending shot.
    void start(double seconds, std::function<void()> fire);
    void cancel();
    bool isActive() const;

private:
    QTimer* timer_;
    std::function<void()> fire_;
};

}  // namespace qv
