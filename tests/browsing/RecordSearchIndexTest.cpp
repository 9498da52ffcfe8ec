#include "browsing/DocumentBrowser.h"
#include "browsing/RecordSearchIndex.h"
#include "document/DocumentKeys.h"
#include "document/RecordModel.h"

#include "support/Fakes.h"
#include "support/ManualQueue.h"

#include <gtest/gtest.h>

using namespace qv;

namespace {

QString u(const char* utf8) { return QString::fromUtf8(utf8); }

Dictionary record(const QString& name, const QString& note = {}, const Value& category = {}) {
    Dictionary r = RecordModel::newRecord(0);
    r.set(keys::name, Value(name));
    r.set(keys::note, Value(note));
    r.set(keys::password, Value(QStringLiteral("hidden secret")));
    r.set(keys::categoryPtr, category);
    return r;
}

// The answer of the record test itself, one record at a time: what the index must agree with.
std::vector<qsizetype> byRecords(const Array& content, const QString& category, const QString& search) {
    const RecordSearch s(search);
    std::vector<qsizetype> out;
    for (qsizetype i = 0; i < content.count(); ++i) {
        const Dictionary* d = content.at(i).dictionaryIfAny();
        if (d && RecordSearch::recordPasses(*d, category, s)) out.push_back(i);
    }
    return out;
}

// Records in narrow and wide text, with folding, marks, separators and odd content.
struct Mixed {
    Dictionary bank{{keys::cat_category, Value("Bank")}};
    Dictionary home{{keys::cat_category, Value("Home")}};
    Array content;
    Mixed() {
        const QString names[] = {
            QStringLiteral("My Bank Account"),
            u("Hauptstra\xC3\x9F" "e 5"),                 // ß folds to ss
            u("\xEF\xAC\x81sh market"),                   // the fi ligature
            u("Cafe\xCC\x81 Nero"),                        // e and a combining acute: é
            u("caf\xC3\xA9 au lait"),                      // é composed
            u("x\xCC\x81 marks"),                          // a mark with no composed form
            u("\xE6\x9D\xB1\xE4\xBA\xAC Tokyo office"),     // wide text
            u("\xC3\x85ngstr\xC3\xB6m lab"),               // Latin-1 after folding
            QStringLiteral("odd") + QChar(0xFFFF) + QStringLiteral("field"),
            QStringLiteral("nul") + QChar(0) + QStringLiteral("inside"),
            u("\xE2\x84\xAA" "elvin"),                      // the Kelvin sign folds to k
            QString(),
        };
        int i = 0;
        for (const QString& name : names) {
            const Value category = i % 3 == 0 ? Value(bank) : i % 3 == 1 ? Value(home) : Value();
            content.append(Value(record(name, i % 2 ? QStringLiteral("note ") + name : QString(), category)));
            ++i;
        }
        // A field that only one record has, a field that is not text, and content that is no record.
        Dictionary withUrl = record(QStringLiteral("Web"), {}, Value(bank));
        withUrl.set(keys::url, Value("https://EXAMPLE.org/Login"));
        withUrl.set(keys::email, Value::integer(42));
        content.append(Value(withUrl));
        content.append(Value(QStringLiteral("not a record")));
    }
};

}  // namespace

TEST(RecordSearchIndex, AgreesWithTheRecordTestOnEveryKindOfText) {
    Mixed m;
    const QStringList searches = {
        QString(), QStringLiteral("a"), QStringLiteral("BANK"), QStringLiteral("strasse"), u("STRA\xC3\x9F"),
        QStringLiteral("fish"), u("caf\xC3\xA9"), u("cafe\xCC\x81"), QStringLiteral("cafe"), QStringLiteral("e"),
        QStringLiteral("x"), u("\xCC\x81"), u("\xE6\x9D\xB1"), QStringLiteral("tokyo"), u("\xC3\xA5ngstr"),
        QStringLiteral("k"), QStringLiteral("ddf"), QStringLiteral("oddfield"), QString(QChar(0xFFFF)),
        QString(QChar(0xFFFE)), QString(QChar(0)), QStringLiteral("lnul"), QStringLiteral("example.org/login"),
        QStringLiteral("42"), QStringLiteral("secret"), QStringLiteral("note"), QStringLiteral(" "),
    };
    for (const QString& category : {QString(), QStringLiteral("Bank"), QStringLiteral("bank")}) {
        for (const QString& search : searches) {
            RecordSearchIndex index;  // a fresh index: no narrowing
            EXPECT_EQ(index.filter(m.content, category, search), byRecords(m.content, category, search))
                << category.toStdString() << " / " << search.toStdString();
        }
    }
}

TEST(RecordSearchIndex, TypingNarrowsOnlyWhereALongerTextKeepsFewerRecords) {
    Mixed m;
    RecordSearchIndex index;
    // Each sequence typed one unit at a time, then taken back, then another: every step must
    // give what a fresh search gives. "cafe" then an acute makes é, which "cafe" did not find.
    const QStringList typed = {u("cafe\xCC\x81 n"), QStringLiteral("strasse"), u("x\xCC\x81"), QStringLiteral("My Bank"),
                               QStringLiteral("tokyo"), QStringLiteral("odd") + QChar(0xFFFF) + QStringLiteral("f")};
    for (const QString& category : {QString(), QStringLiteral("Bank"), QStringLiteral("Home")}) {
        for (const QString& text : typed) {
            for (qsizetype n = 0; n <= text.size(); ++n)
                EXPECT_EQ(index.filter(m.content, category, text.left(n)), byRecords(m.content, category, text.left(n)))
                    << category.toStdString() << " / " << text.left(n).toStdString();
            for (qsizetype n = text.size(); n >= 0; --n)
                EXPECT_EQ(index.filter(m.content, category, text.left(n)), byRecords(m.content, category, text.left(n)));
        }
    }
    EXPECT_EQ(index.builds(), 1);  // the content never changed
}

TEST(RecordSearchIndex, FollowsAddedRemovedAndReplacedRecordsByItself) {
    Mixed m;
    RecordSearchIndex index;
    EXPECT_EQ(index.filter(m.content, {}, QStringLiteral("bank")), byRecords(m.content, {}, QStringLiteral("bank")));
    m.content.append(Value(record(QStringLiteral("Second bank"))));
    EXPECT_EQ(index.filter(m.content, {}, QStringLiteral("bank")), byRecords(m.content, {}, QStringLiteral("bank")));
    m.content.removeAt(0);
    EXPECT_EQ(index.filter(m.content, {}, QStringLiteral("bank")), byRecords(m.content, {}, QStringLiteral("bank")));
    m.content.replace(1, Value(record(QStringLiteral("Bank of the replaced"))));
    EXPECT_EQ(index.filter(m.content, {}, QStringLiteral("bank")), byRecords(m.content, {}, QStringLiteral("bank")));
    EXPECT_EQ(index.builds(), 4);
    // A renamed category is read at every pass.
    m.bank.set(keys::cat_category, Value("Savings"));
    EXPECT_EQ(index.filter(m.content, QStringLiteral("Savings"), {}), byRecords(m.content, QStringLiteral("Savings"), {}));
    EXPECT_FALSE(index.filter(m.content, QStringLiteral("Savings"), {}).empty());
    EXPECT_EQ(index.builds(), 4);
}

TEST(RecordSearchIndex, LargeContentAcrossTwoThreadsAndTwoWidths) {
    // Enough records for a build and a search on two threads, with categories seen first by
    // the second half and wide records in both halves.
    Array categories;
    for (int c = 0; c < 5; ++c)
        categories.append(Value(Dictionary{{keys::cat_category, Value(QStringLiteral("C%1").arg(c))}}));
    Array content;
    for (int i = 0; i < 30000; ++i) {
        const int c = i < 15000 ? i % 3 : i % 5;
        const QString name = i % 1000 == 7 ? QStringLiteral("Record %1 \u6771").arg(i) : QStringLiteral("Record %1").arg(i);
        content.append(Value(record(name, {}, categories.at(c))));
    }
    RecordSearchIndex index;
    for (const QString& category : {QString(), QStringLiteral("C4"), QStringLiteral("C1")})
        for (const QString& search : {QStringLiteral("record 2"), QStringLiteral("record 29"), QStringLiteral("\u6771"),
                                      QStringLiteral("7 \u6771"), QString()})
            EXPECT_EQ(index.filter(content, category, search), byRecords(content, category, search))
                << category.toStdString() << " / " << search.toStdString();
}

namespace {

// An open document in a fake window, as the browser tests make it.
struct Open {
    test::FakeDocumentWindowUi window;
    test::FakeRecordBrowserUi ui;
    test::ManualQueue queue;
    MyDocument doc;
    std::unique_ptr<DocumentBrowser> browser;

    Open() {
        doc.setUi(&window);
        doc.postToMainQueue = queue.poster();
        doc.prepareNewDocument();
        doc.myCategoryArray = Array{Value(RecordModel::newCategory(QStringLiteral("Bank"), 1)),
                                    Value(RecordModel::newCategory(QStringLiteral("Home"), 2))};
        for (const char* name : {"Savings", "Mail", "Checking"})
            doc.myArray.append(Value(record(QLatin1String(name), {}, doc.myCategoryArray.at(0))));
        browser = std::make_unique<DocumentBrowser>(doc);
        browser->setUi(&ui);
    }
    QStringList type(const QString& text) {
        browser->searchString = text;
        browser->setFilterPredicate();
        QStringList names;
        for (const Value& r : browser->myArrayController().arrangedObjects())
            names << r.toDictionary().value(keys::name).toString();
        return names;
    }
    void select(const QString& name) {
        const Array& arranged = browser->myArrayController().arrangedObjects();
        for (qsizetype i = 0; i < arranged.count(); ++i)
            if (arranged.at(i).toDictionary().value(keys::name).toString() == name) browser->myArrayController().setSelectionIndex(i);
    }
};

}  // namespace

TEST(SearchField, AnEditedRecordIsFoundOrLostAtTheNextKeystroke) {
    Open o;
    EXPECT_EQ(o.type(QString()), (QStringList{QStringLiteral("Savings"), QStringLiteral("Mail"), QStringLiteral("Checking")}));
    EXPECT_FALSE(o.browser->searchIndex().isBuilt());  // an empty search needs no index
    EXPECT_EQ(o.type(QStringLiteral("in")), (QStringList{QStringLiteral("Savings"), QStringLiteral("Checking")}));

    // The detail pane changes a field of a shown record, then says so, as the window does.
    o.select(QStringLiteral("Checking"));
    o.browser->myArrayController().selectedObjects().at(0).toDictionary().set(keys::name, Value("Cheques"));
    o.browser->recordEdited();
    // A record that matched no more is gone at the next keystroke, one that did not is found.
    o.doc.myArray.at(1).toDictionary().set(keys::note, Value("a string of words"));
    o.browser->recordEdited();
    EXPECT_EQ(o.type(QStringLiteral("ing")), (QStringList{QStringLiteral("Savings"), QStringLiteral("Mail")}));
    EXPECT_EQ(o.type(QStringLiteral("ings")), QStringList{QStringLiteral("Savings")});

    // The address chosen from the list is searched too.
    o.type(QStringLiteral("inbox@"));
    o.type(QString());
    o.select(QStringLiteral("Cheques"));
    o.browser->insertEmailFromPopup(Sender{0, QStringLiteral("inbox@example.org"), {}, -1});
    EXPECT_EQ(o.type(QStringLiteral("inbox@")), QStringList{QStringLiteral("Cheques")});
}

TEST(SearchField, RecordsAddedDeletedRecategorisedOrReplacedAreFollowed) {
    Open o;
    EXPECT_EQ(o.type(QStringLiteral("in")), (QStringList{QStringLiteral("Savings"), QStringLiteral("Checking")}));
    // A deleted record leaves the result, and comes back with the undo.
    o.browser->deleteTheRecord(o.doc.myArray.at(0));
    EXPECT_EQ(o.type(QStringLiteral("ing")), QStringList{QStringLiteral("Checking")});
    o.browser->undoManager().undo();
    EXPECT_EQ(o.type(QStringLiteral("ings")), QStringList{QStringLiteral("Savings")});
    // A duplicate is found at once.
    o.select(QStringLiteral("Savings"));
    o.browser->duplicateRow();
    EXPECT_EQ(o.type(QStringLiteral("ings")).size(), 2);

    // The category chooser moves a record; the category filter follows at the next keystroke.
    o.browser->categoryString = QStringLiteral("Home");
    EXPECT_EQ(o.type(QString()), QStringList());
    o.browser->showAllCategory();
    o.type(QString());
    o.select(QStringLiteral("Mail"));
    o.browser->categoryWasSet(1);  // Home
    o.browser->categoryString = QStringLiteral("Home");
    EXPECT_EQ(o.type(QStringLiteral("m")), QStringList{QStringLiteral("Mail")});

    // Tables replaced under the browser (a revert, a merge): bound again, searched afresh.
    Array replaced{Value(record(QStringLiteral("Mailbox"), {}, o.doc.myCategoryArray.at(1)))};
    o.doc.myArray = replaced;
    o.browser->bindTables();
    EXPECT_EQ(o.type(QStringLiteral("ma")), QStringList{QStringLiteral("Mailbox")});
}

TEST(PositionFilter, ANarrowerWiderOrEqualResultIsArrangedAsAFreshOne) {
    // The arranged list takes over handles of the last one where it can: the result must be
    // the same as one built from nothing, sorted, and a list held by someone stays as it was.
    ArrayController list;
    Array content;
    for (int i = 0; i < 50; ++i) content.append(Value(Dictionary{{QStringLiteral("n"), Value::integer((i * 37) % 50)}}));
    list.setContent(content);
    list.setSortComparator([](const Value& a, const Value& b) {
        return int(b.toDictionary().value(QStringLiteral("n")).toInt64() - a.toDictionary().value(QStringLiteral("n")).toInt64());
    });
    int below = 50;
    list.setPositionFilter([&below](const Array& c) {
        std::vector<qsizetype> out;
        for (qsizetype i = 0; i < c.count(); ++i)
            if (c.at(i).toDictionary().value(QStringLiteral("n")).toInt64() < below) out.push_back(i);
        return out;
    });
    auto arranged = [&] {
        std::vector<std::int64_t> n;
        for (const Value& v : list.arrangedObjects()) n.push_back(v.toDictionary().value(QStringLiteral("n")).toInt64());
        return n;
    };
    auto expected = [&] {
        std::vector<std::int64_t> n;
        for (int v = below - 1; v >= 0; --v) n.push_back(v);
        return n;
    };
    for (int b : {30, 10, 10, 40, 0, 50, 25}) {
        below = b;
        list.rearrangeObjects();
        EXPECT_EQ(arranged(), expected()) << b;
    }
    const Array held = list.arrangedObjects();
    below = 5;
    list.rearrangeObjects();
    EXPECT_EQ(held.count(), 25);
    EXPECT_EQ(arranged(), expected());
}
