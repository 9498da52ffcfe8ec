#include "foundation/ZKAppSupportUtility.h"

#include <gtest/gtest.h>

using qv::ZKAppSupportUtility;

TEST(CalcReleaseString, MatchesTheTableOfGenerations) {
    const std::pair<std::int64_t, const char*> table[] = {
        {1000, "1.0.00"}, {2510, "2.5.10"}, {20801, "2.8.1"}, {21000, "2.10"},   {21207, "2.12.7"},
        {30000, "3.0"},   {40100, "4.1"},   {40200, "4.2"},   {40201, "4.2.1"}, {41012, "4.10.12"},
    };
    for (const auto& [number, text] : table)
        EXPECT_EQ(ZKAppSupportUtility::calcReleaseString(number), QString::fromLatin1(text)) << number;
}

TEST(CalcReleaseString, ShortNumbersAndTheSingleCut) {
    EXPECT_EQ(ZKAppSupportUtility::calcReleaseString(999), QString());
    EXPECT_EQ(ZKAppSupportUtility::calcReleaseString(0), QString());
    // "10.0.0" loses one ".0", not both.
    EXPECT_EQ(ZKAppSupportUtility::calcReleaseString(100000), QStringLiteral("10.0"));
    EXPECT_EQ(ZKAppSupportUtility::calcReleaseString(2000), QStringLiteral("2.0.00"));
}
