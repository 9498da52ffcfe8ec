#pragma once

// The update feed over HTTP. Each fetch runs on a worker thread of its own and blocks only that
// thread; the answer comes back on the main thread. Nothing else in the program goes to the
// network.

#include "foundation/FeedFetcher.h"

#include <QObject>

#include <atomic>
#include <memory>

namespace qv::app {

class NetworkFeedFetcher : public QObject, public FeedFetcher {
    Q_OBJECT
public:
    explicit NetworkFeedFetcher(QObject* parent = nullptr);
    ~NetworkFeedFetcher() override;
    // A mirror that says nothing for this long counts as down. The usual default of a desktop
    // HTTP client; a mirror that refuses the connection is given up at once.
    int transferTimeoutMs = 60000;
    // Feeds are a few hundred bytes; anything far larger is not a feed.
    qint64 maximumSize = 1 << 20;

    void fetch(const QString& url, std::function<void(std::optional<QByteArray>)> done) override;

    // The blocking fetch itself, on the calling thread; given up when `cancel` becomes true.
    static std::optional<QByteArray> fetchNow(const QString& url, int timeoutMs, qint64 maximumSize,
                                              const std::atomic<bool>* cancel = nullptr);

private:
    // Shared with the workers: answers are dropped once the fetcher is gone, and a fetch still
    // waiting for a slow mirror stops when the program quits instead of holding it up.
    struct State {
        std::atomic<bool> cancelled{false};
        bool alive = true;  // read and written on the main thread only
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace qv::app
