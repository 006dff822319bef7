#include "receiver_client/receiver_client.h"

#include <gtest/gtest.h>

#include <future>

#include "platform/manual_reset_event.h"
#include "testing/fake_peer.h"

namespace receiver {
namespace {

using nlohmann::json;
using receiver::Cancellation;
using receiver::ErrorKind;
using receiver::ReceiverClient;
using std::chrono::milliseconds;

constexpr milliseconds kLong(kPatienceMs);

json Snapshot(const std::string& state = "PREPARING") {
    return {{"sessionId", "s1"}, {"state", state}, {"matches", json::array()}, {"sequence", 0}};
}

json Ack(const json& command, const json& session = nullptr) {
    json ack = {{"type", "ACK"},
                {"version", 1},
                {"command", command.at("type")},
                {"requestId", command.at("requestId")}};
    if (!session.is_null()) ack["session"] = session;
    return ack;
}

json Connected(int sequence) {
    return {{"type", "CONNECTED"}, {"version", 1}, {"sessionId", "s1"}, {"sequence", sequence}};
}

receiver::PrepareRequest Request() {
    receiver::PrepareRequest request;
    request.sessionId = "s1";
    request.url = "http://127.0.0.1/";
    request.references = {{"jingle", receiver::Role::kStart, "/jingle.wav"}};
    return request;
}

class ReceiverClientTest : public testing::Test {
protected:
    Cancellation cancellation_;
    ReceiverClient client_{cancellation_};
};

}  // namespace

TEST_F(ReceiverClientTest, ConnectIntroducesItselfAndReturnsTheWelcome) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome(Snapshot("SCANNING"));
        p.WaitForHangUp();
    });
    const auto welcome = client_.Connect(peer.Uri(), kLong);
    ASSERT_TRUE(welcome) << client_.LastError().text;
    EXPECT_EQ(welcome->instanceId, "INSTANCE");
    ASSERT_TRUE(welcome->active);
    EXPECT_EQ(welcome->active->state, "SCANNING");
    EXPECT_TRUE(client_.IsConnected());
}

TEST_F(ReceiverClientTest, ConnectTimesOutWhenNobodyListens) {
    const uint64_t start = TickMs();
    EXPECT_FALSE(client_.Connect("pcm-pipe://nobody-" + CreateInstanceId(), milliseconds(50)));
    EXPECT_EQ(client_.LastError().kind, ErrorKind::kTimedOut);
    EXPECT_GE(TickMs() - start, 50u);
}

TEST_F(ReceiverClientTest, ABadUriIsAnInvalidArgument) {
    EXPECT_FALSE(client_.Connect("http://127.0.0.1/", kLong));
    EXPECT_EQ(client_.LastError().kind, ErrorKind::kInvalidArgument);
}

TEST_F(ReceiverClientTest, EveryCommandNeedsAConnection) {
    EXPECT_FALSE(client_.Hello(kLong));
    EXPECT_EQ(client_.LastError().kind, ErrorKind::kDisconnected);
    EXPECT_FALSE(client_.NextEvent(kLong));
    EXPECT_EQ(client_.LastError().kind, ErrorKind::kDisconnected);
}

TEST_F(ReceiverClientTest, PrepareSendsTheRequestAndReturnsTheSnapshot) {
    std::promise<json> received;
    FakePeer peer([&](FakePeer& p) {
        p.Welcome();
        const json command = p.ReceiveMessage();
        p.SendMessage(Ack(command, Snapshot()));
        received.set_value(command);
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    receiver::PrepareRequest request = Request();
    request.program = receiver::ProgramLimits{60000, 3000};
    request.blockBytes = 4096;
    const auto snapshot = client_.Prepare(request, kLong);
    ASSERT_TRUE(snapshot) << client_.LastError().text;
    EXPECT_EQ(snapshot->state, "PREPARING");

    const json command = Await(received.get_future(), "the command");
    EXPECT_EQ(command["type"], "PREPARE");
    EXPECT_EQ(command["version"], 1);
    EXPECT_EQ(command["sessionId"], "s1");
    EXPECT_EQ(command["blockBytes"], 4096);
    EXPECT_FALSE(command.contains("ioTimeoutMs"));
    EXPECT_EQ(command["program"], (json{{"maximumMs", 60000}, {"fadeMs", 3000}}));
    EXPECT_EQ(command["references"],
              (json{{{"id", "jingle"}, {"role", "start"}, {"path", "/jingle.wav"}}}));
}

TEST_F(ReceiverClientTest, ARefusalCarriesTheReceiversText) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        const json command = p.ReceiveMessage();
        p.SendMessage({{"type", "REJECTED"},
                       {"requestId", command["requestId"]},
                       {"message", "Unknown sessionId"}});
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    EXPECT_FALSE(client_.Cancel("s2", kLong));
    EXPECT_EQ(client_.LastError().kind, ErrorKind::kRejected);
    EXPECT_EQ(client_.LastError().text, "Unknown sessionId");
    EXPECT_TRUE(client_.IsConnected());
}

class TakenBackTest : public ReceiverClientTest {
protected:
    static void AcknowledgeAndReject(FakePeer& p) {
        p.Welcome();
        const json command = p.ReceiveMessage();
        p.SendMessage(Ack(command, Snapshot()));
        p.SendMessage({{"type", "REJECTED"},
                       {"version", 1},
                       {"requestId", command["requestId"]},
                       {"message", "Resource temporarily unavailable"}});
    }
    void ExpectTakenBack() {
        EXPECT_FALSE(client_.NextEvent(kLong));
        EXPECT_EQ(client_.LastError().kind, ErrorKind::kRejected);
        EXPECT_EQ(client_.LastError().text, "Resource temporarily unavailable");
        EXPECT_TRUE(client_.IsConnected());
    }
};

TEST_F(TakenBackTest, ASessionThatCannotBeStartedEndsTheWaitForItsEvents) {
    FakePeer peer([](FakePeer& p) {
        AcknowledgeAndReject(p);
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    ASSERT_TRUE(client_.Prepare(Request(), kLong));
    ExpectTakenBack();
    client_.Disconnect();
}

TEST_F(TakenBackTest, ItIsNotLostBehindTheReplyToAnotherCommand) {
    FakePeer peer([](FakePeer& p) {
        AcknowledgeAndReject(p);
        p.Welcome();
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    ASSERT_TRUE(client_.Prepare(Request(), kLong));
    ASSERT_TRUE(client_.Hello(kLong)) << client_.LastError().text;
    ExpectTakenBack();
    client_.Disconnect();
}

TEST_F(ReceiverClientTest, ARefusalWithoutAnIdMeetsTheCommandThatWaits) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        p.ReceiveMessage();
        p.SendMessage({{"type", "REJECTED"}, {"requestId", ""}, {"message", "unreadable"}});
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    EXPECT_FALSE(client_.Shutdown(kLong));
    EXPECT_EQ(client_.LastError().text, "unreadable");
}

TEST_F(ReceiverClientTest, EventsThatComeBeforeAReplyAreKeptInOrder) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        const json command = p.ReceiveMessage();
        p.SendMessage(Connected(1));
        p.SendMessage({{"type", "NEWS"}, {"version", 1}, {"sessionId", "s1"}, {"sequence", 2}});
        p.SendMessage(Ack(command, Snapshot("CANCELLING")));
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    ASSERT_TRUE(client_.Cancel("s1", kLong)) << client_.LastError().text;
    const auto first = client_.NextEvent(milliseconds(0));
    ASSERT_TRUE(first);
    EXPECT_TRUE(std::holds_alternative<receiver::ConnectedEvent>(first->body));
    EXPECT_EQ(first->sequence, 1u);
    const auto second = client_.NextEvent(milliseconds(0));
    ASSERT_TRUE(second);
    EXPECT_TRUE(std::holds_alternative<receiver::UnknownEvent>(second->body));
    EXPECT_EQ(second->type, "NEWS");
    EXPECT_EQ(json::parse(second->raw)["sequence"], 2);
}

TEST_F(ReceiverClientTest, AnEventThatComesInSingleBytesArrivesWhole) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        for (const char byte : EncodeFrame(Connected(7).dump())) p.Send(&byte, 1);
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    const auto event = client_.NextEvent(kLong);
    ASSERT_TRUE(event) << client_.LastError().text;
    EXPECT_EQ(event->sequence, 7u);
}

TEST_F(ReceiverClientTest, ATimeOutInTheMiddleOfAFrameLosesNothing) {
    const std::string frame = EncodeFrame(Connected(3).dump());
    ManualResetEvent timedOut;
    FakePeer peer([&](FakePeer& p) {
        p.Welcome();
        p.Send(frame.substr(0, 10));
        timedOut.Wait(kPatienceMs);
        p.Send(frame.substr(10));
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    EXPECT_FALSE(client_.NextEvent(milliseconds(20)));
    EXPECT_EQ(client_.LastError().kind, ErrorKind::kTimedOut);
    timedOut.Signal();
    const auto event = client_.NextEvent(kLong);
    ASSERT_TRUE(event) << client_.LastError().text;
    EXPECT_EQ(event->sequence, 3u);
}

TEST_F(ReceiverClientTest, AReplyThatComesTooLateIsNoAnswerToTheNextCommand) {
    ManualResetEvent timedOut;
    FakePeer peer([&](FakePeer& p) {
        p.Welcome();
        const json first = p.ReceiveMessage();
        timedOut.Wait(kPatienceMs);
        p.SendMessage(Ack(first, Snapshot("READY")));
        p.SendMessage(Ack(p.ReceiveMessage(), Snapshot("CANCELLING")));
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    EXPECT_FALSE(client_.Cancel("s1", milliseconds(20)));
    EXPECT_EQ(client_.LastError().kind, ErrorKind::kTimedOut);
    timedOut.Signal();
    const auto snapshot = client_.Cancel("s1", kLong);
    ASSERT_TRUE(snapshot) << client_.LastError().text;
    EXPECT_EQ(snapshot->state, "CANCELLING");
}

TEST_F(ReceiverClientTest, CancellingFromAnotherThreadEndsAWait) {
    ManualResetEvent connected;
    FakePeer peer([&](FakePeer& p) {
        p.Welcome();
        EXPECT_TRUE(connected.Wait(kPatienceMs));
        cancellation_.Cancel();
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    connected.Signal();
    EXPECT_FALSE(client_.NextEvent(kLong));
    EXPECT_EQ(client_.LastError().kind, ErrorKind::kCancelled);
}

TEST_F(ReceiverClientTest, AReceiverThatGoesIsADisconnection) {
    FakePeer peer([](FakePeer& p) { p.Welcome(); });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    EXPECT_FALSE(client_.NextEvent(kLong));
    EXPECT_EQ(client_.LastError().kind, ErrorKind::kDisconnected);
    EXPECT_FALSE(client_.IsConnected());
}

TEST_F(ReceiverClientTest, EventsThatArrivedBeforeTheLossAreStillHandedOut) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        p.ReceiveMessage();
        p.SendMessage(Connected(1));
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    EXPECT_FALSE(client_.Shutdown(kLong));
    EXPECT_EQ(client_.LastError().kind, ErrorKind::kDisconnected);
    EXPECT_TRUE(client_.NextEvent(milliseconds(0)));
}

TEST_F(ReceiverClientTest, ReconnectReturnsTheActiveSessionAndKeepsEventsNotYetFetched) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        p.ReceiveMessage();
        p.SendMessage(Connected(1));
        p.AcceptAgain();
        p.Welcome(Snapshot("READY"));
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    ASSERT_FALSE(client_.Cancel("s1", kLong));
    const auto welcome = client_.Reconnect(kLong);
    ASSERT_TRUE(welcome) << client_.LastError().text;
    ASSERT_TRUE(welcome->active);
    EXPECT_EQ(welcome->active->state, "READY");
    EXPECT_TRUE(client_.NextEvent(milliseconds(0)));
}

// The welcome of a session with hundreds of matches is too long for a frame: the
// receiver hangs up instead, until the session is over.
TEST_F(ReceiverClientTest, ReconnectTriesAgainWhenTheWelcomeCannotBeSent) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        for (int i = 0; i < 3; ++i) {
            p.AcceptAgain();
            p.ReceiveMessage();
        }
        p.AcceptAgain();
        p.Welcome();
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    ASSERT_FALSE(client_.NextEvent(kLong));
    const auto welcome = client_.Reconnect(kLong);
    ASSERT_TRUE(welcome) << client_.LastError().text;
    EXPECT_FALSE(welcome->active);
}

TEST_F(ReceiverClientTest, ACommandAboveTheFrameLimitIsNotSent) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        p.SendMessage(Ack(p.ReceiveMessage()));
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    receiver::PrepareRequest request = Request();
    request.url += std::string(65536, 'x');
    EXPECT_FALSE(client_.Prepare(request, kLong));
    EXPECT_EQ(client_.LastError().kind, ErrorKind::kInvalidArgument);
    EXPECT_TRUE(client_.Shutdown(kLong));
}

TEST_F(ReceiverClientTest, APathThatIsNoUtf8IsAnInvalidArgument) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    receiver::PrepareRequest request = Request();
    request.references[0].path = "/\xFF.wav";
    EXPECT_FALSE(client_.Prepare(request, kLong));
    EXPECT_EQ(client_.LastError().kind, ErrorKind::kInvalidArgument);
}

// What a broken or hostile receiver may send in place of an event.
struct Garbage {
    const char* name;
    std::string bytes;
};

class ReceiverClientGarbageTest : public ReceiverClientTest,
                                  public testing::WithParamInterface<Garbage> {};

TEST_P(ReceiverClientGarbageTest, IsAProtocolErrorThatClosesTheConnection) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        p.Send(GetParam().bytes);
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    EXPECT_FALSE(client_.NextEvent(kLong));
    EXPECT_EQ(client_.LastError().kind, ErrorKind::kProtocol) << client_.LastError().text;
    EXPECT_FALSE(client_.IsConnected());
}

INSTANTIATE_TEST_SUITE_P(
    , ReceiverClientGarbageTest,
    testing::Values(Garbage{"LengthZero", std::string(4, '\0')},
                    Garbage{"LengthAboveTheLimit", std::string("\x01\0\x01\0", 4)},
                    Garbage{"LengthOfAllOnes", "\xFF\xFF\xFF\xFF"},
                    Garbage{"NoJson", EncodeFrame("{\"type\":")},
                    Garbage{"IllFormedUtf8", EncodeFrame("{\"type\":\"\xFF\"}")},
                    Garbage{"AnArray", EncodeFrame("[1,2]")}, Garbage{"NoType", EncodeFrame("{}")},
                    Garbage{"ATypeThatIsNoText", EncodeFrame("{\"type\":1}")},
                    Garbage{"NestedAsDeepAsItFits", EncodeFrame(std::string(65536, '['))},
                    Garbage{"DeepWithinAKnownEvent",
                            EncodeFrame("{\"type\":\"X\",\"x\":" + std::string(30000, '[') +
                                        std::string(30000, ']') + "}")},
                    Garbage{"AnEventWithoutItsKeys",
                            EncodeFrame("{\"type\":\"READY\",\"sessionId\":\"s\"}")},
                    Garbage{"ANegativeSample",
                            EncodeFrame("{\"type\":\"READY\",\"sessionId\":\"s\",\"sequence\":1,"
                                        "\"uri\":\"\",\"sourceSample\":-1}")},
                    Garbage{"AFractionForASample",
                            EncodeFrame("{\"type\":\"READY\",\"sessionId\":\"s\",\"sequence\":1,"
                                        "\"uri\":\"\",\"sourceSample\":1.5}")}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(ReceiverClientTest, BracketsWithinATextAreNoNesting) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        json event = Connected(1);
        event["note"] = std::string(1000, '[') + "\"\\" + std::string(1000, '{');
        p.SendMessage(event);
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    EXPECT_TRUE(client_.NextEvent(kLong)) << client_.LastError().text;
}

TEST_F(ReceiverClientTest, AnAcknowledgementOfAnotherCommandIsAProtocolError) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        json ack = Ack(p.ReceiveMessage(), Snapshot());
        ack["command"] = "SHUTDOWN";
        p.SendMessage(ack);
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    EXPECT_FALSE(client_.Cancel("s1", kLong));
    EXPECT_EQ(client_.LastError().kind, ErrorKind::kProtocol);
}

TEST_F(ReceiverClientTest, AReceiverThatOnlySendsEventsDoesNotHoldACommandForEver) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        for (;;) p.SendMessage(Connected(1));
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    EXPECT_FALSE(client_.Cancel("s1", milliseconds(200)));
    // Whichever limit is met first: the time, or the number of events that are kept.
    const ErrorKind kind = client_.LastError().kind;
    EXPECT_TRUE(kind == ErrorKind::kTimedOut || kind == ErrorKind::kProtocol);
}

}  // namespace receiver
