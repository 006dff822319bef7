#include "session/session_events.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace receiver {

using nlohmann::json;

namespace {

using State = SessionStatus::State;
using Reason = SessionStatus::Reason;

CRubberBufferAudioFile::Stats CountedStatistics() {
    CRubberBufferAudioFile::Stats stats;
    stats.receivedBytes = 1;
    stats.retainedBytes = 2;
    stats.peakRetainedBytes = 3;
    stats.readBytes = 4;
    stats.readSample = 5;
    stats.firstSample = 6;
    stats.nextSample = 7;
    stats.availableBytes = 8;
    stats.sampleRate = 9;
    stats.blockAlign = 10;
    stats.blocks = 11;
    stats.error = 12;
    stats.finished = true;
    stats.ownerThread = 13;
    stats.lastWriteTick = 14;  // is not reported
    return stats;
}

constexpr const char* kCountedStatistics =
    R"({"availableBytes":8,"blockAlign":10,"blocks":11,"error":12,"finished":true,)"
    R"("firstSample":6,"nextSample":7,"ownerThread":13,"peakRetainedBytes":3,)"
    R"("readBytes":4,"readSample":5,"receivedBytes":1,"retainedBytes":2,"sampleRate":9})";

}  // namespace

TEST(SessionEvents, AMatchObjectNamesItsReferenceAndRole) {
    const SessionMatch match{.referenceId = "jingle",
                             .role = ReferenceRole::kStart,
                             .sample = 10,
                             .observedAfterSample = 20,
                             .ber = 0.125};
    EXPECT_EQ(MakeMatchObject(match).dump(),
              R"({"ber":0.125,"observedAfterSample":20,"referenceId":"jingle","role":"start",)"
              R"("sample":10})");
}

TEST(SessionEvents, AProgramObjectCountsAt44100Hz) {
    const ProgramEnd end{1, 5, 4, ProgramEndReason::kMaximum};
    EXPECT_EQ(MakeProgramObject(end).dump(),
              R"({"endSample":5,"fadeFrames":4,"reason":"maximum","sampleRate":44100,)"
              R"("startSample":1})");
}

TEST(SessionEvents, EveryReasonOfAProgrammesEndHasItsWord) {
    const auto word = [](ProgramEndReason reason) {
        return MakeProgramObject({0, 0, 0, reason})["reason"];
    };
    EXPECT_EQ(word(ProgramEndReason::kMaximum), "maximum");
    EXPECT_EQ(word(ProgramEndReason::kOutro), "outro");
    EXPECT_EQ(word(ProgramEndReason::kInterrupted), "interrupted");
    EXPECT_EQ(word(ProgramEndReason::kSourceEnded), "source_ended");
}

TEST(SessionEvents, AStatisticsObjectHoldsEveryReportedField) {
    EXPECT_EQ(MakeStatisticsObject(CountedStatistics()).dump(), kCountedStatistics);
}

TEST(SessionEvents, AnEventIsItsBodyAndTheKeysOfEveryEvent) {
    EXPECT_EQ(MakeEvent("READY", "s-1", 7, {{"uri", "u"}}).dump(),
              R"({"sequence":7,"sessionId":"s-1","type":"READY","uri":"u","version":1})");
    EXPECT_EQ(MakeEvent("CONNECTED", "s-1", 1, json::object()).dump(),
              R"({"sequence":1,"sessionId":"s-1","type":"CONNECTED","version":1})");
}

TEST(SessionEvents, TheKeysOfEveryEventWinOverTheBodys) {
    EXPECT_EQ(MakeEvent("FINISHED", "s-1", 7, {{"sequence", 6}})["sequence"], 7);
}

TEST(SessionEvents, BodiesHoldWhatTheirEventsTell) {
    EXPECT_EQ(MakeProgramEndBody({1, 5, 4, ProgramEndReason::kOutro}).dump(),
              R"({"program":{"endSample":5,"fadeFrames":4,"reason":"outro","sampleRate":44100,)"
              R"("startSample":1}})");
    EXPECT_EQ(MakeReadyBody("pcm-pipe://x", 9).dump(),
              R"({"sourceSample":9,"uri":"pcm-pipe://x"})");
    EXPECT_EQ(MakeSourceErrorBody(CountedStatistics(), true).dump(),
              std::string(R"({"buffer":)") + kCountedStatistics +
                  R"(,"canDrain":true,"error":12,"sourceEndSample":7})");
}

TEST(SessionEvents, ASnapshotHoldsOnlyWhatIsKnown) {
    SessionStatus status;
    status.sessionId = "s-1";
    EXPECT_EQ(MakeSnapshotObject(status).dump(),
              R"({"matches":[],"sequence":0,"sessionId":"s-1","state":"PREPARING"})");
}

TEST(SessionEvents, ASnapshotHoldsAllThatIsKnown) {
    SessionStatus status;
    status.sessionId = "s-1";
    status.state = State::kFinished;
    status.sequence = 6;
    status.matches = {{"a", ReferenceRole::kEnd, 10, 20, 0.5},
                      {"b", ReferenceRole::kOther, 11, 21, 0.25}};
    status.uri = "pcm-pipe://x";
    status.startSample = 9;
    status.program = ProgramEnd{1, 5, 4, ProgramEndReason::kInterrupted};
    status.sourceError = SessionStatus::SourceError{.code = 30, .endSample = 8};
    status.canDrain = false;
    status.outcome = SessionStatus::Outcome{Reason::kError, "why"};
    status.buffer = CountedStatistics();
    EXPECT_EQ(MakeSnapshotObject(status).dump(),
              std::string(R"({"buffer":)") + kCountedStatistics +
                  R"(,"canDrain":false,"matches":[{"ber":0.5,"observedAfterSample":20,)"
                  R"("referenceId":"a","role":"end","sample":10},{"ber":0.25,)"
                  R"("observedAfterSample":21,"referenceId":"b","role":"other","sample":11}],)"
                  R"("message":"why","program":{"endSample":5,"fadeFrames":4,)"
                  R"("reason":"interrupted","sampleRate":44100,"startSample":1},)"
                  R"("reason":"error","sequence":6,"sessionId":"s-1","sourceEndSample":8,)"
                  R"("sourceError":30,"sourceSample":9,"state":"FINISHED",)"
                  R"("uri":"pcm-pipe://x"})");
}

TEST(SessionEvents, EveryStateHasItsWord) {
    const auto word = [](State state) {
        SessionStatus status;
        status.state = state;
        return MakeSnapshotObject(status)["state"];
    };
    EXPECT_EQ(word(State::kPreparing), "PREPARING");
    EXPECT_EQ(word(State::kScanning), "SCANNING");
    EXPECT_EQ(word(State::kReady), "READY");
    EXPECT_EQ(word(State::kOpened), "OPENED");
    EXPECT_EQ(word(State::kCancelling), "CANCELLING");
    EXPECT_EQ(word(State::kStopping), "STOPPING");
    EXPECT_EQ(word(State::kFinished), "FINISHED");
}

TEST(SessionEvents, EveryReasonToFinishHasItsWord) {
    const auto word = [](Reason reason) {
        SessionStatus status;
        status.outcome = SessionStatus::Outcome{reason, ""};
        return MakeSnapshotObject(status)["reason"];
    };
    EXPECT_EQ(word(Reason::kEof), "eof");
    EXPECT_EQ(word(Reason::kError), "error");
    EXPECT_EQ(word(Reason::kCancelled), "cancelled");
}

}  // namespace receiver
