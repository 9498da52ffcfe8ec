#pragma once

// The application half of push and pull: the password waiting for a click on the status icon,
// the icon itself, and the timer that takes it away.

#include "foundation/Pasteboard.h"
#include "foundation/StatusItem.h"

#include <QString>

#include <functional>
#include <optional>

namespace qv {

class PushAndPull {
public:
    // `schedule` arms the one removal timer (replacing it); `fireNow` runs a pending one at once.
    struct Timer {
        std::function<void(double seconds, std::function<void()> fire)> schedule;
        std::function<void()> cancel;
        std::function<void()> fireNow;
    };
    PushAndPull(StatusItem& item, Pasteboard& pasteboard, Timer timer, std::function<int()> disposePasswordIconAfter);

    std::optional<QString> passwordToPull;
    bool pullMenuIsOn = false;

    void startPullPasswordPhase(const std::optional<QString>& password);
    void installPullPasswordStatusMenu();
    void removePullPasswordStatusMenu();
    void timerFireMethod() { removePullPasswordStatusMenu(); }
    void endPullPasswordPhase();
    // A click on the icon.
    void copyPassword();

private:
    StatusItem& item_;
    Pasteboard& pasteboard_;
    Timer timer_;
    std::function<int()> delay_;
};

}  // namespace qv
