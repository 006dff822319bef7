// ReceiverClient::EventDescriptor, as an event loop uses it.
#include <gtest/gtest.h>

#include "platform/manual_reset_event.h"
#include "receiver_client/receiver_client.h"
#include "testing/fake_peer.h"
#include "unit/client/descriptor_wait.h"

namespace receiver {
namespace {

using nlohmann::json;
using std::chrono::milliseconds;

constexpr milliseconds kLong(kPatienceMs);

json Connected(int sequence) {
    return {{"type", "CONNECTED"}, {"version", 1}, {"sessionId", "s1"}, {"sequence", sequence}};
}

class EventDescriptorTest : public testing::Test {
protected:
    bool IsReady(uint32_t ms) { return WaitForDescriptor(client_.EventDescriptor(), ms); }

    Cancellation cancellation_;
    ReceiverClient client_{cancellation_};
};

}  // namespace

TEST_F(EventDescriptorTest, ThereIsNoneWithoutAConnection) {
    EXPECT_EQ(client_.EventDescriptor(), -1);
}

TEST_F(EventDescriptorTest, IsReadyWhenAnEventCanBeTakenAndOnlyThen) {
    ManualResetEvent go;
    ManualResetEvent goAgain;
    FakePeer peer([&](FakePeer& p) {
        p.Welcome();
        go.Wait(kPatienceMs);
        p.SendMessage(Connected(1));
        p.SendMessage(Connected(2));
        goAgain.Wait(kPatienceMs);
        p.SendMessage(Connected(3));
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    EXPECT_FALSE(client_.TryNextEvent());
    EXPECT_EQ(client_.LastError().kind, ErrorKind::kTimedOut);
    EXPECT_FALSE(IsReady(20));
    go.Signal();
    uint64_t taken = 0;
    while (taken < 2) {
        ASSERT_TRUE(IsReady(kPatienceMs));
        while (const auto event = client_.TryNextEvent()) EXPECT_EQ(event->sequence, ++taken);
    }
    EXPECT_FALSE(IsReady(20));
    goAgain.Signal();
    ASSERT_TRUE(IsReady(kPatienceMs));
    const auto event = client_.NextEvent(kLong);
    ASSERT_TRUE(event) << client_.LastError().text;
    EXPECT_EQ(event->sequence, 3u);
}

TEST_F(EventDescriptorTest, CommandsGoOnBesideIt) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        p.Welcome();
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    EXPECT_FALSE(IsReady(20));
    EXPECT_TRUE(client_.Hello(kLong)) << client_.LastError().text;
}

TEST_F(EventDescriptorTest, IsReadyWhenTheReceiverHasGone) {
    FakePeer peer([](FakePeer& p) { p.Welcome(); });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    ASSERT_TRUE(IsReady(kPatienceMs));
    EXPECT_FALSE(client_.TryNextEvent());
    EXPECT_EQ(client_.LastError().kind, ErrorKind::kDisconnected);
    EXPECT_EQ(client_.EventDescriptor(), -1);
}

// A reply that nobody waits for any more is not taken for the end of what there is.
TEST_F(EventDescriptorTest, AnEventBehindALateReplyIsTaken) {
    ManualResetEvent timedOut;
    ManualResetEvent sent;
    FakePeer peer([&](FakePeer& p) {
        p.Welcome();
        const json hello = p.ReceiveMessage();
        timedOut.Wait(kPatienceMs);
        const json late = {{"type", "WELCOME"},
                           {"version", 1},
                           {"requestId", hello.at("requestId")},
                           {"instanceId", "INSTANCE"},
                           {"active", nullptr}};
        p.Send(EncodeFrame(late.dump()) + EncodeFrame(Connected(1).dump()));
        sent.Signal();
        p.WaitForHangUp();
    });
    ASSERT_TRUE(client_.Connect(peer.Uri(), kLong));
    EXPECT_FALSE(client_.Hello(milliseconds(20)));
    timedOut.Signal();
    ASSERT_TRUE(sent.Wait(kPatienceMs));
    ASSERT_TRUE(IsReady(kPatienceMs));
    EXPECT_TRUE(client_.TryNextEvent()) << client_.LastError().text;
}

}  // namespace receiver
