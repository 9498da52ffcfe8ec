#include "foundation/ZKAppSupportUtility.h"

#include <gtest/gtest.h>

using qv::ZKAppSupportUtility;

TEST(CalcReleaseString, MatchesTheTableOfGenerations) {
    // Numbers below 1000 have no text; "10.0.0" loses one ".0", not both.
    const std::pair<std::int64_t, const char*> table[] = {
        {1000, "1.0.00"}, {2510, "2.5.10"}, {20801, "2.8.1"}, {21000, "2.10"},   {21207, "2.12.7"},
        {30000, "3.0"},   {40100, "4.1"},   {40200, "4.2"},   {40201, "4.2.1"}, {41012, "4.10.12"},
        {999, ""},        {0, ""},          {100000, "10.0"}, {2000, "2.0.00"},
    };
    for (const auto& [number, text] : table)
        EXPECT_EQ(ZKAppSupportUtility::calcReleaseString(number), QString::fromLatin1(text)) << number;
}
