#include "shell/ZKUrlResolutor.h"

#include "support/Fakes.h"

#include <gtest/gtest.h>

using namespace qv;

namespace {
struct Resolver {
    test::FakeWorkspace workspace;
    QStringList existing;
    ZKUrlResolutor r{workspace, [this](const QString& p) { return existing.contains(p); }};
    QString open(const QString& url, const QString& user = {}, const QString& password = {}) {
        workspace.openedUrls.clear();
        r.openUrl(url, user, password);
        return workspace.openedUrls.empty() ? QString() : workspace.openedUrls.back();
    }
};
}  // namespace

TEST(UrlResolutor, ClassifiesInOrderAndFallsBackToHttp) {
    Resolver x;
    EXPECT_EQ(x.open(QStringLiteral("ftp://host/dir"), QStringLiteral("U"), QStringLiteral("P")),
              QStringLiteral("ftp://U:P@host/dir"));
    EXPECT_EQ(x.open(QStringLiteral("ftp://host/dir"), QStringLiteral("U"), QString()), QStringLiteral("ftp://host/dir"));
    EXPECT_EQ(x.open(QStringLiteral("example.com")), QStringLiteral("http://example.com"));
    EXPECT_EQ(x.open(QStringLiteral("me@example.com")), QStringLiteral("mailto:me@example.com"));
    EXPECT_EQ(x.open(QStringLiteral("me@example.abcdefg")), QStringLiteral("http://me@example.abcdefg"));
    EXPECT_EQ(x.open(QStringLiteral("HTTP://Example.com")), QStringLiteral("http://HTTP://Example.com"));
    EXPECT_EQ(x.open(QStringLiteral("  https://bank.example  ")), QStringLiteral("https://bank.example"));
    EXPECT_EQ(x.open(QStringLiteral("telnet://host")), QStringLiteral("http://telnet://host"));
    EXPECT_EQ(x.open(QString()), QStringLiteral("http://"));
    // A file that exists opens as a file; one that doesn't goes the http way, prefix and all.
    x.existing << QStringLiteral("/tmp/notes.txt");
    x.open(QStringLiteral("file:///tmp/notes.txt"));
    EXPECT_EQ(x.workspace.openedFiles.back(), QStringLiteral("/tmp/notes.txt"));
    EXPECT_EQ(x.open(QStringLiteral("file:///nowhere")), QStringLiteral("http://file:///nowhere"));
    // A handler that fails also leads to the second try.
    x.workspace.succeed = false;
    x.workspace.openedUrls.clear();
    x.r.openUrl(QStringLiteral("https://x.example"));
    EXPECT_EQ(x.workspace.openedUrls.size(), 2u);
    EXPECT_EQ(x.r.openUrl(std::nullopt), false);
    EXPECT_EQ(x.workspace.openedUrls.back(), QStringLiteral("http://(null)"));
}

TEST(NetValidator, PatternsKeptAsTheyStand) {
    EXPECT_TRUE(ZKNetValidator::isValidEmail(QStringLiteral(" a.b+c@mail.example.org ")));
    EXPECT_FALSE(ZKNetValidator::isValidEmail(QStringLiteral("a@b")));
    EXPECT_TRUE(ZKNetValidator::isValidEmailAlsoMultiple(QStringLiteral("a@b.co, c@d.io,")));
    EXPECT_TRUE(ZKNetValidator::isValidEmailAlsoMultiple(QString()));
    EXPECT_FALSE(ZKNetValidator::isValidEmailAlsoMultiple(QStringLiteral("a@b.co, nope")));
    EXPECT_TRUE(ZKNetValidator::isValidDomain(QStringLiteral("my-host.example.com")));
    EXPECT_FALSE(ZKNetValidator::isValidDomain(QStringLiteral("localhost")));
    EXPECT_TRUE(ZKNetValidator::isNumericDomain(QStringLiteral("192.168.10.99")));
    EXPECT_FALSE(ZKNetValidator::isNumericDomain(QStringLiteral("10.0.0.1")));  // one digit is not enough
    EXPECT_TRUE(ZKNetValidator::isNumericDomain(QStringLiteral("999.99.99.99")));  // no 255 limit
}
