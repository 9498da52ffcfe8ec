#include "MainQueue.h"

#include <QCoreApplication>

#include <cmath>

namespace qv {

void MainQueue::post(std::function<void()> step) {
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(step), Qt::QueuedConnection);
}

SingleShotTimer::SingleShotTimer() : timer_(new QTimer) {
    timer_->setSingleShot(true);
    timer_->setTimerType(Qt::PreciseTimer);
    QObject::connect(timer_, &QTimer::timeout, timer_, [this] {
        // Move the action out first: it may restart this very timer.
        auto fire = std::move(fire_);
        fire_ = nullptr;
        if (fire) fire();
    });
}

SingleShotTimer::~SingleShotTimer() { delete timer_; }

void SingleShotTimer::start(double seconds, std::function<void()> fire) {
    fire_ = std::move(fire);
    const double ms = std::max(0.0, seconds * 1000.0);
    timer_->start(int(std::min(ms, double(std::numeric_limits<int>::max()))));
}

void SingleShotTimer::cancel() {
    timer_->stop();
    fire_ = nullptr;
}

bool SingleShotTimer::isActive() const { return timer_->isActive(); }

}  // namespace qv
