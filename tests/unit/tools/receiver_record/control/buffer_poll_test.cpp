#include "receiver_record/control/buffer_poll.h"

#include <gtest/gtest.h>

#include "testing/fake_peer.h"
#include "wire/messages.h"

namespace receiver {
namespace {

using nlohmann::json;

const json kActive = {{"sessionId", "s-1"},
                      {"state", kStateScanning},
                      {"sequence", 0},
                      {"matches", json::array()},
                      {"buffer",
                       {{"receivedBytes", 0},
                        {"retainedBytes", 0},
                        {"availableBytes", 4000},
                        {"firstSample", 0},
                        {"readSample", 0},
                        {"nextSample", 1000},
                        {"sampleRate", 44100},
                        {"blockAlign", 4},
                        {"error", 0},
                        {"finished", false}}}};

class BufferPollTest : public testing::Test {
protected:
    BufferPollTest() {
        EXPECT_TRUE(client_.Connect(peer_.Uri(), std::chrono::milliseconds(kPatienceMs)));
    }
    // How often the receiver has been asked.
    int Questions() {
        client_.Disconnect();
        peer_.Join();
        return questions_;
    }

    int questions_ = 0;
    FakePeer peer_{[this](FakePeer& peer) {
        peer.Welcome();
        for (;; ++questions_) peer.Welcome(kActive);  // fails when the client has gone
    }};
    const Cancellation cancellation_;
    ReceiverClient client_{cancellation_};
    BufferPoll poll_{client_};
};

}  // namespace

TEST_F(BufferPollTest, TheReceiverIsAskedOnceASecond) {
    const std::optional<BufferStatistics> buffer = poll_.Poll({}, 5000);
    ASSERT_TRUE(buffer);
    EXPECT_EQ(buffer->availableBytes, 4000u);
    EXPECT_FALSE(poll_.Poll({}, 5999));
    EXPECT_TRUE(poll_.Poll({}, 6000));
    EXPECT_EQ(Questions(), 2);
}

TEST_F(BufferPollTest, AFinishedSessionIsNotAskedFor) {
    SessionRecord session;
    session.finished = {kReasonEof, ""};
    EXPECT_FALSE(poll_.Poll(session, 5000));
    EXPECT_EQ(Questions(), 0);
}

// The answer would become too long to be sent.
TEST_F(BufferPollTest, ASessionWithVeryManyMatchesIsNotAskedFor) {
    SessionRecord session;
    session.matches.resize(150);
    EXPECT_TRUE(poll_.Poll(session, 5000));
    session.matches.resize(151);
    EXPECT_FALSE(poll_.Poll(session, 9000));
    EXPECT_EQ(Questions(), 1);
}

}  // namespace receiver
