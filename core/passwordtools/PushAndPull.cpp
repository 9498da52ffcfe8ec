#include "PushAndPull.h"

namespace qv {

PushAndPull::PushAndPull(StatusItem& item, Pasteboard& pasteboard, Timer timer, std::function<int()> delay)
    : item_(item), pasteboard_(pasteboard), timer_(std::move(timer)), delay_(std::move(delay)) {}

void PushAndPull::startPullPasswordPhase(const std::optional<QString>& password) {
    passwordToPull = password;
    installPullPasswordStatusMenu();
}

void PushAndPull::installPullPasswordStatusMenu() {
    // A phase still running is ended by firing its timer, which also forgets the password just
    // stored: a second push leaves an icon with nothing to copy. The order is kept as it is.
    if (pullMenuIsOn && timer_.fireNow) timer_.fireNow();
    item_.show(QStringLiteral("Click to copy the password"), [this] { copyPassword(); });
    timer_.schedule(double(std::max(0, delay_())), [this] { timerFireMethod(); });
    pullMenuIsOn = true;
}

void PushAndPull::removePullPasswordStatusMenu() {
    passwordToPull.reset();
    item_.remove();
    pullMenuIsOn = false;
}

void PushAndPull::endPullPasswordPhase() {
    if (timer_.cancel) timer_.cancel();
    removePullPasswordStatusMenu();
}

void PushAndPull::copyPassword() {
    pasteboard_.setString(passwordToPull.value_or(QString()));
    endPullPasswordPhase();
}

}  // namespace qv
