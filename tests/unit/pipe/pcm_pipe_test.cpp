// How an endpoint comes to a connection; what holds once it has one is in tests/contract.
#include "pipe/pcm_pipe.h"

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>

#include "platform/clock.h"
#include "platform/error_codes.h"
#include "platform/ids.h"
#include "testing/test_task.h"

namespace receiver {
namespace {

constexpr uint32_t kSoonMs = 10000;

uint64_t Soon() {
    return TickMs() + kSoonMs;
}

class PcmPipeTest : public testing::Test {
protected:
    const std::string uri_ = "pcm-pipe://unit-" + CreateInstanceId();
    std::shared_ptr<CPcmPipeCancellation> cancellation_ = std::make_shared<CPcmPipeCancellation>();
    CPcmPipe server_{cancellation_};
    CPcmPipe client_{std::make_shared<CPcmPipeCancellation>()};
};

TEST_F(PcmPipeTest, NeedsACancellation) {
    try {
        const CPcmPipe pipe(nullptr);
        FAIL() << "constructed";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "Could not initialize pipe I/O");
    }
}

TEST_F(PcmPipeTest, ListenRefusesABadUri) {
    EXPECT_FALSE(server_.Listen("pcm-pipe://a/b"));
    EXPECT_EQ(server_.LastError(), kErrorInvalidName);
}

TEST_F(PcmPipeTest, ConnectRefusesABadUri) {
    EXPECT_FALSE(client_.Connect("pcm-pipe://", kSoonMs));
    EXPECT_EQ(client_.LastError(), kErrorInvalidName);
}

TEST_F(PcmPipeTest, AClientKnowsWhoServesIt) {
    EXPECT_EQ(client_.ServerProcessId(), 0u);
    ASSERT_TRUE(server_.Listen(uri_));
    ASSERT_TRUE(client_.Connect(uri_, kSoonMs));
    EXPECT_EQ(client_.ServerProcessId(), CurrentProcessId());
}

TEST_F(PcmPipeTest, AcceptWithoutAClientTimesOutNotBeforeItsTime) {
    ASSERT_TRUE(server_.Listen(uri_));

    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(server_.Accept(100));
    EXPECT_EQ(server_.LastError(), kErrorTimedOut);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(80));
}

TEST_F(PcmPipeTest, AcceptAfterATimeOutStillTakesAClient) {
    ASSERT_TRUE(server_.Listen(uri_));
    ASSERT_FALSE(server_.Accept(1));

    ASSERT_TRUE(client_.Connect(uri_, kSoonMs));
    EXPECT_TRUE(server_.Accept(kSoonMs));
    EXPECT_EQ(server_.LastError(), kErrorNone);
}

TEST_F(PcmPipeTest, AClientThatCameBeforeAcceptIsTakenAtOnce) {
    ASSERT_TRUE(server_.Listen(uri_));
    ASSERT_TRUE(client_.Connect(uri_, 0));

    EXPECT_TRUE(server_.Accept(0));
    EXPECT_EQ(server_.LastError(), kErrorNone);
}

TEST_F(PcmPipeTest, AClientMayWriteBeforeItIsAccepted) {
    ASSERT_TRUE(server_.Listen(uri_));
    ASSERT_TRUE(client_.Connect(uri_, 0));
    ASSERT_TRUE(client_.Write("early", 5, Soon()));
    ASSERT_TRUE(server_.Accept(kSoonMs));

    char bytes[5];
    EXPECT_TRUE(server_.Read(bytes, 5, Soon()));
    EXPECT_EQ(std::string(bytes, 5), "early");
}

TEST_F(PcmPipeTest, AcceptTakesAClientThatComesWhileItWaits) {
    ASSERT_TRUE(server_.Listen(uri_));
    TestTask client("the client", [this] { EXPECT_TRUE(client_.Connect(uri_, kSoonMs)); });

    EXPECT_TRUE(server_.Accept(kSoonMs));
    client.Get();
}

// The wait takes no client itself, not even for a moment.
TEST_F(PcmPipeTest, AClientThatComesIsNewsForAccept) {
    ASSERT_TRUE(server_.Listen(uri_));
    const WakeUpEvent other;
    TestTask client("the client", [this] { EXPECT_TRUE(client_.Connect(uri_, kSoonMs)); });

    while (!server_.Accept(0)) {
        ASSERT_EQ(server_.LastError(), kErrorTimedOut);
        ASSERT_TRUE(server_.WaitForNews(other, Soon()));
    }
    client.Get();
    ASSERT_TRUE(client_.Write("x", 1, Soon()));
    char byte = 0;
    EXPECT_TRUE(server_.Read(&byte, 1, Soon()));
}

TEST_F(PcmPipeTest, AWaitForNewsThatEndsWithoutAClientStillLetsOneCome) {
    ASSERT_TRUE(server_.Listen(uri_));
    WakeUpEvent other;
    other.Signal();
    EXPECT_TRUE(server_.WaitForNews(other, Soon()));
    ASSERT_TRUE(client_.Connect(uri_, 0));
    EXPECT_TRUE(server_.WaitForNews(WakeUpEvent(), Soon()));
    EXPECT_TRUE(server_.Accept(0));
}

TEST_F(PcmPipeTest, CancellationEndsAnAcceptFromAnotherThread) {
    ASSERT_TRUE(server_.Listen(uri_));
    TestTask canceller("the canceller", [this] { cancellation_->Cancel(); });

    EXPECT_FALSE(server_.Accept(kSoonMs));
    canceller.Get();
    EXPECT_EQ(server_.LastError(), kErrorCancelled);
}

TEST_F(PcmPipeTest, ACancelledAcceptLeavesTheWaitingClientAlone) {
    ASSERT_TRUE(server_.Listen(uri_));
    ASSERT_TRUE(client_.Connect(uri_, 0));
    cancellation_->Cancel();

    EXPECT_FALSE(server_.Accept(kSoonMs));
    EXPECT_EQ(server_.LastError(), kErrorCancelled);
}

TEST_F(PcmPipeTest, OnceCancelledConnectFailsAtOnce) {
    CPcmPipe cancelled(cancellation_);
    cancellation_->Cancel();

    EXPECT_FALSE(cancelled.Connect(uri_, kSoonMs));
    EXPECT_EQ(cancelled.LastError(), kErrorCancelled);
}

TEST_F(PcmPipeTest, CancellationEndsAConnectThatTriesAgain) {
    CPcmPipe cancelled(cancellation_);
    TestTask canceller("the canceller", [this] { cancellation_->Cancel(); });

    EXPECT_FALSE(cancelled.Connect(uri_, kSoonMs));
    canceller.Get();
    EXPECT_EQ(cancelled.LastError(), kErrorCancelled);
}

TEST_F(PcmPipeTest, ConnectWithoutATimeOutTriesOnce) {
    EXPECT_FALSE(client_.Connect(uri_, 0));
    EXPECT_EQ(client_.LastError(), kErrorFileNotFound);
}

TEST_F(PcmPipeTest, ConnectTimesOutNotBeforeItsTime) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(client_.Connect(uri_, 100));
    EXPECT_EQ(client_.LastError(), kErrorTimedOut);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(80));
}

TEST_F(PcmPipeTest, ConnectWaitsForAServerThatStartsLater) {
    TestTask client("the client", [this] { EXPECT_TRUE(client_.Connect(uri_, kSoonMs)); });

    EXPECT_TRUE(server_.Listen(uri_));
    EXPECT_TRUE(server_.Accept(kSoonMs));
    client.Get();
}

TEST_F(PcmPipeTest, ASecondClientMeetsABusyServer) {
    ASSERT_TRUE(server_.Listen(uri_));
    ASSERT_TRUE(client_.Connect(uri_, 0));

    CPcmPipe second(std::make_shared<CPcmPipeCancellation>());
    EXPECT_FALSE(second.Connect(uri_, 0));
    EXPECT_EQ(second.LastError(), kErrorPipeBusy);
}

TEST_F(PcmPipeTest, AClientThatVanishedBeforeAcceptDoesNotStopTheNext) {
    ASSERT_TRUE(server_.Listen(uri_));
    ASSERT_TRUE(client_.Connect(uri_, 0));
    client_.Close();
    // Platforms differ in whether the vanished client is still handed out.
    if (server_.Accept(kSoonMs)) {
        char byte = 0;
        EXPECT_FALSE(server_.Read(&byte, 1, Soon()));
    }

    ASSERT_TRUE(server_.Listen(uri_));
    ASSERT_TRUE(client_.Connect(uri_, kSoonMs));
    EXPECT_TRUE(server_.Accept(kSoonMs));
}

// A client that connects is served: none may slip in behind the one that is being accepted
// and be cut off with it.
TEST_F(PcmPipeTest, ClientsThatRaceForTheServerAreAllServed) {
    constexpr int kVisits = 100;
    const auto visit = [this] {
        for (int i = 0; i < kVisits; ++i) {
            CPcmPipe client{std::make_shared<CPcmPipeCancellation>()};
            char answer = 0;
            ASSERT_TRUE(client.Connect(uri_, kSoonMs)) << client.LastError();
            ASSERT_TRUE(client.Write("?", 1, Soon())) << i << ": " << client.LastError();
            ASSERT_TRUE(client.Read(&answer, 1, Soon())) << i << ": " << client.LastError();
            ASSERT_EQ(answer, '!');
        }
    };
    TestTask first("the first visitor", visit);
    TestTask second("the second visitor", visit);

    for (int i = 0; i < 2 * kVisits; ++i) {
        char question = 0;
        if (!server_.Listen(uri_) || !server_.Accept(kSoonMs) ||
            !server_.Read(&question, 1, Soon()) || !server_.Write("!", 1, Soon())) {
            ADD_FAILURE() << i << ": " << server_.LastError();
            break;
        }
        EXPECT_FALSE(server_.Read(&question, 1, Soon()));  // until the client has gone
    }
    first.Get(kMaxHoldMs);
    second.Get(kMaxHoldMs);
}

TEST_F(PcmPipeTest, ListenAgainDropsTheOldClientAndTakesANewOne) {
    ASSERT_TRUE(server_.Listen(uri_));
    ASSERT_TRUE(client_.Connect(uri_, kSoonMs));
    ASSERT_TRUE(server_.Accept(kSoonMs));

    ASSERT_TRUE(server_.Listen(uri_));
    char byte = 0;
    EXPECT_FALSE(client_.Read(&byte, 1, Soon()));
    EXPECT_EQ(client_.LastError(), kErrorBrokenPipe);
    ASSERT_TRUE(client_.Connect(uri_, kSoonMs));
    EXPECT_TRUE(server_.Accept(kSoonMs));
}

TEST_F(PcmPipeTest, AFailedListenHasClosedWhatWasOpen) {
    ASSERT_TRUE(server_.Listen(uri_));
    ASSERT_FALSE(server_.Listen("no uri"));

    EXPECT_FALSE(client_.Connect(uri_, 0));
    EXPECT_EQ(client_.LastError(), kErrorFileNotFound);
}

TEST_F(PcmPipeTest, ASecondServerOnANameFailsUntilTheFirstCloses) {
    CPcmPipe second(cancellation_);
    ASSERT_TRUE(server_.Listen(uri_));
    EXPECT_FALSE(second.Listen(uri_));
    EXPECT_NE(second.LastError(), kErrorNone);

    server_.Close();
    EXPECT_TRUE(second.Listen(uri_));
}

TEST_F(PcmPipeTest, ASecondServerFailsAlsoWhileTheFirstServesItsClient) {
    ASSERT_TRUE(server_.Listen(uri_));
    ASSERT_TRUE(client_.Connect(uri_, kSoonMs));
    ASSERT_TRUE(server_.Accept(kSoonMs));

    CPcmPipe second(cancellation_);
    EXPECT_FALSE(second.Listen(uri_));
}

TEST_F(PcmPipeTest, AcceptWithoutListenFails) {
    EXPECT_FALSE(server_.Accept(kSoonMs));
    EXPECT_NE(server_.LastError(), kErrorNone);
    EXPECT_NE(server_.LastError(), kErrorTimedOut);
}

TEST_F(PcmPipeTest, LongestNameWorks) {
    std::string name = CreateInstanceId();
    name.resize(180, 'n');
    ASSERT_TRUE(server_.Listen("pcm-pipe://" + name)) << server_.LastError();
    ASSERT_TRUE(client_.Connect("pcm-pipe://" + name, 0)) << client_.LastError();
    EXPECT_TRUE(server_.Accept(kSoonMs));
}

}  // namespace
}  // namespace receiver
