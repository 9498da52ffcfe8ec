// The update feed, from untrusted bytes: whatever a mirror answers goes through the whole check,
// its dialogs and the opening of the feed's addresses. The first byte picks the dialog button
// the user presses; the rest is the first mirror's answer, and the other mirrors don't answer.
//
// What must hold: the check ends, always, and opens one page at most.
#include "foundation/UserDefaults.h"
#include "shell/ZKPhoneHome.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace qv;

namespace {

class Answer : public FeedFetcher {
public:
    QByteArray bytes;
    bool first = true;
    void fetch(const QString&, std::function<void(std::optional<QByteArray>)> done) override {
        const bool answering = first;
        first = false;
        done(answering ? std::optional<QByteArray>(bytes) : std::nullopt);
    }
};

class Opened : public Workspace {
public:
    QStringList urls;
    bool openUrl(const QString& url) override {
        urls << url;
        return true;
    }
    bool openFile(const QString&) override { return false; }
    bool revealFile(const QString&) override { return false; }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) return 0;
    Answer fetcher;
    fetcher.bytes = QByteArray(reinterpret_cast<const char*>(data) + 1, qsizetype(size - 1));
    Opened workspace;
    MemoryUserDefaults defaults;
    const int button = 1000 + data[0] % 3;
    ZKPhoneHome home;
    home.SetValueAppRelease(40200, QStringLiteral("Quorvane"), QStringLiteral("http://one.example/feed.plist"),
                            QStringLiteral("http://two.example/feed.plist"), QString(), QString());
    home.setServices({&defaults, &fetcher, &workspace, [button](const Alert&) { return button; }, {},
                      [] { return QDateTime::fromSecsSinceEpoch(1700000000); }});
    home.checkForLastReleaseAvailableWithNotify();
    if (home.isChekingUpdateSystem) std::abort();
    if (workspace.urls.size() > 1) std::abort();  // one dialog, one button, one page at most
    return 0;
}
