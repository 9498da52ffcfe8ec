#include "foundation/ArrayController.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using namespace qv;

namespace {

// A large list keeps its whole sorted order and picks each filter's result out of it. Whatever
// happened in between, the arranged objects must be what filtering and then sorting gives.
class RankedOrder : public ::testing::Test {
protected:
    static QString keyOf(const Value& v) {
        const Dictionary d = v.toDictionary();
        return d.value(QStringLiteral("group")).toDictionary().value(QStringLiteral("title")).toString() +
               d.value(QStringLiteral("name")).toString();
    }

    void SetUp() override {
        std::mt19937 rng(3);
        for (int g = 0; g < 5; ++g) groups.push_back(Dictionary{{QStringLiteral("title"), Value(QString(QChar(u'a' + g)))}});
        for (int i = 0; i < 6000; ++i) {
            // Few distinct names, so that equal keys are common and the stable order matters.
            Dictionary r{{QStringLiteral("name"), Value(QString::number(rng() % 50))},
                         {QStringLiteral("keep"), Value::integer(int(rng() % 3))}};
            r.set(QStringLiteral("group"), Value(groups[rng() % groups.size()]));
            records.append(Value(r));
        }
        controller.setContent(records);
        controller.setSortKey([](const Value& v) { return Value(keyOf(v)); },
                              [](const Value& a, const Value& b) { return a.toString().compare(b.toString()); });
    }

    void filterKeeping(int notThis) {
        controller.setFilterPredicate([notThis](const Value& v) {
            return v.toDictionary().value(QStringLiteral("keep")).toInt() != notThis;
        });
    }

    ::testing::AssertionResult arrangedAsSorting(int notThis) {
        std::vector<qsizetype> expected;
        for (qsizetype i = 0; i < records.count(); ++i)
            if (records.at(i).toDictionary().value(QStringLiteral("keep")).toInt() != notThis) expected.push_back(i);
        std::stable_sort(expected.begin(), expected.end(),
                         [&](qsizetype a, qsizetype b) { return keyOf(records.at(a)) < keyOf(records.at(b)); });
        const Array& arranged = controller.arrangedObjects();
        if (arranged.count() != qsizetype(expected.size())) return ::testing::AssertionFailure() << "count";
        for (size_t k = 0; k < expected.size(); ++k)
            if (!arranged.at(qsizetype(k)).isIdenticalTo(records.at(expected[k])))
                return ::testing::AssertionFailure() << "differs at " << k;
        return ::testing::AssertionSuccess();
    }

    std::vector<Dictionary> groups;
    Array records;
    ArrayController controller;
};

TEST_F(RankedOrder, FollowsEditsRenamesAndChangesOfContent) {
    filterKeeping(0);
    ASSERT_TRUE(arrangedAsSorting(0));
    filterKeeping(1);  // another filter over the same order
    EXPECT_TRUE(arrangedAsSorting(1));

    // A record's own value changed in place moves it.
    Dictionary first = controller.arrangedObjects().at(0).toDictionary();
    first.set(QStringLiteral("name"), Value(QStringLiteral("zz")));
    controller.rearrangeObjects();
    EXPECT_TRUE(arrangedAsSorting(1));
    EXPECT_NE(controller.arrangedObjects().at(0).toDictionary().value(QStringLiteral("name")).toString(), QStringLiteral("zz"));

    // A shared dictionary that the key reads through, renamed: every record of it moves.
    groups[0].set(QStringLiteral("title"), Value(QStringLiteral("z")));
    controller.rearrangeObjects();
    EXPECT_TRUE(arrangedAsSorting(1));

    // Records removed and added in the shared content are seen by identity.
    records.removeAt(10);
    records.append(Value(Dictionary{{QStringLiteral("name"), Value(QStringLiteral("0"))},
                                    {QStringLiteral("group"), Value(groups[1])}}));
    controller.rearrangeObjects();
    EXPECT_TRUE(arrangedAsSorting(1));

    // Without a filter, then with one again.
    controller.setFilterPredicate(nullptr);
    EXPECT_TRUE(arrangedAsSorting(-1));
    filterKeeping(2);
    EXPECT_TRUE(arrangedAsSorting(2));
}

}  // namespace
