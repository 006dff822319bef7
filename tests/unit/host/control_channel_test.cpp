#include "host/control_channel.h"

#include <optional>
#include <stdexcept>

#include "platform/clock.h"
#include "testing/test_task.h"
#include "unit/host/channel_fixture.h"

namespace receiver {

using nlohmann::json;

namespace {

class ControlChannelTest : public ChannelTest {
protected:
    // One pass of the host's loop; the messages that came are kept.
    void Read() {
        channel_.ReadMessages([this](const json& message) {
            messages_.push_back(message);
            return true;
        });
    }
    bool SendFrame(const std::string& body) {
        return SendFrameWhile(body, [this] { Read(); });
    }
    // True once so many bytes are there for the host, which a pipe may take from its client
    // only while they are read.
    bool WaitForBytes(size_t bytes) {
        const uint64_t deadline = TickMs() + kPatienceMs;
        size_t available = 0;
        do {
            if (!pipe_.Peek(&available)) return false;
        } while (available < bytes && TickMs() < deadline && !cancellation_->Event().Wait(1));
        return available >= bytes;
    }

    std::vector<json> messages_;
};

}  // namespace

TEST_F(ControlChannelTest, AClientIsLoggedWhenItComes) {
    Connect();
    EXPECT_TRUE(Logged("RECEIVER CONTROL_CONNECTED processId="));
    EXPECT_FALSE(channel_.IsIntroduced());
}

TEST_F(ControlChannelTest, WithoutAClientAcceptTimesOut) {
    channel_.AcceptClient(1);
    EXPECT_FALSE(channel_.IsConnected());
    Connect();
}

TEST_F(ControlChannelTest, WithoutBytesNothingIsRead) {
    Connect();
    Read();
    EXPECT_TRUE(messages_.empty());
    EXPECT_TRUE(channel_.IsConnected());
}

TEST_F(ControlChannelTest, AFrameInPiecesIsHandledWithItsLastByte) {
    Connect();
    const std::string frame = RawControlClient::Frame(R"({"a":1})");
    for (size_t i = 0; i < frame.size(); ++i) {
        EXPECT_TRUE(messages_.empty());
        ASSERT_TRUE(client_.Send(frame.substr(i, 1)));
        Read();
    }
    EXPECT_EQ(messages_, std::vector<json>{json({{"a", 1}})});
}

TEST_F(ControlChannelTest, TwoFramesInOneWriteAreHandledInTheSamePassInOrder) {
    Connect();
    ASSERT_TRUE(client_.Send(RawControlClient::Frame("1") + RawControlClient::Frame("2")));
    Read();
    EXPECT_EQ(messages_, (std::vector<json>{1, 2}));
}

TEST_F(ControlChannelTest, AtMost4096BytesAreReadInOnePass) {
    Connect();
    const std::string body = "\"" + std::string(5000, 'x') + "\"";
    TestTask client("the client", [&] { EXPECT_TRUE(client_.SendFrame(body)); });
    EXPECT_TRUE(WaitForBytes(body.size() + 4));
    Read();
    EXPECT_TRUE(messages_.empty());
    Read();
    EXPECT_EQ(messages_.size(), 1u);
    client.Get();
}

TEST_F(ControlChannelTest, ABodyOf65536BytesIsAccepted) {
    Connect();
    ASSERT_TRUE(SendFrame("\"" + std::string(65534, 'x') + "\""));
    ASSERT_EQ(messages_.size(), 1u);
    EXPECT_EQ(messages_[0].get_ref<const std::string&>().size(), 65534u);
}

TEST_F(ControlChannelTest, AnInvalidLengthIsRejectedAndTheClientDisconnected) {
    for (const uint32_t length : {0u, 65537u}) {
        Connect();
        ASSERT_TRUE(client_.Send(RawControlClient::LengthField(length) + "rest"));
        Read();
        EXPECT_EQ(Reply(), Rejected("", "Invalid control frame length"));
        EXPECT_TRUE(client_.WaitForHangUp());
        EXPECT_FALSE(channel_.IsConnected());
        client_.Close();
    }
    Connect();  // and the receiver listens again
    EXPECT_TRUE(Logged("RECEIVER CONTROL_DISCONNECTED"));
}

TEST_F(ControlChannelTest, FramesBeforeAnInvalidLengthAreHandled) {
    Connect();
    ASSERT_TRUE(client_.Send(RawControlClient::Frame("1") + RawControlClient::LengthField(0) +
                             RawControlClient::Frame("2")));
    Read();
    EXPECT_EQ(messages_, std::vector<json>{1});
}

TEST_F(ControlChannelTest, AnArrayReachesTheHandler) {
    Connect();
    ASSERT_TRUE(client_.SendFrame("[1,2]"));
    Read();
    EXPECT_EQ(messages_, std::vector<json>{json::array({1, 2})});
}

TEST_F(ControlChannelTest, ABodyThatIsNotJsonIsRejectedWithTheParsersTextAndTheConnectionKept) {
    Connect();
    ASSERT_TRUE(client_.Send(RawControlClient::Frame("nonsense") + RawControlClient::Frame("2")));
    Read();
    EXPECT_EQ(Reply(),
              Rejected("",
                       "[json.exception.parse_error.101] parse error at line 1, column 2: syntax "
                       "error while parsing value - invalid literal; last read: 'no'"));
    EXPECT_EQ(messages_, std::vector<json>{2});
    EXPECT_TRUE(channel_.IsConnected());
}

TEST_F(ControlChannelTest, CommentsAreNotJson) {
    Connect();
    ASSERT_TRUE(client_.SendFrame("/* hello */ 1"));
    Read();
    EXPECT_EQ(Reply()["type"], "REJECTED");
    EXPECT_TRUE(messages_.empty());
}

TEST_F(ControlChannelTest, EachIllFormedByteThatTheParserQuotesBecomesU_FFFD) {
    Connect();
    ASSERT_TRUE(client_.SendFrame("\"\xFF"));
    Read();
    const std::string text = Reply()["message"];
    EXPECT_NE(text.find("last read: '\"\xEF\xBF\xBD'"), std::string::npos) << text;
    EXPECT_TRUE(channel_.IsConnected());
}

TEST_F(ControlChannelTest, WhatTheHandlerThrowsIsRejectedAndTheNextFrameHandled) {
    Connect();
    ASSERT_TRUE(client_.Send(RawControlClient::Frame("1") + RawControlClient::Frame("2")));
    int handled = 0;
    channel_.ReadMessages([&](const json&) -> bool {
        if (++handled == 1) throw std::runtime_error("cannot be");
        return true;
    });
    EXPECT_EQ(handled, 2);
    EXPECT_EQ(Reply(), Rejected("", "cannot be"));
}

TEST_F(ControlChannelTest, AHandlerThatAsksToStopLeavesTheNextFrame) {
    Connect();
    ASSERT_TRUE(client_.Send(RawControlClient::Frame("1") + RawControlClient::Frame("2")));
    channel_.ReadMessages([&](const json& message) {
        messages_.push_back(message);
        return false;
    });
    EXPECT_EQ(messages_, std::vector<json>{1});
}

TEST_F(ControlChannelTest, AFrameNestedAsDeepAsItsSizeAllowsIsHandled) {
    Connect();
    int handled = 0;
    ASSERT_TRUE(SendFrameWhile(std::string(32768, '[') + std::string(32768, ']'), [&] {
        channel_.ReadMessages([&](const json&) {
            ++handled;
            return true;
        });
    }));
    EXPECT_EQ(handled, 1);
}

TEST_F(ControlChannelTest, ABodyOfOpenBracketsAloneIsRejected) {
    Connect();
    ASSERT_TRUE(SendFrame(std::string(65536, '[')));
    EXPECT_EQ(Reply()["type"], "REJECTED");
    EXPECT_TRUE(channel_.IsConnected());
}

TEST_F(ControlChannelTest, AClientThatGoesAwayIsLoggedAndANewOneMayCome) {
    Connect();
    channel_.SetIntroduced();
    client_.Close();
    Read();
    EXPECT_FALSE(channel_.IsConnected());
    EXPECT_FALSE(channel_.IsIntroduced());
    EXPECT_TRUE(Logged("RECEIVER CONTROL_DISCONNECTED processId="));
    Connect();
}

TEST_F(ControlChannelTest, AHalfFrameGoesWithItsClient) {
    Connect();
    ASSERT_TRUE(client_.Send(RawControlClient::Frame("12345").substr(0, 6)));
    Read();
    client_.Close();
    Read();
    Connect();
    ASSERT_TRUE(client_.SendFrame("1"));
    Read();
    EXPECT_EQ(messages_, std::vector<json>{1});
}

TEST_F(ControlChannelTest, AMessageIsSentWithItsVersionAndLoggedWithTimeAndProcess) {
    Connect();
    EXPECT_TRUE(channel_.Send({{"type", "T"}, {"text", "\xC3\xA9"}, {"a", json::array()}}));
    EXPECT_EQ(client_.Receive(), "{\"a\":[],\"text\":\"\xC3\xA9\",\"type\":\"T\",\"version\":1}");
    EXPECT_TRUE(Logged("RECEIVER T a=[] processId=" + std::to_string(CurrentProcessId()) +
                       " text=\xC3\xA9 tickMs="));
    EXPECT_TRUE(Logged(" version=1\n"));
}

TEST_F(ControlChannelTest, WithoutAClientAMessageIsOnlyLogged) {
    EXPECT_FALSE(channel_.Send({{"type", "T"}}));
    EXPECT_TRUE(Logged("RECEIVER T processId="));
    EXPECT_TRUE(Logged(" tickMs="));
}

TEST_F(ControlChannelTest, ARejectionIsLoggedAsAnError) {
    channel_.Reject("id", "no way");
    EXPECT_TRUE(Logged("LOG ERROR : Message : RECEIVER REJECTED message=\"no way\" processId="));
}

TEST_F(ControlChannelTest, AMessageOf65536BytesIsSent) {
    Connect();
    const size_t frame = std::string(R"({"t":"","version":1})").size();
    // The pipe holds less: a reader has to take it while it is written.
    std::optional<std::string> body;
    TestTask reader("the reader", [&] { body = client_.Receive(); });
    EXPECT_TRUE(channel_.Send({{"t", std::string(65536 - frame, 'x')}}));
    reader.Get();
    ASSERT_TRUE(body);
    EXPECT_EQ(body->size(), 65536u);
}

TEST_F(ControlChannelTest, AMessageAbove65536BytesIsLostWithTheConnection) {
    Connect();
    const size_t frame = std::string(R"({"t":"","version":1})").size();
    EXPECT_FALSE(channel_.Send({{"t", std::string(65537 - frame, 'x')}}));
    EXPECT_FALSE(channel_.IsConnected());
    EXPECT_TRUE(client_.WaitForHangUp());
    EXPECT_TRUE(Logged("RECEIVER CONTROL_DISCONNECTED"));
}

TEST_F(ControlChannelTest, AClientThatDoesNotReadIsDisconnected) {
    Connect();
    const json message = {{"t", std::string(60000, 'x')}};
    int sent = 0;
    while (sent < 1000 && channel_.Send(message)) ++sent;
    EXPECT_LT(sent, 1000);
    EXPECT_FALSE(channel_.IsConnected());
}

TEST_F(ControlChannelTest, ListeningOnATakenNameFails) {
    CPcmPipe otherPipe(std::make_shared<CPcmPipeCancellation>());
    ControlChannel other(uri_, otherPipe, log_);
    try {
        other.Listen();
        FAIL();
    } catch (const ControlListenError& error) {
        EXPECT_STREQ(error.what(), "Control Listen failed");
    }
}

TEST_F(ControlChannelTest, ABadUriCannotBeListenedOn) {
    CPcmPipe otherPipe(std::make_shared<CPcmPipeCancellation>());
    ControlChannel other("tcp://x", otherPipe, log_);
    EXPECT_THROW(other.Listen(), ControlListenError);
}

TEST_F(ControlChannelTest, AListenErrorInAHandlerIsNotAnswered) {
    Connect();
    ASSERT_TRUE(client_.SendFrame("1"));
    EXPECT_THROW(channel_.ReadMessages([](const json&) -> bool { throw ControlListenError(); }),
                 ControlListenError);
}

TEST_F(ControlChannelTest, AListenThatFailsOnceAStopIsExpectedIsNoError) {
    CPcmPipe otherPipe(std::make_shared<CPcmPipeCancellation>());
    ControlChannel other(uri_, otherPipe, log_);
    other.ExpectStop();
    EXPECT_NO_THROW(other.Listen());
}

TEST_F(ControlChannelTest, AListenThatFailsAfterACancellationIsNoError) {
    const auto cancellation = std::make_shared<CPcmPipeCancellation>();
    CPcmPipe otherPipe(cancellation);
    ControlChannel other(uri_, otherPipe, log_);
    cancellation->Cancel();
    EXPECT_NO_THROW(other.Listen());
}

TEST_F(ControlChannelTest, ACancellationEndsTheWaitForAClient) {
    cancellation_->Cancel();
    channel_.AcceptClient(kPatienceMs);
    EXPECT_FALSE(channel_.IsConnected());
}

}  // namespace receiver
