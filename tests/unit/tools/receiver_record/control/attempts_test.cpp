#include "receiver_record/control/attempts.h"

#include <gtest/gtest.h>

#include "wire/messages.h"

namespace receiver {
namespace {

AttemptEnd Absent(const char* kind = kCauseRefused) {
    AttemptEnd end;
    end.cause = Cause{kind, "text", {}, {}};
    return end;
}

}  // namespace

TEST(Attempts, AStationThatIsNotThereIsTriedWithGrowingPausesUntilTheTimeIsOver) {
    Attempts attempts(20000, 1000);
    uint64_t now = 1000;
    std::vector<uint64_t> pauses;
    while (const auto pause = attempts.PauseAfter(Absent(), now)) {
        pauses.push_back(*pause);
        now += *pause;
    }
    EXPECT_EQ(pauses, (std::vector<uint64_t>{500, 1000, 2000, 4000, 5000, 5000, 2500}));
    EXPECT_EQ(now, 21000u);
}

TEST(Attempts, WhatHasToBeMendedIsNotTriedAgain) {
    for (const char* kind : {kCauseNameLookup, kCauseTls, kCauseNotAudio, kCauseEnded,
                             kCauseReference, kCauseMemory, kCauseOther}) {
        EXPECT_FALSE(Attempts(20000, 0).PauseAfter(Absent(kind), 0)) << kind;
    }
    AttemptEnd http = Absent(kCauseHttp);
    for (const auto& [status, again] :
         {std::pair{404u, false}, {401u, false}, {503u, true}, {429u, true}}) {
        http.cause->status = status;
        EXPECT_EQ(Attempts(20000, 0).PauseAfter(http, 0).has_value(), again) << status;
    }
}

TEST(Attempts, AStationThatWasThereIsLeftToTheReceiver) {
    AttemptEnd end = Absent();
    end.connected = true;
    EXPECT_FALSE(Attempts(20000, 0).PauseAfter(end, 0));
    EXPECT_FALSE(Attempts(20000, 0).PauseAfter({}, 0));
    EXPECT_FALSE(Attempts(0, 0).PauseAfter(Absent(), 0));
}

// A station whose own source is away, or a network that is, answers in many ways.
TEST(Attempts, AStationThatHadAudioIsTriedForTheWholeTimeAgain) {
    Attempts attempts(20000, 0);
    attempts.Restart(3600000);
    EXPECT_EQ(attempts.PauseAfter(Absent(kCauseNameLookup), 3600000), 500u);
    EXPECT_EQ(attempts.PauseAfter(Absent(), 3600500), 1000u);
    EXPECT_FALSE(attempts.PauseAfter(Absent(), 3620000));
    attempts.Restart(3700000);
    EXPECT_EQ(attempts.PauseAfter(Absent(), 3700000), 500u);
    EXPECT_FALSE(attempts.PauseAfter({}, 3700000));
}

TEST(Attempts, AReceiverThatDiesIsReplacedUnlessItDiesAtItsStartAgainAndAgain) {
    const AttemptEnd died{.receiverLost = true, .connected = true, .cause = {}};
    Attempts attempts(0, 0);
    EXPECT_EQ(attempts.PauseAfter(died, 3600000), 0u);
    attempts.Begin(3600000);
    EXPECT_EQ(attempts.PauseAfter(died, 3600100), 500u);
    EXPECT_EQ(attempts.PauseAfter(died, 3600200), 500u);
    EXPECT_FALSE(attempts.PauseAfter(died, 3600300));
}

}  // namespace receiver
