// How a session comes to its end: the programme's end, stops, failed sources, FINISHED.
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "unit/session/session_state_fixture.h"

namespace receiver {

using nlohmann::json;

// --- the programme's end ---

TEST_F(SessionStateTest, WithoutBoundsNoEndIsAnnounced) {
    ReachReady();
    state_->NoteMatch(MatchAt(kEndReference, kStart + 5));
    EXPECT_EQ(Types(), (Names{"CONNECTED", "DETECTED", "READY", "DETECTED"}));
    EXPECT_FALSE(state_->Status().program);
    EXPECT_THROW(state_->UpdateProgramEnd(Ended(kStart + 9)), std::bad_optional_access);
}

TEST_F(SessionStateTest, TheEndIsAnnouncedBeforeReadyAndNotBefore) {
    Create(2000, 300);
    Connect();
    state_->NoteMatch(MatchAt(kStartReference, kStart));
    EXPECT_FALSE(state_->Status().program);
    ASSERT_TRUE(state_->AnnounceReady(kStart, kStart));
    ASSERT_EQ(Types(), (Names{"CONNECTED", "DETECTED", "PROGRAM_END", "READY"}));
    EXPECT_EQ(events_[2].dump(),
              R"({"program":{"endSample":89200,"fadeFrames":13230,"reason":"maximum",)"
              R"("sampleRate":44100,"startSample":1000},"sequence":3,"sessionId":"s-1",)"
              R"("type":"PROGRAM_END","version":1})");
    EXPECT_EQ(state_->Status().program,
              (ProgramEnd{kStart, 89200, 13230, ProgramEndReason::kMaximum}));
}

TEST_F(SessionStateTest, AnEndReferenceHeardBeforeReadyCountsAtOnce) {
    Create(10000);
    state_->NoteMatch(MatchAt(kEndReference, kStart + 10));
    ReachReady();
    EXPECT_EQ(Types(), (Names{"CONNECTED", "DETECTED", "DETECTED", "PROGRAM_END", "READY"}));
    EXPECT_EQ(state_->Status().program,
              (ProgramEnd{kStart, kStart + 10 + kEndLength, 0, ProgramEndReason::kOutro}));
}

TEST_F(SessionStateTest, EveryMatchIsDetectedButOnlyOneThatMovesTheEndAnnouncesIt) {
    Create(10000);
    ReachReady();
    events_.clear();
    state_->NoteMatch(MatchAt(kEndReference, kStart + 200));
    state_->NoteMatch(MatchAt(kEndReference, kStart + 200));
    state_->NoteMatch(MatchAt(kEndReference, kStart + 300));
    state_->NoteMatch(MatchAt(kOtherReference, kStart + 1));
    state_->NoteMatch(MatchAt(kEndReference, kStart + 100));
    ASSERT_EQ(Types(), (Names{"DETECTED", "PROGRAM_END", "DETECTED", "DETECTED", "DETECTED",
                              "DETECTED", "PROGRAM_END"}));
    EXPECT_EQ(events_.back()["program"]["endSample"], kStart + 100 + kEndLength);
}

TEST_F(SessionStateTest, ASecondStartReferenceDoesNotMoveTheStart) {
    Create(10000);
    ReachReady();
    state_->NoteMatch(MatchAt(kStartReference, kStart + 200));
    EXPECT_EQ(state_->Status().program->startSample, kStart);
    EXPECT_EQ(state_->Status().startSample, kStart);
}

TEST_F(SessionStateTest, ARunningSourceLeavesTheEndWhereItIs) {
    Create(1000);
    ReachReady();
    const size_t before = events_.size();
    EXPECT_EQ(state_->UpdateProgramEnd(Running(kStart + 5)), state_->Status().program);
    EXPECT_EQ(events_.size(), before);
}

TEST_F(SessionStateTest, ASourceThatEndedEndsTheProgrammeThereOnce) {
    Create(1000, 1000);
    ReachReady();
    events_.clear();
    const ProgramEnd expected{kStart, kStart + 300, 300, ProgramEndReason::kSourceEnded};
    EXPECT_EQ(state_->UpdateProgramEnd(Ended(kStart + 300)), expected);
    EXPECT_EQ(state_->UpdateProgramEnd(Ended(kStart + 300)), expected);
    EXPECT_EQ(state_->Status().program, expected);
    EXPECT_EQ(Types(), Names{"PROGRAM_END"});
}

TEST_F(SessionStateTest, ASourceThatFailedInterruptsTheProgramme) {
    Create(1000);
    ReachReady();
    EXPECT_EQ(state_->UpdateProgramEnd(Ended(kStart + 300, kSourceFailed)),
              (ProgramEnd{kStart, kStart + 300, 0, ProgramEndReason::kInterrupted}));
}

TEST_F(SessionStateTest, TheEarliestEndOfTheSourceIsKeptWithItsReason) {
    Create(1000);
    ReachReady();
    state_->UpdateProgramEnd(Ended(kStart + 300));
    EXPECT_EQ(state_->UpdateProgramEnd(Ended(kStart + 300, kSourceFailed)).reason,
              ProgramEndReason::kSourceEnded);
    EXPECT_EQ(state_->UpdateProgramEnd(Ended(kStart + 400, kSourceFailed)).endSample, kStart + 300);
    EXPECT_EQ(state_->UpdateProgramEnd(Ended(kStart + 200, kSourceFailed)),
              (ProgramEnd{kStart, kStart + 200, 0, ProgramEndReason::kInterrupted}));
}

TEST_F(SessionStateTest, ASourceThatEndedAfterTheMaximumChangesNothing) {
    Create(1000);
    ReachReady();
    const size_t before = events_.size();
    EXPECT_EQ(state_->UpdateProgramEnd(Ended(kStart + 2 * kSecond)).reason,
              ProgramEndReason::kMaximum);
    EXPECT_EQ(events_.size(), before);
}

// --- a stop ---

TEST_F(SessionStateTest, AStopIsVisibleAtOnceAndEmitsNothing) {
    ReachReady();
    const size_t before = events_.size();
    EXPECT_TRUE(state_->RequestStop());
    EXPECT_EQ(Now(), State::kCancelling);
    EXPECT_TRUE(state_->IsStopRequested() && state_->IsStoppedOrFailing());
    EXPECT_EQ(state_->Status().canDrain, false);
    EXPECT_EQ(state_->Status().uri, std::nullopt);
    EXPECT_EQ(state_->Status().startSample, kStart);
    EXPECT_EQ(events_.size(), before);
}

TEST_F(SessionStateTest, AStopThatIsRepeatedCancelsTheChainAgain) {
    Create();
    EXPECT_TRUE(state_->RequestStop());
    EXPECT_TRUE(state_->RequestStop());
}

TEST_F(SessionStateTest, AfterAStopNothingBeginsAnyMore) {
    Create(1000);
    EXPECT_TRUE(state_->RequestStop());
    EXPECT_FALSE(state_->AnnounceConnected());
    EXPECT_FALSE(state_->AnnounceReady(kStart, kStart));
    state_->NoteAudioOpen();
    state_->NoteMatch(MatchAt(kStartReference, 10));
    EXPECT_FALSE(state_->AwaitsSourceError());
    EXPECT_FALSE(state_->NoteSource(Ended(5, kSourceFailed)));
    EXPECT_EQ(Now(), State::kCancelling);
    const SessionStatus status = state_->Status();
    EXPECT_TRUE(status.matches.empty());
    EXPECT_FALSE(status.uri || status.startSample || status.sourceError);
    EXPECT_TRUE(events_.empty());
}

TEST_F(SessionStateTest, AClientThatComesAfterAStopDoesNotOpenTheSession) {
    ReachReady();
    EXPECT_TRUE(state_->RequestStop());
    state_->NoteAudioOpen();
    EXPECT_EQ(Now(), State::kCancelling);
}

TEST_F(SessionStateTest, AnEventThatAStopDropsUsesUpNoNumber) {
    Create(1000);
    ReachReady();
    const uint64_t before = state_->Status().sequence;
    EXPECT_TRUE(state_->RequestStop());
    EXPECT_EQ(state_->UpdateProgramEnd(Ended(kStart + 1)).endSample, kStart + 1);
    Finish(Reason::kError, "why");
    EXPECT_EQ(events_.size(), before + 1);
    EXPECT_EQ(events_.back()["type"], "FINISHED");
    EXPECT_EQ(events_.back()["sequence"], before + 1);
    EXPECT_EQ(events_.back()["reason"], "cancelled");
    EXPECT_EQ(events_.back()["message"], "why");
    EXPECT_EQ(events_.back()["program"]["reason"], "source_ended");
}

// --- a failed source ---

TEST_F(SessionStateTest, ASourceThatFailsBeforeItIsAnnouncedIsLeftToTheWorker) {
    Create();
    EXPECT_TRUE(state_->AwaitsSourceError());
    EXPECT_FALSE(state_->NoteSource(Ended(5, kSourceFailed)));
    EXPECT_EQ(Now(), State::kPreparing);
    EXPECT_TRUE(events_.empty());
    EXPECT_TRUE(state_->AwaitsSourceError());
}

TEST_F(SessionStateTest, ASourceWithoutAnErrorIsNoNews) {
    Connect();
    EXPECT_FALSE(state_->NoteSource(Running(5)));
    EXPECT_FALSE(state_->NoteSource(Ended(5)));
    EXPECT_EQ(Now(), State::kScanning);
    EXPECT_EQ(events_.size(), 1u);
}

TEST_F(SessionStateTest, ASourceThatFailsWhileScanningStopsTheSession) {
    Connect();
    EXPECT_TRUE(state_->NoteSource(Ended(5, kSourceFailed)));
    EXPECT_EQ(Now(), State::kStopping);
    EXPECT_TRUE(state_->IsStoppedOrFailing());
    EXPECT_FALSE(state_->IsStopRequested());
    const SessionStatus status = state_->Status();
    EXPECT_EQ(status.canDrain, false);
    ASSERT_TRUE(status.sourceError);
    EXPECT_EQ(status.sourceError->code, kSourceFailed);
    EXPECT_EQ(status.sourceError->endSample, 5u);
    json event = events_.at(1);
    EXPECT_EQ(event["buffer"]["finished"], true);
    event.erase("buffer");
    EXPECT_EQ(event.dump(), R"({"canDrain":false,"error":30,"sequence":2,"sessionId":"s-1",)"
                            R"("sourceEndSample":5,"type":"SOURCE_ERROR","version":1})");
}

TEST_F(SessionStateTest, AfterASourceThatFailedWhileScanningOnlyFinishedFollows) {
    Create(1000);
    Connect();
    EXPECT_TRUE(state_->NoteSource(Ended(5, kSourceFailed)));
    EXPECT_FALSE(state_->AwaitsSourceError());
    EXPECT_FALSE(state_->NoteSource(Ended(5, kSourceFailed)));
    state_->NoteMatch(MatchAt(kStartReference, 1));
    EXPECT_FALSE(state_->AnnounceReady(1, 1));
    EXPECT_TRUE(state_->Status().matches.empty());
    Finish(Reason::kEof, "why");
    EXPECT_EQ(Types(), (Names{"CONNECTED", "SOURCE_ERROR", "FINISHED"}));
    EXPECT_EQ(events_.back()["reason"], "error");
    EXPECT_EQ(events_.back()["sourceError"], 30);
    EXPECT_EQ(events_.back()["sourceEndSample"], 5);
    EXPECT_EQ(events_.back()["sequence"], 3);
}

TEST_F(SessionStateTest, AStopOutweighsASourceThatFailedWhileScanning) {
    Connect();
    EXPECT_TRUE(state_->NoteSource(Ended(5, kSourceFailed)));
    EXPECT_TRUE(state_->RequestStop());
    EXPECT_EQ(Now(), State::kCancelling);
    Finish();
    EXPECT_EQ(events_.back()["reason"], "cancelled");
}

TEST_F(SessionStateTest, ASourceThatFailsWhileReadyLeavesTheAudioToBeServed) {
    ReachReady();
    EXPECT_FALSE(state_->NoteSource(Ended(kStart + 9, kSourceFailed)));
    EXPECT_EQ(Now(), State::kReady);
    EXPECT_EQ(state_->Status().uri, "pcm-pipe://audio");
    EXPECT_EQ(state_->Status().canDrain, true);
    EXPECT_EQ(events_.back()["type"], "SOURCE_ERROR");
    EXPECT_EQ(events_.back()["canDrain"], true);
    EXPECT_FALSE(state_->IsStoppedOrFailing());
}

TEST_F(SessionStateTest, ASourceThatFailsWhileOpenedIsToldOnceAndTheRestGoesOn) {
    Create(10000);
    ReachReady();
    state_->NoteAudioOpen();
    events_.clear();
    EXPECT_FALSE(state_->NoteSource(Ended(kStart + 9, kSourceFailed)));
    EXPECT_EQ(Now(), State::kOpened);
    EXPECT_FALSE(state_->AwaitsSourceError());
    EXPECT_FALSE(state_->NoteSource(Ended(kStart + 9, kSourceFailed)));
    state_->NoteMatch(MatchAt(kOtherReference, kStart + 1));
    state_->UpdateProgramEnd(Ended(kStart + 9, kSourceFailed));
    Finish();
    EXPECT_EQ(Types(), (Names{"SOURCE_ERROR", "DETECTED", "PROGRAM_END", "FINISHED"}));
    EXPECT_EQ(events_.back()["reason"], "eof");
    EXPECT_EQ(events_.back()["canDrain"], false);
}

// --- FINISHED ---

TEST_F(SessionStateTest, FinishedCarriesTheWholeSnapshot) {
    Create(1000);
    ReachReady();
    state_->Finish({Reason::kError, "why"}, Ended(5));
    json event = events_.back();
    EXPECT_EQ(event["buffer"]["nextSample"], 5);
    event.erase("buffer");
    EXPECT_EQ(event.dump(),
              R"({"canDrain":false,"matches":[{"ber":0.0625,"observedAfterSample":1007,)"
              R"("referenceId":"the-start","role":"start","sample":1000}],"message":"why",)"
              R"("program":{"endSample":45100,"fadeFrames":0,"reason":"maximum",)"
              R"("sampleRate":44100,"startSample":1000},"reason":"error","sequence":5,)"
              R"("sessionId":"s-1","sourceSample":1000,"state":"FINISHED","type":"FINISHED",)"
              R"("version":1})");
    EXPECT_TRUE(state_->IsFinished());
    EXPECT_EQ(state_->Status().uri, std::nullopt);
}

TEST_F(SessionStateTest, WithoutABufferFinishedHasNoStatistics) {
    Create();
    Finish(Reason::kError, "why");
    EXPECT_EQ(events_.at(0).dump(),
              R"({"canDrain":false,"matches":[],"message":"why","reason":"error","sequence":1,)"
              R"("sessionId":"s-1","state":"FINISHED","type":"FINISHED","version":1})");
}

TEST_F(SessionStateTest, AfterFinishedNothingChanges) {
    Create(1000);
    ReachReady();
    Finish();
    const size_t before = events_.size();
    EXPECT_FALSE(state_->RequestStop());
    EXPECT_FALSE(state_->AwaitsSourceError());
    EXPECT_FALSE(state_->NoteSource(Ended(5, kSourceFailed)));
    state_->NoteMatch(MatchAt(kEndReference, kStart + 5));
    EXPECT_EQ(events_.size(), before);
    const SessionStatus status = state_->Status();
    EXPECT_EQ(status.state, State::kFinished);
    EXPECT_EQ(status.outcome->reason, Reason::kEof);
    EXPECT_EQ(status.matches.size(), 1u);
    EXPECT_FALSE(status.sourceError);
}

TEST_F(SessionStateTest, ASessionWhoseFinishedCannotBePostedHasFinishedAllTheSame) {
    Create();
    sinkFails_ = true;
    Finish(Reason::kError, "no room");
    EXPECT_TRUE(state_->IsFinished());
    EXPECT_EQ(state_->Status().outcome->message, "no room");
}

TEST_F(SessionStateTest, AStandingHasAReasonOnlyOnceFinished) {
    ReachReady();
    EXPECT_EQ(state_->GetStanding().reason, std::nullopt);
    EXPECT_TRUE(state_->RequestStop());
    EXPECT_EQ(state_->GetStanding().state, State::kCancelling);
    EXPECT_EQ(state_->GetStanding().reason, std::nullopt);
    Finish();
    EXPECT_EQ(state_->GetStanding().state, State::kFinished);
    EXPECT_EQ(state_->GetStanding().reason, Reason::kCancelled);
}

}  // namespace receiver
