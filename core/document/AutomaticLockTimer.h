#pragma once

// The application's automatic lock: one timer, armed when the application goes to the
// background (if the preference says so) and cancelled when it comes back. It fires once, after
// at least 30 seconds, and locks every open document that can be locked.

#include <functional>

namespace qv {

class AutomaticLockTimer {
public:
    // Arms the timer for `seconds` (replacing any other) and calls `fire` when it runs out.
    using Schedule = std::function<void(double seconds, std::function<void()> fire)>;
    using Cancel = std::function<void()>;

    AutomaticLockTimer(Schedule schedule, Cancel cancel, std::function<void()> lockAllOpenedDocuments)
        : schedule_(std::move(schedule)), cancel_(std::move(cancel)), lockAll_(std::move(lockAllOpenedDocuments)) {}

    static constexpr int kMinimumSeconds = 30;

    void setAutomaticLockWithTimeInterval(int seconds);
    void applicationDidResignActive(bool autolocBackgroundEnabled, int autolocBackgroundInterval);
    void applicationDidBecomeActive() { setAutomaticLockWithTimeInterval(0); }
    bool isArmed() const { return armed_; }

private:
    Schedule schedule_;
    Cancel cancel_;
    std::function<void()> lockAll_;
    bool armed_ = false;
};

}  // namespace qv
