// The update check as it goes over the network: a server on 127.0.0.1 counts what reaches it.
// With the preference or the build option off, nothing does; a mirror that sends far more than a
// feed is cut off once the limit is passed.

#include "NetworkFeedFetcher.h"
#include "PreferencesWindow.h"

#include "shell/MyAppDelegate.h"
#include "shell/ZKPhoneHome.h"
#include "support/EventLoop.h"
#include "support/Fakes.h"

#include <QCheckBox>
#include <QPushButton>
#include <QTcpServer>
#include <QTcpSocket>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <thread>

using namespace qv;
using namespace qv::app;

namespace {

// Counts every connection made to it, and answers a small feed.
class CountingServer : public QTcpServer {
public:
    int connections = 0;
    CountingServer() {
        listen(QHostAddress::LocalHost, 0);
        connect(this, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* s = nextPendingConnection()) {
                ++connections;
                connect(s, &QTcpSocket::readyRead, s, [s] {
                    if (!s->peek(4096).contains("\r\n\r\n")) return;
                    const QByteArray feed = "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>LRA</key>"
                                            "<integer>40200</integer></dict></plist>";
                    s->write("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " + QByteArray::number(feed.size()) +
                             "\r\n\r\n" + feed);
                    s->disconnectFromHost();
                });
                connect(s, &QTcpSocket::disconnected, s, &QObject::deleteLater);
            }
        });
    }
    QString url() const { return QStringLiteral("http://127.0.0.1:%1/mac/quorvane.plist").arg(serverPort()); }
};

struct Checker {
    MemoryUserDefaults defaults;
    qv::test::FakeWorkspace workspace;
    NetworkFeedFetcher fetcher;
    std::vector<Alert> alerts;
    ZKPhoneHome home;
    explicit Checker(const QString& url) {
        MyAppDelegate::initialize(defaults);
        defaults.registerDefaults(prefs::optInDefaults());
        home.setServices({&defaults, &fetcher, &workspace, [this](const Alert& a) {
                              alerts.push_back(a);
                              return kAlertFirstButtonReturn + 2;
                          },
                          {}, {}});
        home.SetValueAppRelease(40200, QStringLiteral("Quorvane"), url, url, url, url);
    }
    // Every way a check starts: at start-up (verbose and silent, with the invitation), daily, and
    // by the user's command.
    void tryEveryCheck() {
        for (bool notify : {true, false}) {
            defaults.setObject(prefs::notifyUpdate, Value::boolean(notify));
            defaults.removeObject(prefs::lastCheckDateForUpdate);
            home.startupProcedure();
            qv::test::spinUntil([&] { return !home.isChekingUpdateSystem; });
        }
        home.silentCheckForLastReleaseAvailable();
        qv::test::spinUntil([&] { return !home.isChekingUpdateSystem; });
        home.checkForLastReleaseAvailableWithNotify();
        qv::test::spinUntil([&] { return !home.isChekingUpdateSystem; });
        qv::test::spinFor(200);  // a request under way would have connected by now
    }
};

}  // namespace

TEST(UpdateCheckSwitch, TurnedOffByThePreferenceOrTheBuildNoRequestLeavesTheMachine) {
    CountingServer server;
    ASSERT_TRUE(server.isListening());
    {
        Checker c(server.url());
        EXPECT_TRUE(c.defaults.boolForKey(prefs::updateCheckEnabled));  // on unless turned off
        c.defaults.setObject(prefs::updateCheckEnabled, Value::boolean(false));
        c.tryEveryCheck();
        EXPECT_EQ(server.connections, 0);
        // The user's own check says why nothing happens; the others stay quiet.
        ASSERT_EQ(c.alerts.size(), 1u);
        EXPECT_EQ(c.alerts[0].messageText, QStringLiteral("Quorvane does not check for updates"));
    }
    {
        Checker c(server.url());
        c.home.builtWithUpdateCheck = false;  // as built with -DQV_UPDATE_CHECK=OFF
        c.tryEveryCheck();
        EXPECT_EQ(server.connections, 0);
        ASSERT_EQ(c.alerts.size(), 1u);
        EXPECT_TRUE(c.alerts[0].informativeText.contains(QStringLiteral("built without")));
    }
    {
        // Left on, the same calls reach the server: it would have counted the requests above.
        Checker c(server.url());
        c.tryEveryCheck();
        EXPECT_GE(server.connections, 2);
        EXPECT_FALSE(c.home.lastCheckNotToday());
    }
}

TEST(UpdateCheckLimit, AMirrorThatSendsFarMoreThanAFeedIsCutOffAtTheLimit) {
    // A plain socket on its own thread, so that it sends as fast as the connection takes it
    // whatever the fetching side does: it announces 2 GB and sends until the other end is gone.
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_GE(listener, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(listener, 1), 0);
    socklen_t length = sizeof address;
    ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    const int port = ntohs(address.sin_port);
    std::atomic<qint64> sent{0};
    std::thread mirror([&] {
        const int s = ::accept(listener, nullptr, nullptr);
        if (s < 0) return;
        char request[4096];
        (void)::recv(s, request, sizeof request, 0);
        const QByteArray head = "HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nContent-Length: 2147483648\r\n\r\n";
        (void)::send(s, head.constData(), size_t(head.size()), MSG_NOSIGNAL);
        const QByteArray chunk(64 * 1024, 'x');
        while (sent < (qint64(2) << 30)) {
            const ssize_t n = ::send(s, chunk.constData(), size_t(chunk.size()), MSG_NOSIGNAL);
            if (n <= 0) break;
            sent += n;
        }
        ::close(s);
    });
    const auto answer = NetworkFeedFetcher::fetchNow(QStringLiteral("http://127.0.0.1:%1/feed.plist").arg(port), 60000,
                                                     1 << 20);
    ::shutdown(listener, SHUT_RDWR);
    mirror.join();
    ::close(listener);
    EXPECT_FALSE(answer.has_value());
    // The limit and what the system's socket buffers hold, not the hundreds of megabytes that
    // reached the program before.
    EXPECT_LT(sent.load(), qint64(16) << 20) << sent.load();
}

TEST(UpdateCheckSwitch, ThePreferencesOfferItBesideTheOtherUpdateSettings) {
    MemoryUserDefaults defaults;
    MyAppDelegate::initialize(defaults);
    defaults.registerDefaults(prefs::optInDefaults());
    MyAppDelegate delegate;
    PreferencesWindow w(defaults, delegate);
    auto* enabled = w.findChild<QCheckBox*>(prefs::updateCheckEnabled);
    auto* notify = w.findChild<QCheckBox*>(prefs::notifyUpdate);
    ASSERT_NE(enabled, nullptr);
    ASSERT_NE(notify, nullptr);
    EXPECT_EQ(enabled->parentWidget(), notify->parentWidget());  // on the Software Update page
    EXPECT_TRUE(enabled->isChecked());
    enabled->click();
    EXPECT_FALSE(defaults.boolForKey(prefs::updateCheckEnabled));
    EXPECT_FALSE(notify->isEnabled());
    EXPECT_FALSE(w.findChild<QPushButton*>(QStringLiteral("checkForLastReleaseAvailable"))->isEnabled());
    enabled->click();
    EXPECT_TRUE(defaults.boolForKey(prefs::updateCheckEnabled));
    EXPECT_TRUE(notify->isEnabled());
}
