#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>

namespace qv {

// Fetches the update feed away from the main thread and hands the bytes (nullopt when the
// mirror did not answer) back on the main thread.
class FeedFetcher {
public:
    virtual ~FeedFetcher() = default;
    virtual void fetch(const QString& url, std::function<void(std::optional<QByteArray>)> done) = 0;
};

}  // namespace qv
