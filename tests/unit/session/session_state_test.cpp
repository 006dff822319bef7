#include "session/session_state.h"

#include <gtest/gtest.h>

#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "testing/test_task.h"
#include "unit/session/session_state_fixture.h"

namespace receiver {

using nlohmann::json;

TEST_F(SessionStateTest, ANewSessionIsPreparingAndHasSaidNothing) {
    Create();
    const SessionStatus status = state_->Status();
    EXPECT_EQ(status.sessionId, "s-1");
    EXPECT_EQ(status.state, State::kPreparing);
    EXPECT_EQ(status.sequence, 0u);
    EXPECT_TRUE(status.matches.empty());
    EXPECT_FALSE(status.uri || status.startSample || status.program || status.sourceError ||
                 status.canDrain || status.outcome || status.buffer);
    EXPECT_FALSE(state_->IsFinished() || state_->IsStopRequested() || state_->IsStoppedOrFailing());
    EXPECT_TRUE(events_.empty());
}

TEST_F(SessionStateTest, EventsAreNumberedFromOneAndNameTheirSession) {
    Create(1000);
    ReachReady();
    Finish();
    EXPECT_EQ(Types(), (Names{"CONNECTED", "DETECTED", "PROGRAM_END", "READY", "FINISHED"}));
    uint64_t expected = 0;
    for (const json& event : events_) {
        EXPECT_EQ(event["sequence"], ++expected);
        EXPECT_EQ(event["version"], 1);
        EXPECT_EQ(event["sessionId"], "s-1");
    }
    EXPECT_EQ(state_->Status().sequence, expected);
}

// --- matches ---

TEST_F(SessionStateTest, AMatchIsReportedAsItIs) {
    Connect();
    EXPECT_EQ(Now(), State::kScanning);
    state_->NoteMatch(MatchAt(kOtherReference, 10));
    EXPECT_EQ(events_.at(1).dump(),
              R"({"ber":0.0625,"observedAfterSample":17,"referenceId":"the-other",)"
              R"("role":"other","sample":10,"sequence":2,"sessionId":"s-1","type":"DETECTED",)"
              R"("version":1})");
}

TEST_F(SessionStateTest, MatchesBeforeConnectedAreReplayedRightAfterItInTheirOrder) {
    Create();
    state_->NoteMatch(MatchAt(kOtherReference, 30));
    state_->NoteMatch(MatchAt(kStartReference, 20));
    EXPECT_TRUE(events_.empty());
    EXPECT_EQ(state_->Status().matches.size(), 2u);

    Connect();
    state_->NoteMatch(MatchAt(kEndReference, 40));
    ASSERT_EQ(Types(), (Names{"CONNECTED", "DETECTED", "DETECTED", "DETECTED"}));
    EXPECT_EQ(events_[1]["sample"], 30);
    EXPECT_EQ(events_[2]["sample"], 20);
    EXPECT_EQ(events_[3]["sample"], 40);
    EXPECT_EQ(events_[3]["sequence"], 4);
    const auto matches = state_->Status().matches;
    ASSERT_EQ(matches.size(), 3u);
    EXPECT_EQ(matches[0].referenceId, "the-other");
    EXPECT_EQ(matches[2].role, ReferenceRole::kEnd);
}

TEST_F(SessionStateTest, AMatchOfAReferenceThatIsNotInTheRequestChangesNothing) {
    Connect();
    EXPECT_THROW(state_->NoteMatch(MatchAt(3, 10)), std::out_of_range);
    EXPECT_TRUE(state_->Status().matches.empty());
    EXPECT_EQ(events_.size(), 1u);
}

TEST_F(SessionStateTest, AnEventSinkThatThrowsIsTheReportersFailure) {
    Connect();
    sinkFails_ = true;
    EXPECT_THROW(state_->NoteMatch(MatchAt(kOtherReference, 10)), std::runtime_error);
}

// --- the wait for the start ---

TEST_F(SessionStateTest, TheFirstStartMatchInOrderOfArrivalIsTheStart) {
    Connect();
    state_->NoteMatch(MatchAt(kOtherReference, 10));
    state_->NoteMatch(MatchAt(kStartReference, 50));
    state_->NoteMatch(MatchAt(kStartReference, 40));
    EXPECT_EQ(state_->WaitForStart(), 50u);
}

TEST_F(SessionStateTest, OnlyEndAndOtherMatchesAreNoStart) {
    Connect();
    state_->NoteMatch(MatchAt(kEndReference, 10));
    state_->NoteMatch(MatchAt(kOtherReference, 20));
    state_->NoteSourceEnd(false);
    EXPECT_EQ(state_->WaitForStart(), std::nullopt);
}

TEST_F(SessionStateTest, AStartThatWasHeardBeforeTheSourceEndedIsTheStart) {
    Connect();
    state_->NoteMatch(MatchAt(kStartReference, 10));
    state_->NoteSourceEnd(true);
    EXPECT_EQ(state_->WaitForStart(), 10u);
}

TEST_F(SessionStateTest, ASourceThatFailedBeforeItWasScannedIsNoStart) {
    Connect();
    state_->NoteSourceEnd(true);
    EXPECT_EQ(state_->WaitForStart(), std::nullopt);
    EXPECT_FALSE(state_->IsStoppedOrFailing());  // nobody has polled
}

TEST_F(SessionStateTest, AStopOutweighsAStartThatWasHeard) {
    Connect();
    state_->NoteMatch(MatchAt(kStartReference, 10));
    EXPECT_TRUE(state_->RequestStop());
    EXPECT_EQ(state_->WaitForStart(), std::nullopt);
}

TEST_F(SessionStateTest, AStartMatchEndsTheWait) {
    Connect();
    std::promise<void> waits;
    std::optional<uint64_t> start;
    TestTask waiter("the waiter", [&] {
        waits.set_value();
        start = state_->WaitForStart();
    });
    Await(waits.get_future(), "the waiter");
    state_->NoteMatch(MatchAt(kOtherReference, 5));
    state_->NoteMatch(MatchAt(kStartReference, 10));
    waiter.Get();
    EXPECT_EQ(start, 10u);
}

TEST_F(SessionStateTest, TheSourcesEndEndsTheWait) {
    Connect();
    std::promise<void> waits;
    TestTask waiter("the waiter", [&] {
        waits.set_value();
        EXPECT_EQ(state_->WaitForStart(), std::nullopt);
    });
    Await(waits.get_future(), "the waiter");
    state_->NoteMatch(MatchAt(kOtherReference, 5));
    state_->NoteSourceEnd(false);
    waiter.Get();
    EXPECT_FALSE(state_->IsStoppedOrFailing());
}

TEST_F(SessionStateTest, AStopAndAFailedSourceEndTheWait) {
    const std::vector<std::function<bool()>> causes = {
        [&] { return state_->RequestStop(); },
        [&] { return state_->NoteSource(Ended(5, kSourceFailed)); },
        [&] {
            state_->NoteSourceEnd(true);  // and within its grace the poll
            return state_->NoteSource(Ended(5, kSourceFailed));
        }};
    for (const auto& cause : causes) {
        Create();
        Connect();
        std::promise<void> waits;
        std::optional<uint64_t> start;
        TestTask waiter("the waiter", [&] {
            waits.set_value();
            start = state_->WaitForStart();
        });
        Await(waits.get_future(), "the waiter");
        EXPECT_TRUE(cause());
        waiter.Get();
        EXPECT_EQ(start, std::nullopt);
        EXPECT_TRUE(state_->IsStoppedOrFailing());
    }
}

// --- READY, OPENED ---

TEST_F(SessionStateTest, ReadyTellsWhereTheAudioIsServedAndFromWhichSample) {
    ReachReady();
    EXPECT_EQ(Now(), State::kReady);
    EXPECT_EQ(state_->Status().uri, "pcm-pipe://audio");
    EXPECT_EQ(state_->Status().startSample, kStart);
    EXPECT_EQ(events_.back().dump(),
              R"({"sequence":3,"sessionId":"s-1","sourceSample":1000,"type":"READY",)"
              R"("uri":"pcm-pipe://audio","version":1})");
}

TEST_F(SessionStateTest, AClientMakesTheSessionOpenedAndTakesItsUriAwayWithoutAnEvent) {
    ReachReady();
    const size_t before = events_.size();
    state_->NoteAudioOpen();
    EXPECT_EQ(Now(), State::kOpened);
    EXPECT_EQ(state_->Status().uri, std::nullopt);
    EXPECT_EQ(state_->Status().startSample, kStart);
    EXPECT_EQ(events_.size(), before);
}

}  // namespace receiver
