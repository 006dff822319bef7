#include "receiver_plan/calendar/calendar_expression.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace receiver {
namespace {

using namespace std::chrono;

std::string RefusalOf(const std::string& text) {
    try {
        CalendarExpression::Parse(text);
    } catch (const std::invalid_argument& refusal) {
        return refusal.what();
    }
    return "";
}

}  // namespace

TEST(CalendarExpression, ListsRangesAndStepsSayWhichNumbersAreMeant) {
    const auto when = CalendarExpression::Parse("Mon,Thu..Sat *-1/3-1..3,15 8..18/5:0/20:30");
    EXPECT_EQ(when.Weekdays().to_string(), "1110010");  // from Saturday down to Sunday
    EXPECT_EQ(when.Months().to_string(), "0010010010010");
    EXPECT_EQ(when.Days().count(), 4u);
    EXPECT_TRUE(when.Days()[1] && when.Days()[2] && when.Days()[3] && when.Days()[15]);
    EXPECT_TRUE(when.Hours()[8] && when.Hours()[13] && when.Hours()[18]);
    EXPECT_EQ(when.Hours().count(), 3u);
    EXPECT_TRUE(when.Minutes()[0] && when.Minutes()[20] && when.Minutes()[40]);
    EXPECT_EQ(when.Minutes().count(), 3u);
    EXPECT_TRUE(when.Seconds()[30]);
    EXPECT_EQ(when.Seconds().count(), 1u);
}

TEST(CalendarExpression, WhatIsLeftOutIsEveryDayAndMidnight) {
    const auto time = CalendarExpression::Parse("18:30");
    EXPECT_TRUE(time.Weekdays().all());
    EXPECT_EQ(time.Days().count(), 31u);
    EXPECT_TRUE(time.Seconds()[0]);
    const auto day = CalendarExpression::Parse("sunday");
    EXPECT_TRUE(day.Hours()[0] && day.Minutes()[0]);
    EXPECT_EQ(day.Hours().count(), 1u);
}

TEST(CalendarExpression, ADateIsOneOfItsYearsMonthsDaysAndWeekdays) {
    const auto when = CalendarExpression::Parse("Sun 2026/2-03-29 02:30");
    EXPECT_TRUE(when.HasDate(2026y / March / 29));
    EXPECT_FALSE(when.HasDate(2027y / March / 29));
    EXPECT_FALSE(when.HasDate(2028y / March / 29));  // a Wednesday
    EXPECT_FALSE(when.HasDate(2026y / March / 28));
    EXPECT_FALSE(when.HasDate(2026y / April / 29));
}

TEST(CalendarExpression, ARefusalSaysWhatToWrite) {
    const std::pair<const char*, const char*> kRefusals[] = {
        {"", "it is empty"},
        {"Mon-Fri 5:00", "two dots, as Mon..Fri"},
        {"Fri..Mon 5:00", "weeks begin with Monday"},
        {"Mon, Tue 5:00", "\"\" is not a day of the week"},
        {"Mun 5:00", "\"Mun\" is not a day of the week"},
        {"Mon Tue 5:00", "one word, without blanks"},
        {"*:*/10", "write \"0/10\""},
        {"24:00", "\"24\" is not between 0 and 23"},
        {"18:60", "\"60\" is not between 0 and 59"},
        {"*-13-01", "\"13\" is not between 1 and 12"},
        {"26-01-05", "\"26\" is not between 1970 and 2199"},
        {"20..8:00", "ends before it begins"},
        {"0/0:00", "a step of 0"},
        {"1/2/3:00", "two steps"},
        {"18", "is not a date"},
        {"18:30:00:00", "is not a time"},
        {"18:30:00.5", "fractions of a second"},
        {"*-*~1 5:00", "from the end of a month"},
        {"18:30 Europe/Berlin", "the time zone is the station's"},
        {"18:3x", "\"3x\" is not a number of the minute"},
    };
    for (const auto& [text, expected] : kRefusals) {
        EXPECT_NE(RefusalOf(text).find(expected), std::string::npos)
            << text << ": " << RefusalOf(text);
    }
}

}  // namespace receiver
