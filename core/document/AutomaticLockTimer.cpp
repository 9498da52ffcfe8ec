#include "AutomaticLockTimer.h"

#include <algorithm>

namespace qv {

void AutomaticLockTimer::setAutomaticLockWithTimeInterval(int seconds) {
    if (armed_) cancel_();
    armed_ = false;
    if (seconds < 1) return;
    armed_ = true;
    schedule_(double(std::max(seconds, kMinimumSeconds)), [this] {
        armed_ = false;
        lockAll_();
    });
}

void AutomaticLockTimer::applicationDidResignActive(bool autolocBackgroundEnabled, int autolocBackgroundInterval) {
    if (autolocBackgroundEnabled) setAutomaticLockWithTimeInterval(autolocBackgroundInterval);
}

}  // namespace qv
