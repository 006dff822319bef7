#include "receiver_record/session_record.h"

#include <gtest/gtest.h>

#include "wire/messages.h"

namespace receiver {
namespace {

template <typename Body>
void Tell(SessionRecord& session, Body body) {
    Event event;
    event.body = std::move(body);
    Apply(event, session);
}

}  // namespace

TEST(SessionRecord, TheEventsOfASessionAreKept) {
    SessionRecord session;
    Tell(session, ConnectedEvent{});
    EXPECT_EQ(session.state, "SCANNING");
    Tell(session, DetectedEvent{{"a", Role::kStart, 1000, 2000, 0.1}});
    Tell(session, ReadyEvent{"pcm-pipe://audio", 1000});
    EXPECT_EQ(session.state, "RECORDING");
    EXPECT_EQ(session.startSample, 1000u);
    EXPECT_EQ(session.audioUri, "pcm-pipe://audio");
    Tell(session, DetectedEvent{{"b", Role::kEnd, 5000, 6000, 0.1}});
    Tell(session, ProgramEndEvent{{1000, 5500, 44100, 0, kEndOutro}});
    EXPECT_EQ(session.matches.size(), 2u);
    EXPECT_EQ(session.matches.back().referenceId, "b");
    EXPECT_EQ(ProgramFrames(session), 4500u);
    EXPECT_FALSE(session.finished);
    FinishedEvent finished;
    finished.session.reason = kReasonEof;
    Tell(session, finished);
    ASSERT_TRUE(session.finished);
    EXPECT_EQ(session.finished->reason, kReasonEof);
    EXPECT_EQ(session.state, "FINISHED");
    EXPECT_EQ(ProgramFrames(session), 4500u);  // FINISHED did not name it again
    EXPECT_FALSE(session.sourceFailed);
}

TEST(SessionRecord, AFailureOfTheSourceIsKept) {
    SessionRecord session;
    Tell(session, SourceErrorEvent{30, true, 0});
    EXPECT_TRUE(session.sourceFailed);
    EXPECT_EQ(session.state, "DRAINING");
}

TEST(SessionRecord, TheProgrammeOfFinishedIsTheLastWord) {
    SessionRecord session;
    Tell(session, ProgramEndEvent{{0, 100, 44100, 0, kEndMaximum}});
    FinishedEvent finished;
    finished.session.program = Program{0, 60, 44100, 0, kEndSourceEnded};
    Tell(session, finished);
    EXPECT_EQ(ProgramFrames(session), 60u);
}

TEST(SessionRecord, AnUnknownEventChangesNothing) {
    SessionRecord session;
    session.state = "SCANNING";
    Tell(session, UnknownEvent{});
    EXPECT_EQ(session.state, "SCANNING");
}

TEST(SessionRecord, ASnapshotTellsWhatWasMissed) {
    SessionRecord session;
    session.matches = {{"old", Role::kOther, 0, 0, 0}};
    SessionSnapshot snapshot;
    snapshot.state = kStateReady;
    snapshot.matches = {{"a", Role::kStart, 1000, 2000, 0.1}};
    snapshot.uri = "pcm-pipe://audio";
    snapshot.sourceSample = 1000;
    Apply(snapshot, session);
    EXPECT_EQ(session.matches.at(0).referenceId, "a");
    EXPECT_EQ(session.startSample, 1000u);
    EXPECT_EQ(session.audioUri, "pcm-pipe://audio");
    EXPECT_EQ(session.state, "RECORDING");
    EXPECT_FALSE(session.finished);
}

TEST(SessionRecord, ASnapshotDoesNotTakeBackWhatIsKnown) {
    SessionRecord session;
    Tell(session, ReadyEvent{"pcm-pipe://audio", 1000});
    Tell(session, ProgramEndEvent{{1000, 5500, 44100, 0, kEndOutro}});
    SessionSnapshot snapshot;
    snapshot.state = kStateFinished;
    snapshot.reason = kReasonError;
    snapshot.message = "why";
    Apply(snapshot, session);
    EXPECT_EQ(session.startSample, 1000u);
    EXPECT_EQ(session.audioUri, "pcm-pipe://audio");
    EXPECT_EQ(ProgramFrames(session), 4500u);
    ASSERT_TRUE(session.finished);
    EXPECT_EQ(session.finished->reason, kReasonError);
    EXPECT_EQ(session.finished->message, "why");
}

TEST(SessionRecord, AProgrammeThatEndsBeforeItBeginsHasNoFrames) {
    SessionRecord session;
    EXPECT_FALSE(ProgramFrames(session));
    session.program = Program{100, 50, 44100, 0, kEndInterrupted};
    EXPECT_EQ(ProgramFrames(session), 0u);
}

TEST(SessionRecord, ALossIsKnownOnceWhicheverWayItWasTold) {
    SessionRecord session;
    SessionSnapshot snapshot;
    snapshot.state = kStateScanning;
    snapshot.sequence = 3;
    snapshot.gaps.resize(2);
    snapshot.gaps[0].sample = 100;
    snapshot.gaps[1].sample = 200;
    Event event;
    event.sequence = 2;
    event.body = ResumedEvent{snapshot.gaps[0], {}};
    Apply(event, session);
    Apply(snapshot, session);
    EXPECT_TRUE(session.connected);
    event.sequence = 3;
    event.body = ResumedEvent{snapshot.gaps[1], {}};
    Apply(event, session);
    ASSERT_EQ(session.notes.Resumptions().size(), 2u);
    EXPECT_EQ(session.notes.Resumptions()[1].sample, 200u);
}

TEST(SessionRecord, ASessionThatWasNeverOpenIsNotConnected) {
    SessionRecord session;
    SessionSnapshot snapshot;
    snapshot.state = kStateFinished;
    snapshot.reason = kReasonError;
    snapshot.cause = Cause{kCauseRefused, "why", {}, {}};
    Apply(snapshot, session);
    EXPECT_FALSE(session.connected);
    ASSERT_TRUE(session.cause);
    EXPECT_EQ(session.cause->kind, kCauseRefused);
}

}  // namespace receiver
