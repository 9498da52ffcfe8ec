#include "shell/MyAppDelegate.h"
#include "shell/ZKBookmark.h"

#include "support/Fakes.h"
#include "support/ManualQueue.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace qv;
using qv::test::FakeWorkspace;
using qv::test::ManualQueue;

namespace {

class FakeApplicationUi : public ApplicationUi {
public:
    int documents = 0;
    int newDocuments = 0, openDialogs = 0, preferences = 0;
    std::vector<QString> opened;
    std::vector<Alert> alerts;
    std::deque<int> answers;
    std::vector<std::pair<double, std::function<void()>>> timers;
    ManualQueue queue;
    std::optional<QString> panelAnswer;
    std::vector<FilePanelOptions> panels;

    bool hasDocuments() const override { return documents > 0; }
    void newDocument() override { ++newDocuments, ++documents; }
    void openDocument() override { ++openDialogs; }
    void openDocumentWithContentsOfURL(const QString& path, std::function<void()> completion) override {
        opened.push_back(path);
        ++documents;
        completion();
    }
    int runModal(const Alert& alert) override {
        alerts.push_back(alert);
        if (answers.empty()) return kAlertSecondButtonReturn;
        const int a = answers.front();
        answers.pop_front();
        return a;
    }
    void openPreferences() override { ++preferences; }
    std::optional<QString> runOpenPanelOnPreferences(const FilePanelOptions& o) override {
        panels.push_back(o);
        return panelAnswer;
    }
    void scheduleTimer(double seconds, std::function<void()> fire) override { timers.emplace_back(seconds, std::move(fire)); }
    void postToMainQueue(std::function<void()> step) override { queue.poster()(std::move(step)); }
    void fireTimers() {
        auto t = std::move(timers);
        timers.clear();
        for (auto& [s, f] : t) f();
    }
};

class StartupDocument : public ::testing::Test {
protected:
    QTemporaryDir dir;
    MemoryUserDefaults defaults;
    FakeApplicationUi ui;
    FakeWorkspace workspace;
    MyAppDelegate delegate;

    void SetUp() override {
        MyAppDelegate::initialize(defaults);
        delegate.setServices({&defaults, &ui, &workspace, nullptr, {}, dir.path()});
    }
    QString makeFile(const QString& name) {
        QFile f(dir.filePath(name));
        f.open(QIODevice::WriteOnly);
        f.write("qvane");
        return f.fileName();
    }
    void choose(const QString& path) {
        ui.panelAnswer = path;
        delegate.selectStartupDoc();
    }
    void action(int tag) { defaults.setObject(prefs::StartupActionTag, Value::integer(tag)); }
};

TEST_F(StartupDocument, NewDocumentOrOpenDialogOnlyWhenNothingArrivedWithinASecond) {
    EXPECT_TRUE(delegate.applicationShouldOpenUntitledFile());
    delegate.executeDocumentStartupAsInPref();
    ASSERT_EQ(ui.timers.size(), 1u);
    EXPECT_EQ(ui.timers[0].first, 1.0);
    ui.documents = 1;  // a double-clicked file opened in the meantime
    ui.fireTimers();
    EXPECT_EQ(ui.newDocuments, 0);

    ui.documents = 0;
    delegate.executeDocumentStartupAsInPref();
    ui.fireTimers();
    EXPECT_EQ(ui.newDocuments, 1);

    // A document that is being made counts, even before its window is there.
    action(1);
    EXPECT_FALSE(delegate.applicationShouldOpenUntitledFile());
    ui.documents = 0;
    delegate.documentIsOpening = 1;
    delegate.executeDocumentStartupAsInPref();
    ui.fireTimers();
    EXPECT_EQ(ui.openDialogs, 0);
    delegate.documentIsOpening = 0;
    delegate.executeDocumentStartupAsInPref();
    ui.fireTimers();
    EXPECT_EQ(ui.openDialogs, 1);

    // 2: at once, whatever is open; other values: nothing.
    action(2);
    ui.documents = 3;
    delegate.executeDocumentStartupAsInPref();
    EXPECT_EQ(ui.openDialogs, 2);
    EXPECT_TRUE(ui.timers.empty());
    action(7);
    delegate.executeDocumentStartupAsInPref();
    EXPECT_EQ(ui.openDialogs + ui.newDocuments, 3);
    EXPECT_TRUE(ui.timers.empty() && ui.alerts.empty());
}

TEST_F(StartupDocument, ChosenDocumentOpensAndAClearedChoiceAlertsAfterLaunch) {
    action(3);
    const QString file = makeFile(QStringLiteral("Bank.qvane"));
    choose(file);
    EXPECT_EQ(ui.panels.at(0).allowedExtensions, QStringList{QStringLiteral("qvane")});
    EXPECT_EQ(ui.panels.at(0).prompt, QStringLiteral("Select"));
    EXPECT_EQ(defaults.stringForKey(prefs::StartupSelectedDocPath), file);
    delegate.executeDocumentStartupAsInPref();
    EXPECT_EQ(ui.opened, std::vector<QString>{file});

    delegate.clearStartupSelectedDoc();
    EXPECT_FALSE(delegate.StartupDocSpecified);
    EXPECT_EQ(delegate.StartupDocPathMessageString, QStringLiteral("Please select a file or change startup option"));
    delegate.StartupDocSpecified = true;
    delegate.executeDocumentStartupAsInPref();
    EXPECT_TRUE(ui.alerts.empty());  // it waits for the main queue
    ui.answers = {kAlertFirstButtonReturn};
    ui.queue.run();
    ASSERT_EQ(ui.alerts.size(), 1u);
    EXPECT_EQ(ui.alerts[0].messageText, QStringLiteral("Preference was set to open at startup a document without specifying it"));
    EXPECT_EQ(ui.alerts[0].informativeText, QStringLiteral("You can fix the problem in the preferences"));
    EXPECT_EQ(ui.alerts[0].buttons, QStringList({QStringLiteral("Open Preferences"), QStringLiteral("Cancel")}));
    EXPECT_FALSE(delegate.StartupDocSpecified);
    EXPECT_EQ(ui.preferences, 1);
    EXPECT_EQ(ui.opened.size(), 1u);
}

TEST_F(StartupDocument, NeverChosenOrGoneFileIsDeniedAccess) {
    action(3);
    delegate.executeDocumentStartupAsInPref();  // absent path: not "", so straight to the denial
    ASSERT_EQ(ui.alerts.size(), 1u);
    EXPECT_EQ(ui.alerts[0].messageText,
              QStringLiteral("The system is negating the access to the document selected to be opened at startup"));
    EXPECT_EQ(ui.alerts[0].informativeText, QStringLiteral("It must be re-selected in the preferences"));
    EXPECT_EQ(delegate.StartupDocPathMessageString, QStringLiteral("Not valid bookmark. Please re-select"));
    EXPECT_TRUE(delegate.StartupDocSpecified);
    EXPECT_EQ(ui.preferences, 0);

    const QString file = makeFile(QStringLiteral("Gone.qvane"));
    choose(file);
    QFile::remove(file);
    ui.answers = {kAlertFirstButtonReturn};
    delegate.executeDocumentStartupAsInPref();
    EXPECT_EQ(ui.alerts.size(), 2u);
    EXPECT_EQ(ui.preferences, 1);
    EXPECT_TRUE(ui.opened.empty());
    // Test-open of a gone file shows nothing and keeps the path on view.
    delegate.testOpenStartupDoc();
    EXPECT_EQ(ui.alerts.size(), 2u);
    EXPECT_EQ(defaults.stringForKey(prefs::StartupSelectedDocPath), file);
}

TEST_F(StartupDocument, MovedFileIsAStaleBookmarkThatStillOpens) {
    action(3);
    const QString file = makeFile(QStringLiteral("Home.qvane"));
    choose(file);
    const QString moved = dir.filePath(QStringLiteral("Home renamed.qvane"));
    ASSERT_TRUE(QFile::rename(file, moved));
    delegate.executeDocumentStartupAsInPref();
    EXPECT_EQ(ui.opened, std::vector<QString>{moved});
    EXPECT_EQ(delegate.StartupDocPathMessageString, QStringLiteral("Stale bookmark. Please re-select"));
    EXPECT_TRUE(ui.alerts.empty());

    // Test-open and reveal store the new path.
    delegate.showInFinderStartupDoc();
    EXPECT_EQ(defaults.stringForKey(prefs::StartupSelectedDocPath), moved);
    EXPECT_EQ(workspace.revealedFiles, std::vector<QString>{moved});
    delegate.testOpenStartupDoc();
    EXPECT_EQ(ui.opened.size(), 2u);
}

TEST(ZKBookmark, ResolvesPathsAndRefusesWhatIsNotThere) {
    QTemporaryDir dir;
    bool stale = true;
    EXPECT_FALSE(ZKBookmark::bookmarkForURL_RW(dir.filePath(QStringLiteral("missing"))));
    EXPECT_FALSE(ZKBookmark::urlForBookmark(QByteArray(), &stale));
    EXPECT_FALSE(stale);
    EXPECT_FALSE(ZKBookmark::urlForBookmark(QByteArrayLiteral("relative/path"), &stale));
    // A bare path, without the file's identity, still resolves while the file is there.
    const QByteArray bare = dir.path().toUtf8();
    EXPECT_EQ(ZKBookmark::urlForBookmark(bare, &stale), dir.path());
    EXPECT_FALSE(stale);
}

TEST_F(StartupDocument, UserGuideIsCopiedOnceAndReplacesEarlierReleases) {
    const QString source = makeFile(QStringLiteral("guide-source.pdf"));
    delegate.setServices({&defaults, &ui, &workspace, nullptr, source, dir.filePath(QStringLiteral("data"))});
    const QString folder = dir.filePath(QStringLiteral("data/Quorvane 4 User Guide"));
    EXPECT_EQ(delegate.getUserGuideDirPath(), folder);
    EXPECT_EQ(delegate.getUserGuideFinalPath(), folder + QStringLiteral("/Quorvane 4 User Guide 4.2.pdf"));
    ASSERT_TRUE(QDir().mkpath(folder + QStringLiteral("/old pictures")));
    for (const char* name : {"Quorvane 4 User Guide 4.1.pdf", ".DS_Store", "old pictures/one.png"}) {
        QFile f(folder + QLatin1Char('/') + QLatin1String(name));
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    }
    delegate.openUserGuide();
    EXPECT_EQ(QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList({QStringLiteral(".DS_Store"), QStringLiteral("Quorvane 4 User Guide 4.2.pdf")}));
    EXPECT_EQ(workspace.openedFiles, std::vector<QString>{delegate.getUserGuideFinalPath()});

    // The copy there is kept: opening again does not copy over it.
    QFile copied(delegate.getUserGuideFinalPath());
    ASSERT_TRUE(copied.open(QIODevice::WriteOnly | QIODevice::Truncate));
    copied.write("annotated");
    copied.close();
    delegate.openUserGuide();
    ASSERT_TRUE(copied.open(QIODevice::ReadOnly));
    EXPECT_EQ(copied.readAll(), QByteArrayLiteral("annotated"));
    EXPECT_EQ(workspace.openedFiles.size(), 2u);
}

}  // namespace
