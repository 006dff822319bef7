// Clients that misbehave in the middle of a session, on either pipe.
#include <gmock/gmock.h>

#include "platform/clock.h"
#include "testing/receiver_fixture.h"

namespace receiver {

using nlohmann::json;

namespace {

class BadClientTest : public ReceiverTest {
protected:
    BadClientTest() : broadcast_(MakeBroadcast(44100, 2)) {}

    // A session "s" that is READY, its audio client connected when wanted.
    void BeReady() {
        const std::string url = ServeAll(WavRoute(broadcast_.audio));
        ASSERT_EQ(
            receiver_.Ask(PrepareCommand("s", url, SaveJingles(broadcast_), 60000, 0))["type"],
            "ACK");
        uri_ = receiver_.WaitFor("READY")["uri"];
        WaitUntilOutroIsKnown();
    }
    void BeOpened() {
        BeReady();
        ASSERT_TRUE(audio_.Connect(uri_) && audio_.ReadHeader());
    }
    void BeAtTheEnd() {
        BeOpened();
        ASSERT_TRUE(audio_.ReadToEnd());
    }

    void ExpectFinished(const std::string& reason, const std::string& message) {
        const json finished = receiver_.WaitFor("FINISHED");
        EXPECT_EQ(finished["reason"], reason);
        EXPECT_THAT(finished["message"].get<std::string>(), testing::StrEq(message));
        audio_.Close();
        ExpectCleanSession();
    }
    // With a control client that comes back.
    void ExpectTheSessionToGoOn() {
        receiver_.Disconnect();
        EXPECT_EQ(receiver_.Introduce()["active"]["state"], "OPENED");
        ASSERT_TRUE(audio_.ReadToEnd() && audio_.Acknowledge());
        ExpectFinished("eof", "");
    }
    static std::string PipeError(int code) {
        return "Audio connection or source ended with an error (pipe=" + std::to_string(code) + ")";
    }
    // The system's two names for a client that has gone.
    void ExpectClientGone() {
        const json finished = receiver_.WaitFor("FINISHED");
        EXPECT_EQ(finished["reason"], "error");
        EXPECT_THAT(finished["message"].get<std::string>(),
                    testing::AnyOf(PipeError(109), PipeError(232)));
        ExpectCleanSession();
    }

    const Broadcast broadcast_;
    std::string uri_;
    RawAudioClient audio_;
};

}  // namespace

TEST_F(BadClientTest, TheAcknowledgementHasAnotherToken) {
    BeAtTheEnd();
    audio_.Acknowledge(0x314D4350, 0, audio_.StreamHeader().streamToken + 1);
    ExpectFinished("error", PipeError(0));
}

TEST_F(BadClientTest, TheAcknowledgementHasAnotherMagic) {
    BeAtTheEnd();
    audio_.Acknowledge(0x314D4351, 0, audio_.StreamHeader().streamToken);
    ExpectFinished("error", PipeError(0));
}

TEST_F(BadClientTest, TheAcknowledgementReportsAFailure) {
    BeAtTheEnd();
    audio_.Acknowledge(0x314D4350, 1, audio_.StreamHeader().streamToken);
    ExpectFinished("error", PipeError(0));
}

TEST_F(BadClientTest, TheAcknowledgementNeverComes) {
    BeAtTheEnd();
    const uint64_t before = TickMs();
    ExpectFinished("error", PipeError(1460));
    EXPECT_GE(TickMs() - before, 900u);  // the receiver's second began a little earlier
}

TEST_F(BadClientTest, AClientThatHangsUpAfterTheEndRecordHasGotEverything) {
    BeAtTheEnd();
    audio_.Close();
    ExpectFinished("eof", "");
}

TEST_F(BadClientTest, AnEarlyAcknowledgementCounts) {
    BeOpened();
    ASSERT_TRUE(audio_.Acknowledge());
    ASSERT_TRUE(audio_.ReadToEnd());
    ExpectFinished("eof", "");
}

TEST_F(BadClientTest, TheAudioClientLeavesBeforeTheHeader) {
    BeReady();
    ASSERT_TRUE(audio_.Connect(uri_));
    audio_.Close();
    ExpectClientGone();
}

TEST_F(BadClientTest, TheAudioClientLeavesInTheMiddle) {
    BeOpened();
    ASSERT_TRUE(audio_.ReadRecord() && audio_.ReadRecord());
    audio_.Close();
    ExpectClientGone();
}

TEST_F(BadClientTest, TheAudioClientStopsReading) {
    BeOpened();
    const uint64_t before = TickMs();
    ExpectFinished("error", PipeError(1460));
    EXPECT_GE(TickMs() - before, 900u);
}

TEST_F(BadClientTest, AClientThatReadsSlowlyGetsEverything) {
    BeOpened();
    for (int i = 0; i < 60; ++i) {
        ASSERT_TRUE(audio_.ReadRecord());
        Snapshot();  // a round trip between two chunks
    }
    ASSERT_TRUE(audio_.ReadToEnd() && audio_.Acknowledge());
    ExpectFinished("eof", "");
}

TEST_F(BadClientTest, ASecondAudioClientFindsNoPipe) {
    BeOpened();
    RawAudioClient second;
    EXPECT_FALSE(second.Connect(uri_, 0));
    ASSERT_TRUE(audio_.ReadToEnd() && audio_.Acknowledge());
    ExpectFinished("eof", "");
}

TEST_F(BadClientTest, AnAudioUriIsGoneWithItsSession) {
    BeAtTheEnd();
    ASSERT_TRUE(audio_.Acknowledge());
    receiver_.WaitFor("FINISHED");
    RawAudioClient late;
    EXPECT_FALSE(late.Connect(uri_, 0));
    EXPECT_EQ(late.LastError(), 2u);
}

TEST_F(BadClientTest, GarbageOnTheControlPipeDoesNotTouchTheSession) {
    BeOpened();
    EXPECT_EQ(receiver_.AskRaw("").value["message"], "Invalid control frame length");
    EXPECT_TRUE(receiver_.Control().WaitForHangUp());
    ExpectTheSessionToGoOn();
}

TEST_F(BadClientTest, HalfAFrameAndADisappearanceDoNotTouchTheSession) {
    BeOpened();
    ASSERT_TRUE(receiver_.Control().Send(RawControlClient::LengthField(500) + "{\"type\":"));
    ExpectTheSessionToGoOn();
}

TEST_F(BadClientTest, TheAudioIsServedWhileNoControlClientIsThere) {
    BeOpened();
    receiver_.Disconnect();
    ASSERT_TRUE(audio_.ReadToEnd() && audio_.Acknowledge() && audio_.WaitForHangUp());
    receiver_.Introduce();
    WaitUntilNoSession();
    // The end of that session is told before or after the first reply without it, or was
    // only logged; with the second reply it is behind us, and a new connection forgets it.
    Snapshot();
    receiver_.Disconnect();
    receiver_.Introduce();
    ExpectCleanSession();
}

}  // namespace receiver
