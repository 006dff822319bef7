#include "receiver_record/control/session_follower.h"

#include <gtest/gtest.h>

#include "testing/fake_peer.h"
#include "unit/tools/receiver_record/string_output.h"
#include "wire/messages.h"

namespace receiver {
namespace {

using nlohmann::json;

const std::string kSession = "s-1";

json Snapshot(const std::string& state) {
    return {{"sessionId", kSession}, {"state", state}, {"sequence", 0}, {"matches", json::array()}};
}

json Finished(const std::string& reason) {
    return {{"type", kEventFinished},  {"sessionId", kSession}, {"sequence", 9},
            {"state", kStateFinished}, {"reason", reason},      {"message", ""},
            {"matches", json::array()}};
}

// Takes the command and acknowledges it.
json Acknowledge(FakePeer& peer) {
    json command = peer.ReceiveMessage();
    peer.SendMessage({{"type", kReplyAck},
                      {"version", kProtocolVersion},
                      {"requestId", command["requestId"]},
                      {"command", command["type"]},
                      {"session", Snapshot(kStatePreparing)}});
    return command;
}

class SessionFollowerTest : public testing::Test {
protected:
    // Against a receiver that plays this, from the first HELLO on. Follows until the end.
    void Follow(const FakePeer::Script& script, bool cancel = false) {
        FakePeer peer(script);
        options_.controlUri = peer.Uri();
        ReceiverLink link(options_, interrupted_);
        const std::optional<Welcome> welcome = link.Open();
        ASSERT_TRUE(welcome) << link.FailureText();
        SessionFollower follower(link, console_, welcome->instanceId);
        PrepareRequest request;
        request.sessionId = kSession;
        prepared_ = follower.Prepare(request);
        if (prepared_) {
            if (cancel) follower.Cancel();
            while (follower.Step(false)) {
            }
        }
        session_ = follower.Session();
        failure_ = follower.FailureText();
        refused_ = follower.WasRefused();
        isConnected_ = follower.IsConnected();
    }

    RecordOptions options_;
    ManualResetEvent interrupted_;
    StringOutput shown_;
    StatusDisplay display_{shown_,
                           {[] { return size_t{0}; }, [] { return std::string("now"); }, false}};
    RecordConsole console_{options_, display_, nullptr};
    bool prepared_ = false;
    SessionRecord session_;
    std::string failure_;
    bool refused_ = false;
    bool isConnected_ = false;
};

}  // namespace

TEST_F(SessionFollowerTest, ARefusalIsToldInTheReceiversWords) {
    Follow([](FakePeer& peer) {
        peer.Welcome();
        const json command = peer.ReceiveMessage();
        peer.SendMessage({{"type", kReplyRejected},
                          {"version", kProtocolVersion},
                          {"requestId", command["requestId"]},
                          {"message", "not today"}});
        peer.WaitForHangUp();
    });
    EXPECT_FALSE(prepared_);
    EXPECT_TRUE(refused_);
    EXPECT_EQ(failure_, "not today");
}

// The session may have begun all the same, and nobody else would end it.
TEST_F(SessionFollowerTest, ARequestThatIsNotAnsweredIsTakenBack) {
    json command;
    Follow([&](FakePeer& peer) {
        peer.Welcome();
        peer.ReceiveMessage();
        command = Acknowledge(peer);
        peer.WaitForHangUp();
    });
    EXPECT_FALSE(prepared_);
    EXPECT_FALSE(refused_);
    EXPECT_EQ(failure_, "The receiver did not answer in time");
    EXPECT_EQ(command["type"], kCommandCancel);
    EXPECT_EQ(command["sessionId"], kSession);
}

TEST_F(SessionFollowerTest, ARequestWhoseAnswerIsLostWithTheConnectionIsTakenBack) {
    json command;
    Follow([&](FakePeer& peer) {
        peer.Welcome();
        peer.ReceiveMessage();
        peer.AcceptAgain();
        peer.Welcome(Snapshot(kStateScanning));
        command = Acknowledge(peer);
        peer.WaitForHangUp();
    });
    EXPECT_FALSE(prepared_);
    EXPECT_EQ(command["type"], kCommandCancel);
}

// It was sent before the connection was lost, and fetched after the snapshot.
TEST_F(SessionFollowerTest, AnEventThatTheSnapshotHasOvertakenTakesNothingBack) {
    const auto program = [](uint64_t end, const char* reason) {
        return json{{"startSample", 0},
                    {"endSample", end},
                    {"sampleRate", 44100},
                    {"fadeFrames", 0},
                    {"reason", reason}};
    };
    const json match = {{"referenceId", "a"},
                        {"role", kRoleStart},
                        {"sample", 0},
                        {"observedAfterSample", 2},
                        {"ber", 0}};
    Follow(
        [&](FakePeer& peer) {
            peer.Welcome();
            Acknowledge(peer);
            peer.ReceiveMessage();  // CANCEL, whose answer never comes: what follows has to wait
            json detected = match;
            detected.update({{"type", kEventDetected}, {"sessionId", kSession}, {"sequence", 1}});
            peer.SendMessage(detected);
            peer.SendMessage({{"type", kEventProgramEnd},
                              {"sessionId", kSession},
                              {"sequence", 2},
                              {"program", program(1000, kEndMaximum)}});
            peer.AcceptAgain();
            json active = Snapshot(kStateCancelling);
            active["sequence"] = 3;
            active["matches"] = {match};
            active["program"] = program(500, kEndOutro);
            peer.Welcome(active);
            Acknowledge(peer);
            peer.SendMessage(Finished(kReasonCancelled));
            peer.WaitForHangUp();
        },
        true);
    EXPECT_EQ(session_.matches.size(), 1u);
    ASSERT_TRUE(session_.program);
    EXPECT_EQ(session_.program->reason, kEndOutro);
}

TEST_F(SessionFollowerTest, EventsAreFollowedUntilFinished) {
    Follow([](FakePeer& peer) {
        peer.Welcome();
        Acknowledge(peer);
        peer.SendMessage({{"type", kEventConnected}, {"sessionId", kSession}, {"sequence", 1}});
        json foreign = Finished(kReasonError);
        foreign["sessionId"] = "another";
        peer.SendMessage(foreign);
        peer.SendMessage(Finished(kReasonEof));
        peer.WaitForHangUp();
    });
    ASSERT_TRUE(session_.finished);
    EXPECT_EQ(session_.finished->reason, kReasonEof);
    EXPECT_EQ(failure_, "");
    EXPECT_NE(shown_.Text().find("Connected to the source"), std::string::npos);
}

TEST_F(SessionFollowerTest, ALostConnectionIsTakenUpAgain) {
    Follow([](FakePeer& peer) {
        peer.Welcome();
        Acknowledge(peer);
        peer.AcceptAgain();
        json active = Snapshot(kStateScanning);
        active["matches"] = {{{"referenceId", "a"},
                              {"role", kRoleOther},
                              {"sample", 1},
                              {"observedAfterSample", 2},
                              {"ber", 0}}};
        peer.Welcome(active);
        peer.SendMessage(Finished(kReasonEof));
        peer.WaitForHangUp();
    });
    EXPECT_EQ(session_.matches.size(), 1u);
    EXPECT_TRUE(session_.finished);
    EXPECT_TRUE(isConnected_);
    EXPECT_EQ(failure_, "");
}

TEST_F(SessionFollowerTest, ASessionThatIsOverAfterALossIsNotWaitedFor) {
    Follow([](FakePeer& peer) {
        peer.Welcome();
        Acknowledge(peer);
        peer.AcceptAgain();
        peer.Welcome();
        peer.AcceptAgain();  // hangs up
        peer.WaitForHangUp();
    });
    EXPECT_TRUE(session_.over);
    EXPECT_FALSE(session_.finished);
    EXPECT_NE(shown_.Text().find("the receiver's last message about it was lost"),
              std::string::npos);
}

TEST_F(SessionFollowerTest, AnotherSessionInItsPlaceMeansThatItEnded) {
    Follow([](FakePeer& peer) {
        peer.Welcome();
        Acknowledge(peer);
        peer.AcceptAgain();
        json active = Snapshot(kStateScanning);
        active["sessionId"] = "another";
        peer.Welcome(active);
        peer.WaitForHangUp();
    });
    EXPECT_FALSE(session_.over);
    EXPECT_FALSE(session_.finished);
    EXPECT_NE(failure_, "");
}

TEST_F(SessionFollowerTest, ACancellationIsRepeatedAfterALoss) {
    std::vector<std::string> commands;
    Follow(
        [&](FakePeer& peer) {
            peer.Welcome();
            Acknowledge(peer);
            commands.push_back(Acknowledge(peer)["type"]);
            peer.AcceptAgain();
            peer.Welcome(Snapshot(kStateCancelling));
            commands.push_back(Acknowledge(peer)["type"]);
            peer.SendMessage(Finished(kReasonCancelled));
            peer.WaitForHangUp();
        },
        true);
    EXPECT_EQ(commands, (std::vector<std::string>{kCommandCancel, kCommandCancel}));
    ASSERT_TRUE(session_.finished);
    EXPECT_EQ(session_.finished->reason, kReasonCancelled);
}

}  // namespace receiver
