#include "command_line/duration.h"

#include <gtest/gtest.h>

namespace receiver {

TEST(Duration, UnitsMayBeCombinedFromLargeToSmall) {
    EXPECT_EQ(ParseDuration("90s"), 90000u);
    EXPECT_EQ(ParseDuration("55m"), 3300000u);
    EXPECT_EQ(ParseDuration("1h30m"), 5400000u);
    EXPECT_EQ(ParseDuration("1h2m3s4ms"), 3723004u);
    EXPECT_EQ(ParseDuration("500ms"), 500u);
    EXPECT_EQ(ParseDuration("0s"), 0u);
}

TEST(Duration, ANumberAloneIsSeconds) {
    EXPECT_EQ(ParseDuration("90"), 90000u);
    EXPECT_EQ(ParseDuration("1.5"), 1500u);
}

TEST(Duration, EveryUnitTakesAFraction) {
    EXPECT_EQ(ParseDuration("2.5s"), 2500u);
    EXPECT_EQ(ParseDuration("1.5m"), 90000u);
    EXPECT_EQ(ParseDuration("0.001s"), 1u);
    EXPECT_EQ(ParseDuration("0.0019s"), 1u);
}

TEST(Duration, ClockTimesHaveTwoOrThreeFields) {
    EXPECT_EQ(ParseDuration("00:55:00"), 3300000u);
    EXPECT_EQ(ParseDuration("55:00"), 3300000u);
    EXPECT_EQ(ParseDuration("1:02:03.25"), 3723250u);
    EXPECT_EQ(ParseDuration("90:00"), 5400000u);
}

TEST(Duration, WhatIsNoDurationGivesNothing) {
    for (const char* text : {"",
                             " ",
                             "s",
                             "-5s",
                             "5 s",
                             "5x",
                             "30m1h",
                             "5s5s",
                             "1m30",
                             "1..5s",
                             "1.",
                             ".5s",
                             "1:60",
                             "1:2:3:4",
                             "1:",
                             ":1",
                             "1:02s",
                             "1.5:00",
                             "999999999999999999999s",
                             "9000h",
                             "5S"}) {
        EXPECT_FALSE(ParseDuration(text)) << text;
    }
}

TEST(Duration, AFormattedDurationIsReadAsTheSame) {
    EXPECT_EQ(FormatDuration(0), "0s");
    EXPECT_EQ(FormatDuration(100), "100ms");
    EXPECT_EQ(FormatDuration(3600000), "1h");
    EXPECT_EQ(FormatDuration(3723004), "1h2m3s4ms");
    for (const uint64_t ms : {0, 1, 999, 1000, 61000, 5400000, 90061001}) {
        EXPECT_EQ(ParseDuration(FormatDuration(ms)), ms);
    }
}

TEST(Duration, TimesAreWrittenAsAClock) {
    EXPECT_EQ(FormatClock(3723999), "01:02:03");
    EXPECT_EQ(FormatClock(0), "00:00:00");
    EXPECT_EQ(FormatClock(360000000), "100:00:00");
    EXPECT_EQ(FormatPosition(3723004), "01:02:03.004");
}

}  // namespace receiver
