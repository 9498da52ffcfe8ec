#pragma once

// Work that reads or builds but touches no document (reading a file to import, writing an
// export) runs on a worker while a progress dialog keeps the window painting.

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFutureWatcher>
#include <QProgressDialog>
#include <QString>
#include <QWidget>
#include <QtConcurrent>

#include <functional>
#include <new>

namespace qv::app {

// Runs `work` on a worker thread while a modal progress dialog keeps the window alive. False when
// the work ran out of memory: what it had built is let go as the failure unwinds, and the caller
// tells the user.
template <typename Work>
bool withProgress(QWidget* parent, const QString& text, Work work) {
    QProgressDialog progress(text, QString(), 0, 0, parent);
    progress.setWindowModality(Qt::WindowModal);
    progress.setMinimumDuration(300);
    QFutureWatcher<void> watcher;
    QEventLoop loop;
    QObject::connect(&watcher, &QFutureWatcher<void>::finished, &loop, &QEventLoop::quit);
    bool enoughMemory = true;
    watcher.setFuture(QtConcurrent::run([&work, &enoughMemory] {
        try {
            work();
        } catch (const std::bad_alloc&) {
            enoughMemory = false;
        }
    }));
    if (!watcher.isFinished()) loop.exec();
    watcher.waitForFinished();
    return enoughMemory;
}

// Long work on this thread that changes the document (an import filing its records) lets the
// event loop turn at least every `everyMs`: once when made, at each between() that finds the
// time up, and at each now().
class EventLoopTurns {
public:
    explicit EventLoopTurns(qint64 everyMs = 10) : everyMs_(everyMs) { now(); }
    void now() {
        QCoreApplication::processEvents();
        since_.start();
    }
    std::function<void()> between() {
        return [this] {
            if (since_.elapsed() >= everyMs_) now();
        };
    }

private:
    qint64 everyMs_;
    QElapsedTimer since_;
};

}  // namespace qv::app
