// ReceiverClient::RequestCancel: from another thread, before the session, and after a loss.
#include <gtest/gtest.h>

#include <future>
#include <string>

#include "platform/manual_reset_event.h"
#include "receiver_client/receiver_client.h"
#include "testing/fake_peer.h"

namespace receiver {
namespace {

using nlohmann::json;
using std::chrono::milliseconds;

constexpr milliseconds kLong(kPatienceMs);

json Finished() {
    return {{"type", "FINISHED"},   {"version", 1},
            {"sessionId", "s1"},    {"sequence", 1},
            {"state", "FINISHED"},  {"reason", "cancelled"},
            {"message", "stopped"}, {"matches", json::array()}};
}

json Ack(const json& command, const std::string& state) {
    return {{"type", "ACK"},
            {"version", 1},
            {"command", command.at("type")},
            {"requestId", command.at("requestId")},
            {"session",
             {{"sessionId", "s1"}, {"state", state}, {"matches", json::array()}, {"sequence", 0}}}};
}

PrepareRequest Request() {
    PrepareRequest request;
    request.sessionId = "s1";
    request.url = "http://127.0.0.1/";
    request.references = {{"jingle", Role::kStart, "/jingle.wav"}};
    return request;
}

// The command, acknowledged and followed by the session's end, if it is the CANCEL of "s1".
void CancelSession(FakePeer& p) {
    const json command = p.ReceiveMessage();
    if (command.at("type") != "CANCEL" || command.at("sessionId") != "s1") {
        throw std::runtime_error("no CANCEL of s1: " + command.dump());
    }
    p.SendMessage(Ack(command, "CANCELLING"));
    p.SendMessage(Finished());
}

class CancelRequestTest : public testing::Test {
protected:
    // The session ends by itself, and the reply to the request is nobody's event.
    void ExpectFinished() {
        const auto event = client_.NextEvent(kLong);
        ASSERT_TRUE(event) << client_.LastError().text;
        EXPECT_TRUE(std::holds_alternative<FinishedEvent>(event->body)) << event->raw;
    }

    Cancellation cancellation_;
    ReceiverClient client_{cancellation_};
};

}  // namespace

TEST_F(CancelRequestTest, EndsTheSessionThatAnotherThreadWaitsFor) {
    ManualResetEvent waiting;
    FakePeer peer([&](FakePeer& p) {
        p.Welcome();
        const json event = {
            {"type", "CONNECTED"}, {"version", 1}, {"sessionId", "s1"}, {"sequence", 1}};
        p.SendMessage(event);
        CancelSession(p);
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    TestTask waiter("the waiter", [&] {
        const bool connected = client_.NextEvent(kLong).has_value();
        waiting.Signal();
        return connected ? client_.NextEvent(kLong) : std::optional<Event>();
    });
    ASSERT_TRUE(waiting.Wait(kPatienceMs));
    EXPECT_EQ(client_.RequestCancel("s1").kind, ErrorKind::kNone);
    const std::optional<Event> event = waiter.Get();
    ASSERT_TRUE(event);
    EXPECT_TRUE(std::holds_alternative<FinishedEvent>(event->body));
    EXPECT_TRUE(client_.IsConnected());
}

TEST_F(CancelRequestTest, ThatCameBeforeTheSessionMeetsIt) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        p.SendMessage(Ack(p.ReceiveMessage(), "PREPARING"));
        CancelSession(p);
        p.WaitForHangUp();
    });
    EXPECT_EQ(client_.RequestCancel("s1").kind, ErrorKind::kDisconnected);
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    ASSERT_TRUE(client_.Prepare(Request(), kLong)) << client_.LastError().text;
    ExpectFinished();
}

TEST_F(CancelRequestTest, IsToldAgainOnANewConnection) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        p.AcceptAgain();
        p.Welcome({{"sessionId", "s1"}, {"state", "READY"}, {"matches", json::array()}});
        CancelSession(p);
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    client_.Disconnect();
    EXPECT_EQ(client_.RequestCancel("s1").kind, ErrorKind::kDisconnected);
    ASSERT_TRUE(client_.Reconnect(kLong)) << client_.LastError().text;
    ExpectFinished();
}

TEST_F(CancelRequestTest, IsForgottenOnceTheSessionHasFinished) {
    std::promise<std::string> next;
    FakePeer peer([&](FakePeer& p) {
        p.Welcome();
        CancelSession(p);
        p.SendMessage(Ack(p.ReceiveMessage(), "PREPARING"));
        next.set_value(p.ReceiveMessage().at("type"));
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    EXPECT_EQ(client_.RequestCancel("s1").kind, ErrorKind::kNone);
    ExpectFinished();
    ASSERT_TRUE(client_.Prepare(Request(), kLong)) << client_.LastError().text;
    client_.Hello(kLong);
    EXPECT_EQ(Await(next.get_future(), "the command after PREPARE"), "HELLO");
}

TEST_F(CancelRequestTest, GoesWithAMovedClient) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        CancelSession(p);
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    ReceiverClient moved = std::move(client_);
    client_ = std::move(moved);
    EXPECT_TRUE(client_.IsConnected());
    EXPECT_EQ(client_.RequestCancel("s1").kind, ErrorKind::kNone);
    ExpectFinished();
}

}  // namespace receiver
