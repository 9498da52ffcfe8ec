#include "NetworkFeedFetcher.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>
#include <QThreadPool>
#include <QUrl>

namespace qv::app {

std::optional<QByteArray> NetworkFeedFetcher::fetchNow(const QString& url, int timeoutMs, qint64 maximumSize) {
    QNetworkAccessManager manager;
    QNetworkRequest request{QUrl(url)};
    request.setTransferTimeout(timeoutMs);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setHeader(QNetworkRequest::UserAgentHeader, QStringLiteral("Quorvane"));
    QNetworkReply* reply = manager.get(request);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QObject::connect(reply, &QNetworkReply::downloadProgress, reply, [reply, maximumSize](qint64 received, qint64) {
        if (received > maximumSize) reply->abort();
    });
    if (!reply->isFinished()) loop.exec();
    std::optional<QByteArray> result;
    if (reply->error() == QNetworkReply::NoError) result = reply->readAll();
    delete reply;
    return result;
}

void NetworkFeedFetcher::fetch(const QString& url, std::function<void(std::optional<QByteArray>)> done) {
    QPointer<NetworkFeedFetcher> self(this);
    const int timeout = transferTimeoutMs;
    const qint64 limit = maximumSize;
    QThreadPool::globalInstance()->start([self, url, timeout, limit, done = std::move(done)]() mutable {
        auto bytes = fetchNow(url, timeout, limit);
        if (!self) return;
        // Back on the main thread; dropped if the fetcher has gone meanwhile.
        QMetaObject::invokeMethod(self.data(), [bytes = std::move(bytes), done = std::move(done)]() mutable {
            done(std::move(bytes));
        }, Qt::QueuedConnection);
    });
}

}  // namespace qv::app
