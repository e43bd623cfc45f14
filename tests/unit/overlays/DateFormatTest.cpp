#include "overlays/UnicodeDateFormat.h"

#include <gtest/gtest.h>

namespace {

const WeekRules kSundayOneDay{7, 1}; // United States, China
const WeekRules kIso{1, 4};          // Germany, France, ...

std::tm localTime(int year, int month, int day, int hour, int minute, int second) {
    std::tm t{};
    t.tm_year = year - 1900;
    t.tm_mon = month - 1;
    t.tm_mday = day;
    t.tm_hour = hour;
    t.tm_min = minute;
    t.tm_sec = second;
    return t;
}

TEST(WeekBasedYear, FollowsTheWeekThatOwnsTheDay) {
    // 2024-12-31 is a Tuesday: its week holds 1 January 2025 under both rules.
    EXPECT_EQ(weekBasedYear(2024, 12, 31, kSundayOneDay), 2025);
    EXPECT_EQ(weekBasedYear(2024, 12, 31, kIso), 2025);
    EXPECT_EQ(weekBasedYear(2024, 12, 28, kSundayOneDay), 2024);
    // 2027-01-01 is a Friday: one day of the new year is enough for the first
    // rule, not for ISO, where it still belongs to the last week of 2026.
    EXPECT_EQ(weekBasedYear(2027, 1, 1, kSundayOneDay), 2027);
    EXPECT_EQ(weekBasedYear(2027, 1, 1, kIso), 2026);
    EXPECT_EQ(weekBasedYear(2027, 1, 4, kIso), 2027);
    // 2027-12-31, a Friday, shares its Sunday-started week with 1 January 2028.
    EXPECT_EQ(weekBasedYear(2027, 12, 31, kSundayOneDay), 2028);
    EXPECT_EQ(weekBasedYear(2027, 12, 31, kIso), 2027);
    // Leap day in the middle of a year.
    EXPECT_EQ(weekBasedYear(2028, 2, 29, kIso), 2028);
}

TEST(UnicodeDatePattern, FormatsTheTimeWatermarkPatternsWithTheLocalesWeekRules) {
    const std::tm t = localTime(2024, 12, 31, 9, 5, 7);
    EXPECT_EQ(formatUnicodeDate("YYYY/MM/dd HH/mm/ss", t, kSundayOneDay), "2025/12/31 09/05/07");
    EXPECT_EQ(formatUnicodeDate("YYYY年MM月dd日 HH时mm分ss秒", t, kSundayOneDay),
              "2025年12月31日 09时05分07秒");
    EXPECT_EQ(formatUnicodeDate("YYYY-MM-dd HH:mm", t, kSundayOneDay), "2025-12-31 09:05");
    // The calendar year, short fields, 12-hour clock and quoted text.
    EXPECT_EQ(formatUnicodeDate("yyyy yy M/d h 'at' HH''", localTime(2024, 3, 4, 0, 0, 0), kIso),
              "2024 24 3/4 12 at 00'");

    // The week rules come from the locale.
    const WeekRules us = weekRulesForLocale(QLocale(QLocale::English, QLocale::UnitedStates));
    EXPECT_EQ(us.firstDayOfWeek, 7);
    EXPECT_EQ(us.minimalDaysInFirstWeek, 1);
    const WeekRules de = weekRulesForLocale(QLocale(QLocale::German, QLocale::Germany));
    EXPECT_EQ(de.firstDayOfWeek, 1);
    EXPECT_EQ(de.minimalDaysInFirstWeek, 4);
}

} // namespace
