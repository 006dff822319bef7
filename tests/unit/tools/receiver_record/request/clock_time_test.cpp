#include "receiver_record/request/clock_time.h"

#include <gtest/gtest.h>

namespace receiver {
namespace {

LocalTime NoonOf(unsigned month, unsigned day) {
    return {.year = 2026,
            .month = month,
            .day = day,
            .hour = 12,
            .minute = 0,
            .second = 0,
            .millisecond = 0};
}

std::time_t Of(const LocalTime& time) {
    std::tm then = {};
    then.tm_year = static_cast<int>(time.year) - 1900;
    then.tm_mon = static_cast<int>(time.month) - 1;
    then.tm_mday = static_cast<int>(time.day);
    then.tm_hour = static_cast<int>(time.hour);
    then.tm_isdst = -1;
    return std::mktime(&then);
}

}  // namespace

TEST(ClockTime, HoursAndMinutesAreRead) {
    const auto time = ParseClockTime("8:05");
    ASSERT_TRUE(time);
    EXPECT_EQ(time->hour, 8);
    EXPECT_EQ(time->minute, 5);
    EXPECT_EQ(time->second, 0);
    EXPECT_EQ(ParseClockTime("23:59:58")->second, 58);
}

TEST(ClockTime, NothingElseIsATime) {
    for (const char* text :
         {"", "18", "18:", ":30", "24:00", "18:60", "18:30:60", "18:30:", "-1:00", "18:30:15:1",
          "18.30", "18:301", "118:30", " 18:30", "18:30 "}) {
        EXPECT_FALSE(ParseClockTime(text)) << text;
    }
}

TEST(ClockTime, TheNextOneIsTodayOrTomorrow) {
    const LocalTime noon = NoonOf(7, 1);
    EXPECT_EQ(NextTimeOf({.hour = 18, .minute = 30}, noon), Of(noon) + 6 * 3600 + 1800);
    EXPECT_EQ(NextTimeOf({.hour = 12, .minute = 0, .second = 1}, noon), Of(noon) + 1);
    EXPECT_EQ(NextTimeOf({.hour = 12}, noon), Of(NoonOf(7, 2)));
    EXPECT_EQ(NextTimeOf({.hour = 12}, NoonOf(12, 31)), Of({.year = 2027,
                                                            .month = 1,
                                                            .day = 1,
                                                            .hour = 12,
                                                            .minute = 0,
                                                            .second = 0,
                                                            .millisecond = 0}));
}

TEST(ClockTime, ATimeSoLongBeforeMayLieInThePreviousYear) {
    LocalTime time{
        .year = 2026, .month = 1, .day = 1, .hour = 0, .minute = 0, .second = 1, .millisecond = 5};
    time = MsBefore(time, 1006);
    EXPECT_EQ(time.year, 2025u);
    EXPECT_EQ(time.month, 12u);
    EXPECT_EQ(time.day, 31u);
    EXPECT_EQ(time.hour, 23u);
    EXPECT_EQ(time.second, 59u);
    EXPECT_EQ(time.millisecond, 999u);
}

}  // namespace receiver
