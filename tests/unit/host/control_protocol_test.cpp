#include "host/control_protocol.h"

#include "host/session_slot.h"
#include "testing/raw_audio_client.h"
#include "testing/scripted_source.h"
#include "testing/session_fixture.h"
#include "unit/host/channel_fixture.h"

namespace receiver {

using nlohmann::json;

namespace {

constexpr const char* kInstance = "0F0E0D0C-0B0A-4908-8706-050403020100";

class ControlProtocolTest : public ChannelTest {
protected:
    static const ReferenceFiles& Files() {
        static const ReferenceFiles files;
        return files;
    }

    // One pass of the host's loop, but for the wait for a client.
    void Pass() {
        slot_.TakeBackWakeUp();
        slot_.Poll();
        slot_.Reap();
        if (channel_.IsConnected()) {
            channel_.ReadMessages([this](const json& message) {
                protocol_.Dispatch(message);
                return !protocol_.IsStopRequested();
            });
        }
        protocol_.ForwardEvents();
        slot_.WakeUp().Wait(1);
    }
    json AskRaw(const std::string& body) {
        if (!SendFrameWhile(body, [this] { Pass(); })) return {};
        json reply = Reply();
        while (reply.contains("sequence")) reply = Reply();  // an event on the way
        return reply;
    }
    json Ask(const json& command) { return AskRaw(command.dump()); }
    // With the keys that every command has.
    static json Command(const std::string& type, const std::string& requestId) {
        return {{"type", type}, {"requestId", requestId}, {"version", 1}};
    }
    json Hello() { return Ask(Command("HELLO", "hello")); }
    void Introduce() {
        Connect();
        ASSERT_EQ(Hello()["type"], "WELCOME");
    }
    json PrepareCommand(const std::string& requestId = "p-1",
                        const std::string& sessionId = "s-1") const {
        json command = Command("PREPARE", requestId);
        command["sessionId"] = sessionId;
        command["url"] = "http://127.0.0.1/stream";
        command["references"] = json::array(
            {{{"id", "the-start"}, {"role", "start"}, {"path", Files().Path("start")}}});
        return command;
    }
    static json CancelCommand(const std::string& requestId, const std::string& sessionId) {
        json command = Command("CANCEL", requestId);
        command["sessionId"] = sessionId;
        return command;
    }
    // Passes until a message of this type is in the client's hands; others are dropped.
    json WaitFor(const std::string& type) {
        json message;
        const Patience patience(type);
        while (message["type"] != type) {
            patience.Check();
            Pass();
            if (const auto body = client_.Receive(1)) message = json::parse(*body);
        }
        return message;
    }
    template <typename Condition>
    void PassWhile(const char* awaited, Condition condition) {
        const Patience patience(awaited);
        while (condition()) {
            patience.Check();
            Pass();
        }
    }
    // Until the session is gone from the slot.
    void WaitUntilReaped() {
        PassWhile("the end of the session", [this] { return !slot_.SnapshotOf("").is_null(); });
    }

    ScriptedSource source_;
    SessionSlot slot_{kInstance, source_.Factory()};
    ControlProtocol protocol_{kInstance, channel_, slot_};
};

std::string AudioUri(int counter) {
    return std::string("pcm-pipe://receiver-audio-") + kInstance + "-" + std::to_string(counter);
}

}  // namespace

TEST_F(ControlProtocolTest, HelloIsAnsweredWithTheInstanceAndNoSession) {
    Connect();
    EXPECT_EQ(Hello(), json({{"type", "WELCOME"},
                             {"requestId", "hello"},
                             {"version", 1},
                             {"instanceId", kInstance},
                             {"active", nullptr}}));
    EXPECT_TRUE(channel_.IsIntroduced());
}

TEST_F(ControlProtocolTest, HelloMayBeRepeatedWithOtherContent) {
    Introduce();
    json again = Command("HELLO", "hello");
    again["x"] = 1;
    EXPECT_EQ(Ask(again)["type"], "WELCOME");
}

TEST_F(ControlProtocolTest, AnythingButAnObjectIsRejected) {
    Connect();
    for (const char* body : {"[]", "1", "null", "\"HELLO\""}) {
        EXPECT_EQ(AskRaw(body), Rejected("", "Expected JSON object")) << body;
    }
}

TEST_F(ControlProtocolTest, ARequestIdHas1To80AllowedCharacters) {
    Connect();
    EXPECT_EQ(Ask(Command("HELLO", std::string(80, 'x')))["type"], "WELCOME");
    for (const std::string& id : {std::string(), std::string("a.b"), std::string(81, 'x')}) {
        EXPECT_EQ(Ask(Command("HELLO", id)), Rejected(id, "Invalid requestId")) << id;
    }
    json without = Command("HELLO", "");
    without.erase("requestId");
    EXPECT_EQ(Ask(without), Rejected("", "Invalid requestId"));
}

TEST_F(ControlProtocolTest, ARequestIdOfAnotherTypeIsRejectedInTheLibrarysWords) {
    Connect();
    json command = Command("HELLO", "");
    command["requestId"] = 7;
    EXPECT_EQ(Ask(command),
              Rejected("", "[json.exception.type_error.302] type must be string, but is number"));
}

TEST_F(ControlProtocolTest, OnlyTheIntegerOneIsASupportedVersion) {
    Connect();
    for (const char* version : {"2", "0", "-1", "1.0", "\"1\"", "true", "null", "[1]"}) {
        EXPECT_EQ(
            AskRaw(R"({"type":"HELLO","requestId":"a","version":)" + std::string(version) + "}"),
            Rejected("a", "Unsupported protocol version"))
            << version;
    }
    EXPECT_EQ(AskRaw(R"({"type":"HELLO","requestId":"a"})"),
              Rejected("a", "Unsupported protocol version"));
    EXPECT_FALSE(channel_.IsIntroduced());
}

TEST_F(ControlProtocolTest, TheRequestIdIsCheckedBeforeTheVersionAndTheVersionBeforeTheType) {
    Connect();
    EXPECT_EQ(AskRaw(R"({"requestId":"."})"), Rejected(".", "Invalid requestId"));
    EXPECT_EQ(AskRaw(R"({"requestId":"a"})"), Rejected("a", "Unsupported protocol version"));
    EXPECT_EQ(AskRaw(R"({"requestId":"a","version":1})"),
              Rejected("a", "[json.exception.out_of_range.403] key 'type' not found"));
    EXPECT_EQ(AskRaw(R"({"requestId":"a","version":1,"type":null})"),
              Rejected("a", "[json.exception.type_error.302] type must be string, but is null"));
}

TEST_F(ControlProtocolTest, HelloHasToComeFirst) {
    Connect();
    EXPECT_EQ(Ask(PrepareCommand()), Rejected("p-1", "HELLO required"));
    EXPECT_EQ(Ask(Command("NONSENSE", "n")), Rejected("n", "HELLO required"));
    EXPECT_TRUE(slot_.SnapshotOf("").is_null());
}

TEST_F(ControlProtocolTest, HelloHasToBeRepeatedOnANewConnection) {
    Introduce();
    client_.Close();
    Pass();
    Connect();
    EXPECT_EQ(Ask(Command("SHUTDOWN", "s")), Rejected("s", "HELLO required"));
}

TEST_F(ControlProtocolTest, AnUnknownCommandIsRejected) {
    Introduce();
    EXPECT_EQ(Ask(Command("prepare", "a")), Rejected("a", "Unknown command"));
}

TEST_F(ControlProtocolTest, PrepareIsAcknowledgedWithTheNewSession) {
    Introduce();
    EXPECT_EQ(Ask(PrepareCommand()), json({{"type", "ACK"},
                                           {"command", "PREPARE"},
                                           {"requestId", "p-1"},
                                           {"version", 1},
                                           {"session",
                                            {{"sessionId", "s-1"},
                                             {"state", "PREPARING"},
                                             {"matches", json::array()},
                                             {"sequence", 0}}}}));
    EXPECT_EQ(WaitFor("CONNECTED")["sessionId"], "s-1");
}

TEST_F(ControlProtocolTest, ABadRequestIsRejectedWithItsTextAndChangesNothing) {
    Introduce();
    json bad = PrepareCommand();
    bad["url"] = "ftp://x";
    EXPECT_EQ(Ask(bad), Rejected("p-1", "Expected HTTP(S) source"));
    EXPECT_TRUE(slot_.SnapshotOf("").is_null());
    source_.Match(MatchAt(kStartReference, 0));
    source_.Deliver(10);
    EXPECT_EQ(Ask(PrepareCommand())["type"], "ACK");  // neither the id nor a number is used up
    EXPECT_EQ(WaitFor("READY")["uri"], AudioUri(1));
}

TEST_F(ControlProtocolTest, ASecondSessionIsRefusedAndUsesUpNoNumber) {
    Introduce();
    ASSERT_EQ(Ask(PrepareCommand())["type"], "ACK");
    ASSERT_EQ(WaitFor("CONNECTED")["type"], "CONNECTED");
    EXPECT_EQ(Ask(PrepareCommand("p-2", "s-2")),
              Rejected("p-2", "Receiver already has an active session"));
    source_.End();
    ASSERT_EQ(WaitFor("FINISHED")["sessionId"], "s-1");
    source_.Match(MatchAt(kStartReference, 0));
    source_.Deliver(10);
    EXPECT_EQ(Ask(PrepareCommand("p-2", "s-2"))["type"], "ACK");
    EXPECT_EQ(WaitFor("READY")["uri"], AudioUri(2));
}

TEST_F(ControlProtocolTest, ABadRequestIsJudgedBeforeTheActiveSession) {
    Introduce();
    ASSERT_EQ(Ask(PrepareCommand())["type"], "ACK");
    ASSERT_EQ(WaitFor("CONNECTED")["type"], "CONNECTED");
    json bad = PrepareCommand("p-2");
    bad["sessionId"] = "";
    EXPECT_EQ(Ask(bad), Rejected("p-2", "Invalid sessionId"));
}

TEST_F(ControlProtocolTest, HelloWhileASessionRunsShowsIt) {
    Introduce();
    ASSERT_EQ(Ask(PrepareCommand())["type"], "ACK");
    ASSERT_EQ(WaitFor("CONNECTED")["type"], "CONNECTED");
    const json active = Hello()["active"];
    EXPECT_EQ(active["sessionId"], "s-1");
    EXPECT_EQ(active["state"], "SCANNING");
    EXPECT_TRUE(active.contains("buffer"));
}

TEST_F(ControlProtocolTest, ARequestIdMayNotComeBackWithAnotherCommand) {
    Introduce();
    ASSERT_EQ(Ask(PrepareCommand("same"))["type"], "ACK");
    ASSERT_EQ(WaitFor("CONNECTED")["type"], "CONNECTED");
    EXPECT_EQ(Ask(CancelCommand("same", "s-1")),
              Rejected("same", "requestId was already used for a different command"));
    EXPECT_EQ(slot_.SnapshotOf("s-1")["state"], "SCANNING");
}

TEST_F(ControlProtocolTest, ARequestIdIsRememberedAfterReconnecting) {
    Introduce();
    ASSERT_EQ(Ask(PrepareCommand("same"))["type"], "ACK");
    client_.Close();
    PassWhile("the hang-up", [this] { return channel_.IsConnected(); });
    Introduce();
    EXPECT_EQ(Ask(CancelCommand("same", "s-1")),
              Rejected("same", "requestId was already used for a different command"));
}

TEST_F(ControlProtocolTest, ARequestIdIsFreeAfterARejection) {
    Introduce();
    ASSERT_EQ(Ask(CancelCommand("same", "nobody"))["type"], "REJECTED");
    EXPECT_EQ(Ask(PrepareCommand("same"))["type"], "ACK");
}

TEST_F(ControlProtocolTest, TheSameCancelIsCarriedOutTwice) {
    Introduce();
    ASSERT_EQ(Ask(PrepareCommand())["type"], "ACK");
    ASSERT_EQ(WaitFor("CONNECTED")["type"], "CONNECTED");
    const std::string cancel = RawControlClient::Frame(CancelCommand("c", "s-1").dump());
    ASSERT_TRUE(client_.Send(cancel + cancel));
    Pass();
    for (int i = 0; i < 2; ++i) {
        const json ack = Reply();
        EXPECT_EQ(ack["type"], "ACK");
        EXPECT_EQ(ack["command"], "CANCEL");
        EXPECT_EQ(ack["requestId"], "c");
        EXPECT_EQ(ack["session"]["canDrain"], false);
    }
    EXPECT_EQ(WaitFor("FINISHED")["reason"], "cancelled");
}

TEST_F(ControlProtocolTest, ACancelWithItsKeysInAnotherOrderIsTheSameCommand) {
    Introduce();
    ASSERT_EQ(Ask(PrepareCommand())["type"], "ACK");
    ASSERT_EQ(WaitFor("CONNECTED")["type"], "CONNECTED");
    const std::string one = R"({"type":"CANCEL","requestId":"c","version":1,"sessionId":"s-1"})";
    const std::string two = R"({ "sessionId":"s-1","version":1,"requestId":"c","type":"CANCEL" })";
    ASSERT_TRUE(client_.Send(RawControlClient::Frame(one) + RawControlClient::Frame(two)));
    Pass();
    EXPECT_EQ(Reply()["type"], "ACK");
    EXPECT_EQ(Reply()["type"], "ACK");
}

TEST_F(ControlProtocolTest, CancelNeedsTheCurrentSessionsId) {
    Introduce();
    EXPECT_EQ(Ask(CancelCommand("c", "s-1")), Rejected("c", "Unknown sessionId"));
    ASSERT_EQ(Ask(PrepareCommand())["type"], "ACK");
    ASSERT_EQ(WaitFor("CONNECTED")["type"], "CONNECTED");
    EXPECT_EQ(Ask(CancelCommand("c", "")), Rejected("c", "Unknown sessionId"));
    EXPECT_EQ(Ask(CancelCommand("c", "S-1")), Rejected("c", "Unknown sessionId"));
    EXPECT_EQ(Ask(Command("CANCEL", "c")),
              Rejected("c", "[json.exception.out_of_range.403] key 'sessionId' not found"));
}

TEST_F(ControlProtocolTest, AfterCancelOnlyFinishedIsDelivered) {
    Introduce();
    source_.HoldOpen();
    source_.Match(MatchAt(kStartReference, 0));
    source_.Deliver(10);
    ASSERT_EQ(Ask(PrepareCommand())["type"], "ACK");
    ASSERT_TRUE(source_.WaitUntilOpening());
    source_.LetOpen();
    // READY is queued, but no pass has forwarded anything yet.
    const Patience patience("READY");
    while (slot_.SnapshotOf("")["state"] != "READY") {
        patience.Check();
        slot_.WakeUp().Wait(1);
    }
    EXPECT_EQ(Ask(CancelCommand("c", "s-1"))["session"]["canDrain"], false);
    WaitUntilReaped();
    EXPECT_EQ(Reply()["type"], "FINISHED");
    EXPECT_FALSE(Logged("RECEIVER READY"));
}

TEST_F(ControlProtocolTest, ADisconnectLeavesTheSessionAloneAndTheNextClientGetsItsEvents) {
    Introduce();
    ASSERT_EQ(Ask(PrepareCommand())["type"], "ACK");
    ASSERT_EQ(WaitFor("CONNECTED")["type"], "CONNECTED");
    client_.Close();
    Pass();
    ASSERT_FALSE(channel_.IsConnected());
    Introduce();
    source_.Match(MatchAt(kStartReference, 0));
    source_.Deliver(10);
    EXPECT_EQ(WaitFor("READY")["sessionId"], "s-1");
}

TEST_F(ControlProtocolTest, ASessionIsPolledNowAndThenAndReapedAtOnceAndWithoutOneNothingIsDue) {
    EXPECT_EQ(slot_.NextPollMs(), UINT64_MAX);
    Introduce();
    ASSERT_EQ(Ask(PrepareCommand())["type"], "ACK");
    EXPECT_EQ(slot_.NextPollMs(), 50u);
    source_.End();
    const Patience patience("FINISHED");
    while (slot_.SnapshotOf("")["state"] != "FINISHED") {
        patience.Check();
        slot_.WakeUp().Wait(1);
    }
    EXPECT_EQ(slot_.NextPollMs(), 0u);
    slot_.Reap();
    EXPECT_EQ(slot_.NextPollMs(), UINT64_MAX);
}

TEST_F(ControlProtocolTest, AnEventWakesTheHostUntilItIsTaken) {
    Introduce();
    ASSERT_EQ(Ask(PrepareCommand())["type"], "ACK");
    ASSERT_EQ(WaitFor("CONNECTED")["type"], "CONNECTED");
    slot_.TakeBackWakeUp();
    EXPECT_TRUE(slot_.TakeEvents().empty());
    ASSERT_FALSE(slot_.WakeUp().Wait(0));
    source_.Match(MatchAt(kStartReference, 0));
    EXPECT_TRUE(slot_.WakeUp().Wait(kPatienceMs));
    const std::vector<json> events = slot_.TakeEvents();
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events[0]["type"], "DETECTED");
}

// No event tells of it until the host has polled.
TEST_F(ControlProtocolTest, ASourceThatFailsWhileItIsServedWakesTheHost) {
    Introduce();
    source_.Match(MatchAt(kStartReference, 0));
    source_.Deliver(10);
    ASSERT_EQ(Ask(PrepareCommand())["type"], "ACK");
    ASSERT_EQ(WaitFor("READY")["type"], "READY");
    slot_.TakeBackWakeUp();
    ASSERT_TRUE(slot_.TakeEvents().empty());
    source_.Fail();
    EXPECT_TRUE(slot_.WakeUp().Wait(kPatienceMs));
    EXPECT_TRUE(slot_.TakeEvents().empty());
    slot_.Poll();
    const std::vector<json> events = slot_.TakeEvents();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0]["type"], "SOURCE_ERROR");
}

TEST_F(ControlProtocolTest, WithoutAnIntroducedClientEventsAreOnlyLogged) {
    Introduce();
    ASSERT_EQ(Ask(PrepareCommand())["type"], "ACK");
    ASSERT_EQ(WaitFor("CONNECTED")["type"], "CONNECTED");
    client_.Close();
    Pass();
    Connect();  // and says nothing
    source_.End();
    WaitUntilReaped();
    EXPECT_TRUE(Logged("RECEIVER FINISHED buffer.availableBytes="));
    EXPECT_EQ(Hello()["type"], "WELCOME");  // the first that is sent
}

TEST_F(ControlProtocolTest, AnEventIsForwardedAsTheSessionPostedIt) {
    Introduce();
    ASSERT_EQ(Ask(PrepareCommand())["type"], "ACK");
    EXPECT_EQ(WaitFor("CONNECTED"),
              json({{"type", "CONNECTED"}, {"version", 1}, {"sessionId", "s-1"}, {"sequence", 1}}));
}

TEST_F(ControlProtocolTest, ShutdownIsAcknowledgedBeforeTheStop) {
    Introduce();
    ASSERT_FALSE(protocol_.IsStopRequested());
    EXPECT_EQ(Ask(Command("SHUTDOWN", "s")),
              json({{"type", "ACK"}, {"command", "SHUTDOWN"}, {"requestId", "s"}, {"version", 1}}));
    EXPECT_TRUE(protocol_.IsStopRequested());
}

TEST_F(ControlProtocolTest, FramesAfterShutdownAreNotHandled) {
    Introduce();
    ASSERT_TRUE(client_.Send(RawControlClient::Frame(Command("SHUTDOWN", "s").dump()) +
                             RawControlClient::Frame(PrepareCommand().dump())));
    Pass();
    EXPECT_TRUE(slot_.SnapshotOf("").is_null());
}

TEST_F(ControlProtocolTest, ACommandNestedAsDeepAsAFrameAllowsIsAnswered) {
    Introduce();
    const auto prepareWith = [&](const std::string& deep) {
        std::string body = PrepareCommand("deep").dump();
        body.insert(1, "\"x\":" + deep + ",");
        return body;
    };
    std::string objects;
    for (int i = 0; i < 10800; ++i) objects += "{\"\":";
    objects += "0" + std::string(10800, '}');
    EXPECT_EQ(AskRaw(prepareWith(std::string(32500, '[') + std::string(32500, ']')))["type"],
              "ACK");
    EXPECT_EQ(AskRaw(prepareWith(objects))["message"],
              "requestId was already used for a different command");
}

TEST_F(ControlProtocolTest, DeepNestingWhereAStringBelongsIsRejected) {
    Introduce();
    const std::string deep = std::string(32000, '[') + std::string(32000, ']');
    EXPECT_EQ(AskRaw(R"({"version":1,"type":"HELLO","requestId":)" + deep + "}"),
              Rejected("", "[json.exception.type_error.302] type must be string, but is array"));
    EXPECT_EQ(AskRaw(R"({"version":)" + deep + R"(,"type":"HELLO","requestId":"a"})"),
              Rejected("a", "Unsupported protocol version"));
}

}  // namespace receiver
