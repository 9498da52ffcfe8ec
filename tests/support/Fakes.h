#pragma once

// In-memory stand-ins for the platform ports. Each records what the logic asked of it and
// answers as the test scripts it, so behaviour is checked without a display or a network.

#include "browsing/RecordBrowserUi.h"
#include "document/DocumentWindowUi.h"
#include "foundation/FeedFetcher.h"
#include "foundation/Pasteboard.h"
#include "foundation/StatusItem.h"
#include "foundation/Workspace.h"
#include "passwordtools/NoticeUi.h"

#include <QHash>
#include <QStringList>

#include <deque>
#include <vector>

namespace qv::test {

// The document's window: sheets and alerts answered as scripted, the layout steps recorded.
class FakeDocumentWindowUi : public DocumentWindowUi {
public:
    std::vector<Alert> alerts;      // every sheet and modal alert, in order
    std::deque<int> answers;        // codes to answer with; 1000 when empty
    Rect frame{100, 100, 800, 600};
    bool toolbarVisible = true;

    void beginSheet(const Alert& alert, std::function<void(int)> done) override { done(answer(alert)); }
    int runModal(const Alert& alert) override { return answer(alert); }
    Rect windowFrame() const override { return frame; }
    void setWindowFrame(const Rect& f) override {
        frame = f;
        calls << QStringLiteral("frame %1x%2").arg(f.width).arg(f.height);
    }
    void selectTabPage(int index) override { calls << QStringLiteral("tab %1").arg(index); }
    bool isToolbarVisible() const override { return toolbarVisible; }
    void setToolbarVisible(bool v) override {
        toolbarVisible = v;
        calls << QStringLiteral("toolbar %1").arg(v);
    }
    void focusSearchField() override { calls << QStringLiteral("focusSearchField"); }

    QStringList calls;  // the layout steps, in order
    void setDecryptProgressAnimating(bool a) override { calls << QStringLiteral("progress %1").arg(a); }
    void setDetailViewCollapsed(bool c) override { calls << QStringLiteral("detailCollapsed %1").arg(c); }
    void synkCategorySubMenu() override { calls << QStringLiteral("synkCategorySubMenu"); }
    void liftMaximumWindowSize() override { calls << QStringLiteral("liftMaximumWindowSize"); }
    void applyColumnSize(const Value&) override { calls << QStringLiteral("applyColumnSize"); }
    void setColumnVisibilityCompactPlusCMA() override { calls << QStringLiteral("compactPlusCMA"); }
    void applyColumnVisibility(const Value&) override { calls << QStringLiteral("applyColumnVisibility"); }
    void setSplitViewFrames(const Rect&, const Rect&) override { calls << QStringLiteral("splitFrames"); }
    void orderByColumn(const QString& id, bool asc) override {
        calls << QStringLiteral("orderBy %1 %2").arg(id).arg(asc);
    }
    void clearPasswordToDecryptField() override { calls << QStringLiteral("clearPasswordField"); }

    // The user at a password sheet: fills the document's fields and answers; cancels if unset.
    std::function<int(PasswordSheet)> atPasswordSheet;
    std::vector<PasswordSheet> sheetsShown;
    bool closed = false;
    void showPasswordSheet(PasswordSheet sheet, std::function<void(int)> done) override {
        sheetsShown.push_back(sheet);
        done(atPasswordSheet ? atPasswordSheet(sheet) : kAlertSecondButtonReturn);
    }
    bool isPasswordToDecryptFieldEmpty() const override { return true; }
    void focusPasswordToDecryptField() override {}
    void closeDocument() override { closed = true; }

    Value columns{Array{Value::real(120), Value::real(200)}};
    Value visibilities{Array{Value::boolean(true), Value::boolean(false)}};
    Rect leftPane{0, 0, 250, 500}, rightPane{251, 0, 549, 500};
    int endedSheets = 0;
    Value columnSizes() const override { return columns; }
    Value columnVisibilities() const override { return visibilities; }
    Rect splitLeftFrame() const override { return leftPane; }
    Rect splitRightFrame() const override { return rightPane; }
    void endAttachedSheet() override { ++endedSheets; }
    void shrinkToMinimumSizeAndPin() override { calls << QStringLiteral("shrink"); }

private:
    int answer(const Alert& alert) {
        alerts.push_back(alert);
        if (answers.empty()) return kAlertFirstButtonReturn;
        const int a = answers.front();
        answers.pop_front();
        return a;
    }
};

// The record browser's part of the window: the filter strip, the name field and the pop-up.
class FakeRecordBrowserUi : public RecordBrowserUi {
public:
    bool filterPaneVisible = false;
    int filterPaneChanges = 0;
    QString filterSentence;
    int nameFieldFocus = 0;
    int valueRedraws = 0;
    QStringList popupTitles;
    int popupIndex = 0;
    void showFilterInfoPane(bool visible, const QString& sentence) override {
        filterPaneChanges += visible != filterPaneVisible;
        filterPaneVisible = visible;
        filterSentence = sentence;
    }
    void reloadRecords() override {}
    void recordValuesChanged() override { ++valueRedraws; }
    void scrollRowToVisible(qsizetype) override {}
    void focusNameField() override { ++nameFieldFocus; }
    void setCategoryPopupTitles(const QStringList& titles) override { popupTitles = titles; }
    int categoryPopupSelectedIndex() const override { return popupIndex; }
    void selectCategoryPopupIndex(int index) override { popupIndex = index; }
};

// The copier's notice and the secure fields of the record form.
class FakeNoticeUi : public NoticeUi {
public:
    std::vector<std::pair<QString, double>> notices;
    QHash<QString, QString> secureFields;
    void openHud(const QString& text, double seconds) override { notices.emplace_back(text, seconds); }
    QString secureFieldText(const QString& key) const override { return secureFields.value(key); }
};

class FakePasteboard : public Pasteboard {
public:
    std::vector<QString> written;
    void setString(const QString& text) override { written.push_back(text); }
};

class FakeStatusItem : public StatusItem {
public:
    bool shown = false;
    QString toolTip;
    std::function<void()> clicked;
    int shows = 0;
    void show(const QString& tip, std::function<void()> onClick) override {
        shown = true;
        toolTip = tip;
        clicked = std::move(onClick);
        ++shows;
    }
    void remove() override {
        shown = false;
        clicked = nullptr;
    }
    bool isShown() const override { return shown; }
};

class FakeWorkspace : public Workspace {
public:
    std::vector<QString> openedUrls, openedFiles, revealedFiles;
    bool succeed = true;
    bool openUrl(const QString& url) override { return record(openedUrls, url); }
    bool openFile(const QString& path) override { return record(openedFiles, path); }
    bool revealFile(const QString& path) override { return record(revealedFiles, path); }

private:
    bool record(std::vector<QString>& list, const QString& s) {
        list.push_back(s);
        return succeed;
    }
};

class FakeFeedFetcher : public FeedFetcher {
public:
    QHash<QString, QByteArray> feeds;  // a URL not listed does not answer
    std::vector<QString> requested;
    // When set, answers wait in `held` until the test releases them, as a slow network would.
    bool hold = false;
    std::deque<std::function<void()>> held;
    void fetch(const QString& url, std::function<void(std::optional<QByteArray>)> done) override {
        requested.push_back(url);
        auto answer = [this, url, done] {
            if (feeds.contains(url)) done(feeds.value(url));
            else done(std::nullopt);
        };
        if (hold) held.push_back(answer);
        else answer();
    }
    void releaseAll() {
        while (!held.empty()) {
            auto a = std::move(held.front());
            held.pop_front();
            a();
        }
    }
};

}  // namespace qv::test
