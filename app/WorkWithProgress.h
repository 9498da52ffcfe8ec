#pragma once

// Work that reads or builds but touches no document (reading a file to import, writing an
// export) runs on a worker while a progress dialog keeps the window painting.

#include <QEventLoop>
#include <QFutureWatcher>
#include <QProgressDialog>
#include <QString>
#include <QWidget>
#include <QtConcurrent>

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

}  // namespace qv::app
