#include "audio/reconnect_pauses.h"

#include <gtest/gtest.h>

namespace receiver {

TEST(ReconnectPauses, TheFirstAttemptIsAtOnceAndTheBoundGrowsToFiveSeconds) {
    ReconnectPauses pauses;
    const double most = 0.9999999;
    const uint64_t bounds[] = {0, 500, 1000, 2000, 4000, 5000, 5000};
    for (const uint64_t bound : bounds) {
        const uint64_t pause = pauses.Next(most, std::nullopt);
        EXPECT_LE(pause, bound);
        EXPECT_GE(pause + 1, bound);
    }
    for (int i = 0; i < 1000; ++i) EXPECT_LE(pauses.Next(most, std::nullopt), 5000U);
}

TEST(ReconnectPauses, ChanceChoosesWithinTheBoundButNeverNothing) {
    for (const double random : {0.0, 0.25, 0.5}) {
        ReconnectPauses pauses;
        pauses.Next(random, std::nullopt);
        EXPECT_EQ(pauses.Next(random, std::nullopt),
                  std::max<uint64_t>(50, static_cast<uint64_t>(random * 500)));
    }
}

TEST(ReconnectPauses, WhatAServerAsksForIsTheLeastFromTheFirstAttemptOn) {
    ReconnectPauses pauses;
    EXPECT_EQ(pauses.Next(0.5, 3), 3000U);
    EXPECT_EQ(pauses.Next(0.5, 120), 120000U);
    EXPECT_EQ(pauses.Next(0.5, 0), 500U);
}

TEST(ReconnectPauses, AfterAConnectionThatHeldItBeginsAnew) {
    ReconnectPauses pauses;
    for (int i = 0; i < 10; ++i) pauses.Next(0.5, std::nullopt);
    pauses.Reset();
    EXPECT_EQ(pauses.Next(0.5, std::nullopt), 0U);
    EXPECT_EQ(pauses.Next(0.5, std::nullopt), 250U);
}

}  // namespace receiver
