#include "receiver_record/control/receiver_watch.h"

#include <gtest/gtest.h>

#include "testing/fake_peer.h"
#include "wire/messages.h"

namespace receiver {
namespace {

using nlohmann::json;

constexpr uint64_t kStart = 1000000;
constexpr uint64_t kQuiet = ReceiverWatch::kQuietMs;
constexpr uint64_t kLook = ReceiverWatch::kLookMs;

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

SessionRecord WithMatches(size_t count) {
    SessionRecord session;
    session.matches.resize(count);
    return session;
}

class ReceiverWatchTest : public testing::Test {
protected:
    ReceiverWatchTest() {
        EXPECT_TRUE(client_.Connect(peer_.Uri(), std::chrono::milliseconds(kPatienceMs)));
    }
    // What the receiver has been asked.
    std::vector<std::string> Questions() {
        client_.Disconnect();
        peer_.Join();
        return questions_;
    }

    std::vector<std::string> questions_;
    FakePeer peer_{[this](FakePeer& peer) {
        peer.Welcome();
        for (;;) {  // fails when the client has gone
            const json question = peer.ReceiveMessage();
            questions_.push_back(question["type"]);
            json answer = {{"version", 1}, {"requestId", question["requestId"]}};
            if (question["type"] == kCommandHello) {
                answer.update({{"type", kReplyWelcome}, {"instanceId", "I"}, {"active", kActive}});
            } else {
                answer.update({{"type", kReplyRejected}, {"message", "Unknown sessionId"}});
            }
            peer.SendMessage(answer);
        }
    }};
    const Cancellation cancellation_;
    ReceiverClient client_{cancellation_};
    ReceiverWatch watch_{client_, kStart};
};

}  // namespace

TEST_F(ReceiverWatchTest, WhereNobodyLooksAReceiverThatIsHeardIsNotAsked) {
    for (uint64_t now = kStart; now < kStart + 100 * kQuiet; now += kQuiet - 1) {
        watch_.Heard(now);
        EXPECT_FALSE(watch_.Ask({}, false, now + kQuiet - 1));
    }
    EXPECT_TRUE(Questions().empty());
}

TEST_F(ReceiverWatchTest, AReceiverThatIsQuietForLongIsAsked) {
    EXPECT_FALSE(watch_.Ask({}, false, kStart + kQuiet - 1));
    EXPECT_TRUE(watch_.Ask({}, false, kStart + kQuiet));
    EXPECT_FALSE(watch_.Ask({}, false, kStart + 2 * kQuiet - 1));
    EXPECT_TRUE(watch_.Ask({}, false, kStart + 2 * kQuiet));
    EXPECT_FALSE(watch_.IsSilent());
    EXPECT_EQ(Questions().size(), 2u);
}

TEST_F(ReceiverWatchTest, WhereSomebodyLooksItIsAskedEveryTenSeconds) {
    const std::optional<BufferStatistics> buffer = watch_.Ask({}, true, kStart);
    ASSERT_TRUE(buffer);
    EXPECT_EQ(buffer->availableBytes, 4000u);
    EXPECT_FALSE(watch_.Ask({}, true, kStart + kLook - 1));
    EXPECT_TRUE(watch_.Ask({}, true, kStart + kLook));
    EXPECT_EQ(Questions().size(), 2u);
}

TEST_F(ReceiverWatchTest, AnotherStateIsLookedAtSooner) {
    EXPECT_TRUE(watch_.Ask({}, true, kStart));
    SessionRecord session;
    session.state = kStateScanning;
    EXPECT_FALSE(watch_.Ask(session, true, kStart + 999));
    EXPECT_TRUE(watch_.Ask(session, true, kStart + 1000));
    EXPECT_FALSE(watch_.Ask(session, true, kStart + 2000));
    EXPECT_EQ(Questions().size(), 2u);
}

TEST_F(ReceiverWatchTest, AFinishedSessionIsNotAskedFor) {
    SessionRecord session;
    session.finished = {kReasonEof, ""};
    EXPECT_FALSE(watch_.Ask(session, true, kStart + kQuiet));
    EXPECT_TRUE(Questions().empty());
}

// The answer would become too long to be sent. That it lives can be told without one.
TEST_F(ReceiverWatchTest, ASessionWithVeryManyMatchesIsAskedForLittle) {
    EXPECT_TRUE(watch_.Ask(WithMatches(150), true, kStart));
    EXPECT_FALSE(watch_.Ask(WithMatches(151), true, kStart + kLook));
    EXPECT_FALSE(watch_.Ask(WithMatches(151), true, kStart + kQuiet));
    EXPECT_FALSE(watch_.IsSilent());
    EXPECT_EQ(Questions(), (std::vector<std::string>{kCommandHello, kCommandCancel}));
}

TEST(ReceiverWatch, AReceiverThatDoesNotAnswerIsSilentUntilItIsHeard) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        for (;;) p.ReceiveMessage();
    });
    const Cancellation cancellation;
    ReceiverClient client(cancellation);
    ASSERT_TRUE(client.Connect(peer.Uri(), std::chrono::milliseconds(kPatienceMs)));
    ReceiverWatch watch(client, kStart);
    for (int question = 0; question < ReceiverWatch::kMaxQuestions; ++question) {
        EXPECT_FALSE(watch.IsSilent());
        EXPECT_FALSE(watch.Ask({}, false, kStart + kQuiet));
    }
    EXPECT_TRUE(watch.IsSilent());
    watch.Heard(kStart + kQuiet);
    EXPECT_FALSE(watch.IsSilent());
}

}  // namespace receiver
