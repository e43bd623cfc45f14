#include "timing/TimedRules.h"

#include <climits>
#include <gtest/gtest.h>
#include <utility>

using namespace TimedRules;

TEST(TimedRules, WhatCountsAsANumber) {
    for (const char* number : {"", "0", "12"})
        EXPECT_TRUE(isNum(number)) << number;
    for (const char* other : {"1a2", "-3", "12a", " 1", "a", "１２"})
        EXPECT_FALSE(isNum(QString::fromUtf8(other))) << other;
}

TEST(TimedRules, DurationFieldsWhileTypingAndWhenEditingEnds) {
    // {text, kept while typing, kept when editing ends}
    const char* const rows[][3] = {
        {"7", "7", "7"},    {"60", "60", "60"},
        {"61", "59", "59"}, {"75", "59", "59"},
        {"", "00", "00"},   {"1a", "", "1a"},
        {"-3", "", "00"},   {"99999999999999999999999", "59", "59"}, // past 64 bits
    };
    for (const auto& row : rows) {
        EXPECT_EQ(durationWhileTyping(row[0]), row[1]) << row[0];
        EXPECT_EQ(durationWhenEditingEnds(row[0]), row[2]) << row[0];
    }
}

TEST(TimedRules, DurationSplitsIntoHoursMinutesSeconds) {
    const std::pair<long long, const char*> rows[] = {{0, "00:00:00"},      {59, "00:00:59"},
                                                      {3661, "01:01:01"},   {5400, "01:30:00"},
                                                      {216000, "60:00:00"}, {360000, "100:00:00"}};
    for (const auto& [seconds, shown] : rows) {
        const HourMinuteSecond p = splitDuration(seconds);
        EXPECT_EQ(twoDigits(p.hours) + ":" + twoDigits(p.minutes) + ":" + twoDigits(p.seconds), shown);
    }
}

TEST(TimedRules, LengthFieldsDropTheCharacterThatBrokeTheNumberAndReadLeniently) {
    EXPECT_EQ(lengthFieldAfterEdit("600"), "600");
    EXPECT_EQ(lengthFieldAfterEdit("600x"), "600");
    EXPECT_EQ(lengthFieldAfterEdit("-"), "");
    EXPECT_EQ(lengthFieldAfterEdit("6x00"), "6x0"); // the last character goes, wherever the stray one is

    const std::pair<const char*, long long> rows[] = {
        {"600", 600}, {"", 0},    {"x", 0},   {"6x0", 6},
        {" 42", 42},  {"-5", -5}, {"007", 7}, {"99999999999999999999", LLONG_MAX}};
    for (const auto& [text, value] : rows)
        EXPECT_EQ(integerValue(text), value) << text;
}
