#include "Application.h"
#include "DocumentController.h"
#include "DocumentWindow.h"
#include "MainWindow.h"
#include "NetworkFeedFetcher.h"
#include "PlainViews.h"
#include "PreferencesWindow.h"

#include "foundation/PropertyList.h"
#include "support/EventLoop.h"
#include "support/Fakes.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QRadioButton>
#include <QSpinBox>
#include <QToolBar>
#include <QFile>
#include <QLineEdit>
#include <QMenuBar>
#include <QPushButton>
#include <QTabWidget>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <algorithm>

using namespace qv;
using namespace qv::app;

namespace {

int frameHeight(const QWidget& w) { return w.frameGeometry().height(); }

TEST(PreferencesWindow, PanesSetTheirHeightWithTheTopEdgeStill) {
    MemoryUserDefaults defaults;
    MyAppDelegate::initialize(defaults);
    MyAppDelegate delegate;
    PreferencesWindow w(defaults, delegate);
    EXPECT_EQ(w.windowTitle(), QStringLiteral("General"));
    EXPECT_EQ(frameHeight(w), 215 + 78);
    w.openPreferences();
    w.move(40, 60);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&w));
    const int top = w.frameGeometry().top();

    ZKPrefToolbarDelegate& panes = w.toolbarDelegate();
    panes.SetPanelTab(3);
    EXPECT_EQ(w.windowTitle(), QStringLiteral("Timing"));
    EXPECT_EQ(w.tabView()->currentIndex(), 3);
    EXPECT_EQ(frameHeight(w), 424 + 78);
    EXPECT_EQ(w.frameGeometry().top(), top);
    for (int outside : {6, -1}) {
        panes.SetPanelTab(outside);
        EXPECT_EQ(w.tabView()->currentIndex(), 3);
        EXPECT_EQ(frameHeight(w), 424 + 78);
    }
    // A click on a toolbar item goes through the item's tag.
    const QList<QAction*> items = panes.toolbar->actions();
    ASSERT_EQ(items.size(), 6);
    const int heights[] = {215, 153, 150, 424, 140, 150};
    const char* titles[] = {"General", "Font", "Password Create", "Timing", "Advanced", "Software Update"};
    for (int i : {4, 4, 1, 5, 2, 0}) {
        items[i]->trigger();
        EXPECT_EQ(w.windowTitle(), QLatin1String(titles[i]));
        EXPECT_EQ(frameHeight(w), heights[i] + 78) << i;
        EXPECT_TRUE(items[i]->isChecked());
        EXPECT_FALSE(items[i]->icon().isNull());
    }
    // Opening again leaves the window where it is and on its pane.
    panes.SetPanelTab(2);
    w.openPreferences();
    EXPECT_EQ(w.frameGeometry().topLeft(), QPoint(40, 60));
    EXPECT_EQ(w.tabView()->currentIndex(), 2);
    w.openPreferencesAtTab(5);
    EXPECT_EQ(w.windowTitle(), QStringLiteral("Software Update"));

    // On a real screen the window slides there; a pane chosen on the way wins, and the slide
    // it cut short does not come back to resize the window once more.
    panes.animatesResize = true;
    panes.SetPanelTab(3);
    EXPECT_LT(frameHeight(w), 424 + 78);
    panes.SetPanelTab(4);
    ASSERT_TRUE(QTest::qWaitFor([&] { return frameHeight(w) == 140 + 78; }, 2000));
    QTest::qWait(300);
    EXPECT_EQ(frameHeight(w), 140 + 78);
    EXPECT_EQ(w.minimumSize(), w.maximumSize());
    EXPECT_EQ(w.frameGeometry().topLeft(), QPoint(40, 60));
}

TEST(PreferencesWindow, EveryUserSetKeyHasALiveControlAndDefaultsComeBack) {
    MemoryUserDefaults defaults;
    MyAppDelegate::initialize(defaults);
    defaults.registerDefaults(prefs::optInDefaults());
    MyAppDelegate delegate;
    delegate.buildUpFontMenuAndBindProgrammatically({QStringLiteral("DejaVu Sans"), QStringLiteral("DejaVu Serif")});
    PreferencesWindow w(defaults, delegate);
    QStringList changed;
    QObject::connect(&w, &PreferencesWindow::preferenceChanged, [&](const QString& k) { changed << k; });
    for (const QString& key : {prefs::notifyUpdate, prefs::tableFontFamily, prefs::tableFontSize, prefs::tableFontBold,
                               prefs::tableFontItalic, prefs::autosavingDelay, prefs::autolocBackgroundEnabled,
                               prefs::autolocBackgroundInterval, prefs::disposePasswordIconAfter,
                               prefs::noCharStringDisambiguator, prefs::tableSortCompare, prefs::notifyHudTimer,
                               prefs::useHudNotifyForCopy, prefs::enableDisambiguator, prefs::StartupSelectedDocPath,
                               prefs::automaticSavingInterval, prefs::openingSortBy, prefs::clearClipboardAfter,
                               prefs::lockDocumentsWhenSessionLocks})
        EXPECT_NE(w.findChild<QWidget*>(key), nullptr) << key.toStdString();
    for (int tag = 0; tag < 4; ++tag)
        EXPECT_NE(w.findChild<QWidget*>(QStringLiteral("startupAction%1").arg(tag)), nullptr);

    // The table font the system lacks is still shown as chosen.
    EXPECT_EQ(w.findChild<QComboBox*>(prefs::tableFontFamily)->currentText(), QStringLiteral("Lucida Grande"));
    w.findChild<QCheckBox*>(prefs::useHudNotifyForCopy)->click();
    EXPECT_FALSE(defaults.boolForKey(prefs::useHudNotifyForCopy));
    EXPECT_TRUE(changed.contains(prefs::useHudNotifyForCopy));
    w.findChild<QDoubleSpinBox*>(prefs::notifyHudTimer)->setValue(2.5);  // kept in tenths
    EXPECT_EQ(defaults.objectForKey(prefs::notifyHudTimer).toInt64(), 25);
    auto* chars = w.findChild<QLineEdit*>(prefs::noCharStringDisambiguator);
    w.findChild<QCheckBox*>(prefs::enableDisambiguator)->click();
    chars->selectAll();
    QTest::keyClicks(chars, QStringLiteral("xyz"));
    EXPECT_EQ(defaults.stringForKey(prefs::noCharStringDisambiguator), QStringLiteral("xyz"));
    w.findChild<QPushButton*>(QStringLiteral("resetDisambiguator"))->click();
    EXPECT_EQ(chars->text(), QStringLiteral("0O1lI"));
    w.findChild<QRadioButton*>(QStringLiteral("startupAction2"))->click();
    EXPECT_EQ(defaults.integerForKey(prefs::StartupActionTag), 2);

    // Clearing the clipboard: 0 is never, the box turns the shown number on and off.
    auto* clearAfter = w.findChild<QSpinBox*>(prefs::clearClipboardAfter);
    auto* clearBox = w.findChild<QCheckBox*>(QStringLiteral("clearClipboardEnabled"));
    EXPECT_FALSE(clearBox->isChecked());
    EXPECT_FALSE(clearAfter->isEnabled());
    clearAfter->setValue(45);
    EXPECT_EQ(defaults.integerForKey(prefs::clearClipboardAfter), 0);
    clearBox->click();
    EXPECT_EQ(defaults.integerForKey(prefs::clearClipboardAfter), 45);
    clearAfter->setValue(12);
    EXPECT_EQ(defaults.integerForKey(prefs::clearClipboardAfter), 12);
    w.findChild<QCheckBox*>(prefs::lockDocumentsWhenSessionLocks)->click();
    EXPECT_TRUE(defaults.boolForKey(prefs::lockDocumentsWhenSessionLocks));
    w.findChild<QSpinBox*>(prefs::automaticSavingInterval)->setValue(90);
    EXPECT_EQ(defaults.integerForKey(prefs::automaticSavingInterval), 90);

    changed.clear();
    w.findChild<QPushButton*>(QStringLiteral("restoreDefaults"))->click();
    EXPECT_TRUE(defaults.boolForKey(prefs::useHudNotifyForCopy));
    EXPECT_EQ(defaults.integerForKey(prefs::notifyHudTimer), 10);
    EXPECT_EQ(defaults.integerForKey(prefs::StartupActionTag), 0);
    EXPECT_TRUE(w.findChild<QCheckBox*>(prefs::useHudNotifyForCopy)->isChecked());
    EXPECT_TRUE(w.findChild<QRadioButton*>(QStringLiteral("startupAction0"))->isChecked());
    EXPECT_EQ(defaults.integerForKey(prefs::automaticSavingInterval), 40);
    // The opt-in settings are off again, and so are their controls.
    EXPECT_EQ(defaults.integerForKey(prefs::clearClipboardAfter), 0);
    EXPECT_FALSE(defaults.boolForKey(prefs::lockDocumentsWhenSessionLocks));
    EXPECT_TRUE(changed.contains(prefs::lockDocumentsWhenSessionLocks));
    EXPECT_FALSE(clearBox->isChecked());
    EXPECT_FALSE(w.findChild<QCheckBox*>(prefs::lockDocumentsWhenSessionLocks)->isChecked());
    // Not registered, so not restored: the user's own choice stays.
    EXPECT_TRUE(defaults.boolForKey(prefs::enableDisambiguator));
}

// A tiny HTTP server on 127.0.0.1 that serves one body for one path. It runs on the main
// thread: a fetch that blocked the main thread would never get its answer.
class FeedServer : public QTcpServer {
public:
    QByteArray path = "/mac/quorvane.plist";
    QByteArray body;
    int requests = 0;
    FeedServer() {
        listen(QHostAddress::LocalHost, 0);
        connect(this, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* s = nextPendingConnection()) {
                connect(s, &QTcpSocket::readyRead, s, [this, s] {
                    const QByteArray request = s->peek(4096);
                    if (!request.contains("\r\n\r\n")) return;
                    ++requests;
                    const bool found = request.startsWith("GET " + path + " ");
                    const QByteArray content = found ? body : QByteArrayLiteral("not here");
                    s->write((found ? "HTTP/1.1 200 OK\r\n" : "HTTP/1.1 404 Not Found\r\n") +
                             QByteArray("Content-Type: text/xml\r\nConnection: close\r\nContent-Length: ") +
                             QByteArray::number(content.size()) + "\r\n\r\n" + content);
                    s->disconnectFromHost();
                });
                connect(s, &QTcpSocket::disconnected, s, &QObject::deleteLater);
            }
        });
    }
    QString url(const char* p = "/mac/quorvane.plist") const {
        return QStringLiteral("http://127.0.0.1:%1%2").arg(serverPort()).arg(QLatin1String(p));
    }
};

QString closedPort() {
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    const quint16 port = probe.serverPort();
    probe.close();
    return QStringLiteral("http://127.0.0.1:%1/mac/quorvane.plist").arg(port);
}

QByteArray xmlFeed(const char* lra) {
    return QByteArrayLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>") +
           "<key>LRA</key><integer>" + lra + "</integer>"
           "<key>GFU</key><string>http://127.0.0.1/quorvane.zip</string>"
           "<key>DPU</key><string>http://127.0.0.1/download</string></dict></plist>";
}

// What the answers mean is checked against a fake fetcher; here the feed comes over real HTTP.
TEST(UpdateCheck, FetchesFromTheFirstMirrorThatAnswersOverHttp) {
    FeedServer server;
    ASSERT_TRUE(server.isListening());
    MemoryUserDefaults defaults;
    MyAppDelegate::initialize(defaults);
    qv::test::FakeWorkspace workspace;
    NetworkFeedFetcher fetcher;
    std::vector<Alert> alerts;
    ZKPhoneHome home;
    home.setServices({&defaults, &fetcher, &workspace, [&](const Alert& a) {
                          alerts.push_back(a);
                          return kAlertFirstButtonReturn;
                      },
                      {}, {}});
    // Mirror 1 refuses the connection, mirror 2 has no such file, mirror 3 serves the feed.
    home.SetValueAppRelease(40200, QStringLiteral("Quorvane"), closedPort(), server.url("/elsewhere.plist"),
                            server.url(), server.url());
    const auto check = [&] {
        alerts.clear();
        home.checkForLastReleaseAvailableWithNotify();
        return qv::test::spinUntil([&] { return !home.isChekingUpdateSystem; }) && alerts.size() == 1u;
    };

    server.body = xmlFeed("40300");
    ASSERT_TRUE(check());
    EXPECT_EQ(server.requests, 2);  // mirror 2's miss and mirror 3's answer; mirror 4 not asked
    EXPECT_EQ(alerts[0].messageText, QStringLiteral("There is an update available for Quorvane"));
    EXPECT_EQ(workspace.openedUrls.front(), QStringLiteral("http://127.0.0.1/quorvane.zip"));
    EXPECT_FALSE(home.lastCheckNotToday());

    // The binary form is read as well; a damaged feed is just a mirror that did not answer.
    Dictionary feed;
    feed.set(QStringLiteral("LRA"), Value::integer(50000));
    server.body = *writeBinaryPropertyList(Value(feed));
    ASSERT_TRUE(check());
    EXPECT_TRUE(alerts[0].informativeText.contains(QStringLiteral("Latest available release is: 5.0")));
    server.body = server.body.left(20);
    ASSERT_TRUE(check());
    EXPECT_EQ(alerts[0].messageText, QStringLiteral("Quorvane was not able to connect to the Zenmorrow server"));
}

TEST(Application, MenusOfferPreferencesUpdatesAndTheGuide) {
    Application quorvane(std::make_unique<MemoryUserDefaults>());
    MainWindow window(&quorvane.documents());
    quorvane.addApplicationCommands(&window);
    EXPECT_EQ(window.windowTitle(), QStringLiteral("Quorvane"));
    EXPECT_GE(window.minimumWidth(), 400);
    ASSERT_FALSE(window.menuBar()->actions().isEmpty());
    EXPECT_EQ(window.menuBar()->actions().first()->text(), QStringLiteral("Quorvane"));  // the application menu first
    const QList<QAction*> items = window.applicationMenu()->actions();
    EXPECT_EQ(items.value(1)->text(), QStringLiteral("Software Update\u2026"));
    EXPECT_TRUE(std::any_of(items.begin(), items.end(),
                            [](QAction* a) { return a->text() == QStringLiteral("Quit Quorvane"); }));
    QAction* prefsItem = window.findChild<QAction*>(QStringLiteral("openPreferences:"));
    ASSERT_NE(prefsItem, nullptr);
    EXPECT_EQ(prefsItem->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Comma));
    EXPECT_GT(items.indexOf(prefsItem), 1);
    ASSERT_NE(window.findChild<QAction*>(QStringLiteral("openUserGuide:")), nullptr);
    EXPECT_EQ(window.findChild<QAction*>(QStringLiteral("openUserGuide:"))->text(), QStringLiteral("Quorvane 4 User Guide"));
    prefsItem->trigger();
    EXPECT_TRUE(quorvane.preferences().isVisible());
    quorvane.preferences().close();

    // The guide built with the program is a PDF of a few pages, and opening it copies it out.
    QFile guide(QStringLiteral(":/guide/Quorvane 4 User Guide.pdf"));
    ASSERT_TRUE(guide.open(QIODevice::ReadOnly));
    const QByteArray pdf = guide.readAll();
    EXPECT_TRUE(pdf.startsWith("%PDF-"));
    EXPECT_GE(pdf.count("/Type /Page\n") + pdf.count("/Type /Page\r") + pdf.count("/Type /Page "), 3);
    QTemporaryDir data;
    qv::test::FakeWorkspace workspace;
    ZKAppDelegateBase::Services services = quorvane.delegate().services();
    services.workspace = &workspace;
    services.dataFolder = data.path();
    quorvane.delegate().setServices(services);
    quorvane.delegate().openUserGuide();
    QFile copied(quorvane.delegate().getUserGuideFinalPath());
    ASSERT_TRUE(copied.open(QIODevice::ReadOnly));
    EXPECT_EQ(copied.readAll(), pdf);
    EXPECT_EQ(workspace.openedFiles.size(), 1u);
}

TEST(PlainViews, FramesStayInsideAndGradientsRunTheWayTheirAngleSays) {
    auto pixel = [](QWidget& v, int x, int y) { return v.grab().toImage().pixelColor(x, y); };
    ZKWhiteView framed;
    framed.resize(40, 30);
    EXPECT_EQ(pixel(framed, 0, 0), QColor(128, 128, 128));
    EXPECT_EQ(pixel(framed, 39, 29), QColor(128, 128, 128));
    EXPECT_EQ(pixel(framed, 20, 15), QColor(Qt::white));
    ZKWhiteViewNoFrame plain;
    plain.resize(40, 30);
    EXPECT_EQ(pixel(plain, 0, 0), QColor(Qt::white));

    ZKDarkGrayView view;
    view.resize(40, 100);
    EXPECT_LT(pixel(view, 20, 99).lightness(), pixel(view, 20, 0).lightness());
    view.myGradient = {{0.0, Qt::black}, {1.0, Qt::white}};
    EXPECT_LT(pixel(view, 20, 99).lightness(), 10);  // 90 degrees: the first colour at the bottom
    EXPECT_GT(pixel(view, 20, 0).lightness(), 245);
    view.angle = 0;
    EXPECT_LT(pixel(view, 0, 50).lightness(), 10);
    EXPECT_GT(pixel(view, 39, 50).lightness(), 245);
    view.isRadial = true;
    EXPECT_LT(pixel(view, 20, 50).lightness(), 10);
    EXPECT_GT(pixel(view, 0, 0).lightness(), 235);
}

}  // namespace
