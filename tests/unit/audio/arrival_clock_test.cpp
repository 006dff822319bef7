#include "audio/arrival_clock.h"

#include <gtest/gtest.h>

#include "testing/audio_generator.h"

namespace receiver {
namespace {

constexpr uint32_t kRate = 1000;  // a frame a millisecond
constexpr uint64_t kWeekMs = 7ULL * 24 * 3600 * 1000;

// A connection to a station whose audio is at `atMs - edgeMs`: a burst, then pieces of
// `pieceMs` whose end is on the air when they come, up to `lateMs` too late.
ArrivalClock Listen(uint64_t fromMs, uint64_t burstMs, uint64_t pieceMs, uint64_t forMs,
                    uint64_t lateMs, TestRandom& random, double speed = 1.0) {
    ArrivalClock clock(kRate);
    clock.Note(burstMs, fromMs);
    for (uint64_t at = pieceMs; at <= forMs; at += pieceMs) {
        const auto position = static_cast<uint64_t>(static_cast<double>(at) * speed);
        clock.Note(burstMs + position, fromMs + at + random.Below(lateMs + 1));
    }
    return clock;
}

}  // namespace

TEST(ArrivalClock, ABurstIsOverWhenTheLeadHasNotRisenForAWhile) {
    ArrivalClock clock(kRate);
    EXPECT_FALSE(clock.HasBegun());
    clock.Note(1000, 5000);
    clock.Note(4000, 5010);
    EXPECT_TRUE(clock.HasBegun());
    clock.Note(4000 + ArrivalClock::kSettleMs - 1, 5010 + ArrivalClock::kSettleMs - 1);
    EXPECT_FALSE(clock.HasSettled());
    clock.Note(4000 + ArrivalClock::kSettleMs, 5010 + ArrivalClock::kSettleMs);
    EXPECT_TRUE(clock.HasSettled());
}

// Of a server that sends blocks of bytes, few end with a frame's last: until one has, the edge
// is further than it seems.
TEST(ArrivalClock, AsLongAsPiecesComeABitEarlierItHasNotSettled) {
    ArrivalClock clock(kRate);
    for (uint64_t second = 0; second < 20; ++second) {
        clock.Note(4000 + second * 1015, 5000 + second * 1000);
        EXPECT_FALSE(clock.HasSettled()) << second;
    }
}

TEST(ArrivalClock, AStationThatSendsFasterThanTimeDoesNotSettle) {
    TestRandom random(1);
    EXPECT_FALSE(Listen(0, 0, 100, 60000, 0, random, 1.5).HasSettled());
}

// The second connection begins with older audio; only what is on the air counts.
TEST(ArrivalClock, TheNextConnectionBeginsWhereItsBurstReachesBackTo) {
    TestRandom random(2);
    const ArrivalClock first = Listen(10000, 3000, 50, 20000, 0, random);
    const ArrivalClock next = Listen(40000, 5000, 50, 4000, 0, random);
    // 30 s later, 5 s back, and the first one began 3 s back.
    EXPECT_NEAR(first.StartOfNext(next), 30000 - 5000 + 3000, 1);
}

TEST(ArrivalClock, PiecesAndLatenessFallAway) {
    for (uint64_t seed = 0; seed < 100; ++seed) {
        TestRandom random(seed);
        const uint64_t pieceMs = 20 + random.Below(400);
        const ArrivalClock first = Listen(10000, 3000, pieceMs, 30000, 40, random);
        const ArrivalClock next = Listen(90000, 4000, pieceMs, 4000, 40, random);
        EXPECT_NEAR(first.StartOfNext(next), 80000 - 4000 + 3000, 50) << seed;
    }
}

TEST(ArrivalClock, AStationWhoseClockIsSlowIsFollowedForAWeek) {
    TestRandom random(3);
    const double speed = 1 - 100e-6;
    const ArrivalClock first = Listen(0, 2000, 1000, kWeekMs, 0, random, speed);
    const ArrivalClock next = Listen(kWeekMs + 5000, 2000, 100, 4000, 0, random, speed);
    EXPECT_NEAR(first.StartOfNext(next), static_cast<double>(kWeekMs) * speed + 5000, 10);
}

// Neither has told where the live edge is: both are taken to begin as far from it.
TEST(ArrivalClock, AConnectionThatBreaksOffInItsBurstCountsByItsBeginning) {
    TestRandom random(4);
    ArrivalClock first(kRate);
    first.Note(10, 1000);
    const ArrivalClock next = Listen(3000, 4000, 50, 4000, 0, random);
    EXPECT_DOUBLE_EQ(first.StartOfNext(next), 2000);
}

TEST(ArrivalClock, ANextOneThatBreaksOffInItsBurstCountsByTheBurstBefore) {
    TestRandom random(5);
    const ArrivalClock first = Listen(10000, 3000, 50, 20000, 0, random);
    ArrivalClock next(kRate);
    next.Note(10, 40000);
    EXPECT_NEAR(first.StartOfNext(next), 30000, 1);
}

}  // namespace receiver
