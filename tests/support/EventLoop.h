#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>

#include <functional>

namespace qv::test {

// Runs the event loop until `done` holds or the deadline passes; returns whether it held. The
// deadline only guards against a hang: tests never depend on how quickly something happens.
inline bool spinUntil(const std::function<bool()>& done, int maxMs = 5000) {
    QDeadlineTimer deadline(maxMs);
    while (!done()) {
        if (deadline.hasExpired()) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 10);
    }
    return true;
}

inline void spinFor(int ms) {
    QDeadlineTimer deadline(ms);
    while (!deadline.hasExpired()) QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

}  // namespace qv::test
