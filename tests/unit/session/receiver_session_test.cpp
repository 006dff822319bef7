#include "session/receiver_session.h"

#include <stdexcept>
#include <system_error>

#include "testing/running_session.h"
#include "testing/test_task.h"

namespace receiver {

using nlohmann::json;

namespace {

using ReceiverSessionTest = SessionTest;

}  // namespace

TEST_F(ReceiverSessionTest, ANewSessionIsPreparingAndHasNoBuffer) {
    Create();
    EXPECT_EQ(session_->Snapshot(), json({{"sessionId", "session-1"},
                                          {"state", "PREPARING"},
                                          {"matches", json::array()},
                                          {"sequence", 0}}));
    EXPECT_FALSE(session_->IsFinished());
}

TEST_F(ReceiverSessionTest, AStopBeforeTheWorkerRunsEndsCancelledWithoutABuffer) {
    Create();
    session_->RequestStop();
    EXPECT_EQ(State(), "CANCELLING");
    Start();
    EXPECT_EQ(Finished(), json({{"type", "FINISHED"},
                                {"version", 1},
                                {"sessionId", "session-1"},
                                {"sequence", 1},
                                {"state", "FINISHED"},
                                {"matches", json::array()},
                                {"canDrain", false},
                                {"reason", "cancelled"},
                                {"message", "Cancelled during reference loading"}}));
}

TEST_F(ReceiverSessionTest, AStopIsVisibleInTheSnapshotAtOnce) {
    StartAndReachReady(kOneSecond);
    EXPECT_TRUE(session_->Snapshot().contains("uri"));
    session_->RequestStop();
    const json snapshot = session_->Snapshot();
    EXPECT_TRUE(snapshot["state"] == "CANCELLING" || snapshot["state"] == "FINISHED");
    EXPECT_EQ(snapshot["canDrain"], false);
    EXPECT_FALSE(snapshot.contains("uri"));
}

TEST_F(ReceiverSessionTest, AStopAfterFinishedChangesNothing) {
    source_.End();
    Start();
    ASSERT_FALSE(Finished().is_null());
    session_->Join();
    const json before = session_->Snapshot();
    session_->RequestStop();
    EXPECT_EQ(session_->Snapshot(), before);
    EXPECT_EQ(before["state"], "FINISHED");
    EXPECT_EQ(before["reason"], "error");
}

TEST_F(ReceiverSessionTest, EventsAfterAStopAreDroppedWithoutUsingASequenceNumber) {
    StartAndReachReady(kOneSecond);
    const uint64_t before = session_->Snapshot()["sequence"];
    session_->RequestStop();
    source_.Match(MatchAt(kEndReference, kStart + 5));
    EXPECT_EQ(Finished()["sequence"], before + 1);
    session_.reset();
    EXPECT_EQ(events_.Count("DETECTED"), 1u);
    EXPECT_EQ(events_.Types().back(), "FINISHED");
}

TEST_F(ReceiverSessionTest, SequenceNumbersCountTheEventsFromOne) {
    AskForProgram(1000, 0);
    StartAndReachReady(2 * kOneSecond);
    TakeStream();
    ASSERT_FALSE(Finished().is_null());
    uint64_t expected = 1;
    for (const json& event : events_.All()) {
        EXPECT_EQ(event["sequence"], expected++);
        EXPECT_EQ(event["version"], 1);
        EXPECT_EQ(event["sessionId"], "session-1");
    }
    EXPECT_EQ(session_->Snapshot()["sequence"], expected - 1);
}

TEST_F(ReceiverSessionTest, ASnapshotCarriesTheBufferOnceThereIsOne) {
    StartAndReachReady(kStart + 100);
    ASSERT_TRUE(source_.WaitUntilDrained());
    const json buffer = session_->Snapshot()["buffer"];
    EXPECT_EQ(buffer["receivedBytes"], (kStart + 100) * 4);
    EXPECT_EQ(buffer["nextSample"], kStart + 100);
    EXPECT_EQ(buffer["sampleRate"], 44100);
    EXPECT_EQ(buffer["finished"], false);
}

TEST_F(ReceiverSessionTest, AMatchBeforeConnectedIsReplayedRightAfterIt) {
    source_.MatchWhileOpening(MatchAt(kOtherReference, 3));
    source_.MatchWhileOpening(MatchAt(kStartReference, 7));
    source_.Deliver(100);
    Start();
    ASSERT_FALSE(events_.WaitFor("READY").is_null());
    const auto events = events_.All();
    ASSERT_EQ(events_.Types(),
              (std::vector<std::string>{"CONNECTED", "DETECTED", "DETECTED", "READY"}));
    EXPECT_EQ(events[0]["sequence"], 1);
    EXPECT_EQ(events[1]["sequence"], 2);
    EXPECT_EQ(events[1]["referenceId"], "the-other");
    EXPECT_EQ(events[2]["sequence"], 3);
    EXPECT_EQ(events[2]["referenceId"], "the-start");
    EXPECT_EQ(session_->Snapshot()["matches"].size(), 2u);
}

TEST_F(ReceiverSessionTest, AMatchIsReportedAsTheDetectorGaveIt) {
    StartAndReachReady(kStart + 1);
    const json event = events_.WaitFor("DETECTED");
    EXPECT_EQ(event, json({{"type", "DETECTED"},
                           {"version", 1},
                           {"sessionId", "session-1"},
                           {"sequence", 2},
                           {"referenceId", "the-start"},
                           {"role", "start"},
                           {"sample", kStart},
                           {"observedAfterSample", kStart + 30000},
                           {"ber", 0.0625}}));
}

TEST_F(ReceiverSessionTest, AMatchOfAReferenceThatIsNotInTheRequestFailsTheSource) {
    source_.Match(MatchAt(99, 0));
    Start();
    EXPECT_EQ(Finished()["buffer"]["error"], 30);
}

TEST_F(ReceiverSessionTest, NothingFollowsFinishedThoughTheSourceGoesOn) {
    AskForProgram(1000, 0);
    StartAndReachReady(2 * kOneSecond);
    TakeStream();
    ASSERT_EQ(Finished()["reason"], "eof");
    source_.Match(MatchAt(kEndReference, kStart + 5));
    source_.Deliver(100);
    ASSERT_TRUE(source_.WaitUntilDrained());
    EXPECT_EQ(events_.Types().back(), "FINISHED");
    EXPECT_EQ(session_->Snapshot()["matches"].size(), 1u);
}

// Whoever sees the failure first decides what is told, but nothing is lost or told twice.
TEST_F(ReceiverSessionTest, ASourceErrorWhileScanningStopsTheSession) {
    constexpr int kAttempts = 200;
    const std::string seenByWorker = "Start reference not found before source ended or failed";
    bool stoppedByPoll = false;
    for (int attempt = 0; attempt < kAttempts && !stoppedByPoll; ++attempt) {
        EventLog events;
        ScriptedSource source;
        ReceiverSession session(program_, audioUri_, events.Sink(), source.Factory());
        session.Start();
        ASSERT_FALSE(events.WaitFor("CONNECTED").is_null());
        source.Deliver(100);
        ASSERT_TRUE(source.WaitUntilDrained());
        source.Fail();
        const Patience patience("the end of the session");
        while (!session.IsFinished()) {
            patience.Check();
            session.PollSource();
            events.WaitForNews();
        }

        const json finished = events.WaitFor("FINISHED");
        EXPECT_EQ(finished["reason"], "error");
        EXPECT_EQ(finished["canDrain"], false);
        if (events.Count("SOURCE_ERROR") == 0) {
            EXPECT_EQ(events.Types(), (std::vector<std::string>{"CONNECTED", "FINISHED"}));
            EXPECT_EQ(finished["message"], seenByWorker);
            continue;
        }
        EXPECT_EQ(events.Types(),
                  (std::vector<std::string>{"CONNECTED", "SOURCE_ERROR", "FINISHED"}));
        const json error = events.WaitFor("SOURCE_ERROR");
        EXPECT_EQ(error["error"], 30);
        EXPECT_EQ(error["canDrain"], false);
        EXPECT_EQ(error["sourceEndSample"], 100);
        EXPECT_EQ(error["buffer"]["nextSample"], 100);
        EXPECT_EQ(finished["sourceError"], 30);
        EXPECT_EQ(finished["sourceEndSample"], 100);
        // Unless the worker had seen it, too, and was on its way to the end.
        stoppedByPoll = finished["message"] != seenByWorker;
        if (stoppedByPoll) {
            EXPECT_EQ(finished["message"], "Session stopped during detection");
        }
    }
    EXPECT_TRUE(stoppedByPoll);
}

TEST_F(ReceiverSessionTest, ASourceErrorWhileOpenedLetsTheAudioDrain) {
    AskForProgram(60000, 0);
    StartAndReachReady(kStart + 500);
    ASSERT_TRUE(client_.Connect(audioUri_));
    ASSERT_TRUE(client_.ReadHeader());
    source_.Fail();
    WaitUntilSourceEnded();
    const json error = events_.WaitFor("SOURCE_ERROR");
    EXPECT_EQ(error["canDrain"], true);
    EXPECT_EQ(error["sourceEndSample"], kStart + 500);
    EXPECT_NE(State(), "STOPPING");
    session_->PollSource();  // a second look says nothing new

    ASSERT_TRUE(client_.ReadToEnd());
    ASSERT_TRUE(client_.Acknowledge());
    const json finished = Finished();
    EXPECT_EQ(finished["reason"], "eof");
    EXPECT_EQ(finished["sourceError"], 30);
    EXPECT_EQ(client_.Frames(), 500u);
    EXPECT_EQ(events_.Count("SOURCE_ERROR"), 1u);
}

TEST_F(ReceiverSessionTest, ASourceErrorWhileReadyKeepsTheAudioUri) {
    AskForProgram(60000, 0);
    StartAndReachReady(kStart + 500);
    source_.Fail();
    WaitUntilSourceEnded();
    EXPECT_EQ(events_.WaitFor("SOURCE_ERROR")["canDrain"], true);
    const json snapshot = session_->Snapshot();
    EXPECT_EQ(snapshot["state"], "READY");
    EXPECT_EQ(snapshot["canDrain"], true);
    EXPECT_EQ(snapshot["uri"], audioUri_);
}

TEST_F(ReceiverSessionTest, ASourceErrorAfterAStopIsIgnored) {
    StartAndReachReady(kStart + 500);
    session_->RequestStop();
    session_->PollSource();
    ASSERT_FALSE(Finished().is_null());
    session_->Join();
    session_->PollSource();
    EXPECT_EQ(events_.Count("SOURCE_ERROR"), 0u);
}

TEST_F(ReceiverSessionTest, AConnectedClientMakesTheSessionOpenedWithoutAnEvent) {
    StartAndReachReady(kStart + 500);
    const uint64_t before = session_->Snapshot()["sequence"];
    ASSERT_TRUE(client_.Connect(audioUri_));
    ASSERT_TRUE(client_.ReadHeader());
    const json snapshot = session_->Snapshot();
    EXPECT_EQ(snapshot["state"], "OPENED");
    EXPECT_FALSE(snapshot.contains("uri"));
    EXPECT_EQ(snapshot["sourceSample"], kStart);
    EXPECT_EQ(snapshot["sequence"], before);
}

TEST_F(ReceiverSessionTest, AnEventSinkThatThrowsEndsTheSession) {
    ReceiverSession session(
        program_, audioUri_, [](json) { throw std::runtime_error("no room"); }, source_.Factory());
    session.Start();
    session.Join();
    EXPECT_TRUE(session.IsFinished());
    EXPECT_EQ(session.Snapshot()["message"], "no room");
}

TEST_F(ReceiverSessionTest, JoiningFromTheWorkerItselfIsAnError) {
    std::promise<void> started;
    std::error_code code;
    std::unique_ptr<ReceiverSession> session;
    session = std::make_unique<ReceiverSession>(
        program_, audioUri_,
        [&](const json& event) {
            if (event["type"] != "CONNECTED") return;
            Await(started.get_future(), "the start");
            try {
                session->Join();
            } catch (const std::system_error& error) {
                code = error.code();
            }
        },
        source_.Factory());
    session->Start();
    started.set_value();
    source_.End();
    session->Join();
    EXPECT_EQ(code, std::errc::resource_deadlock_would_occur);
}

}  // namespace receiver
