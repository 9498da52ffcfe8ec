#include "NetworkFeedFetcher.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QThreadPool>
#include <QTimer>
#include <QUrl>

namespace qv::app {

NetworkFeedFetcher::NetworkFeedFetcher(QObject* parent) : QObject(parent) {
    if (auto* app = QCoreApplication::instance())
        connect(app, &QCoreApplication::aboutToQuit, this, [state = state_] { state->cancelled = true; });
}

NetworkFeedFetcher::~NetworkFeedFetcher() {
    state_->alive = false;
    state_->cancelled = true;
}

std::optional<QByteArray> NetworkFeedFetcher::fetchNow(const QString& url, int timeoutMs, qint64 maximumSize,
                                                       const std::atomic<bool>* cancel) {
    QNetworkAccessManager manager;
    QNetworkRequest request{QUrl(url)};
    request.setTransferTimeout(timeoutMs);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setHeader(QNetworkRequest::UserAgentHeader, QStringLiteral("Quorvane"));
    QNetworkReply* reply = manager.get(request);
    // The network thread reads ahead only as far as this buffer and the answer is taken out of it
    // as it comes, so a mirror that sends without end is cut off near the limit instead of
    // flooding the program with what it sent before the cut was made.
    reply->setReadBufferSize(64 * 1024);
    QByteArray body;
    bool tooLarge = false;
    const auto cut = [reply, &tooLarge] {
        tooLarge = true;
        reply->abort();
    };
    QObject::connect(reply, &QNetworkReply::metaDataChanged, reply, [reply, maximumSize, cut] {
        const QVariant announced = reply->header(QNetworkRequest::ContentLengthHeader);
        if (announced.isValid() && announced.toLongLong() > maximumSize) cut();
    });
    QObject::connect(reply, &QNetworkReply::readyRead, reply, [reply, maximumSize, cut, &body] {
        body += reply->read(maximumSize + 1 - body.size());
        if (body.size() > maximumSize) cut();
    });
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer watch;
    if (cancel) {
        QObject::connect(&watch, &QTimer::timeout, reply, [reply, cancel] {
            if (*cancel) reply->abort();
        });
        watch.start(100);
    }
    if (!reply->isFinished()) loop.exec();
    std::optional<QByteArray> result;
    if (!tooLarge && reply->error() == QNetworkReply::NoError) {
        body += reply->read(maximumSize + 1 - body.size());
        if (body.size() <= maximumSize) result = std::move(body);
    }
    delete reply;
    return result;
}

void NetworkFeedFetcher::fetch(const QString& url, std::function<void(std::optional<QByteArray>)> done) {
    const int timeout = transferTimeoutMs;
    const qint64 limit = maximumSize;
    QThreadPool::globalInstance()->start([state = state_, url, timeout, limit, done = std::move(done)]() mutable {
        auto bytes = fetchNow(url, timeout, limit, &state->cancelled);
        // Back on the main thread, where `alive` is kept.
        QMetaObject::invokeMethod(QCoreApplication::instance(), [state, bytes = std::move(bytes), done = std::move(done)]() mutable {
            if (state->alive) done(std::move(bytes));
        }, Qt::QueuedConnection);
    });
}

}  // namespace qv::app
