// What holds for a connected endpoint whichever end it is, server or client.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "pipe/pcm_pipe.h"
#include "platform/clock.h"
#include "platform/error_codes.h"
#include "platform/ids.h"
#include "testing/test_task.h"

namespace receiver {
namespace {

constexpr uint32_t kSoonMs = 10000;
constexpr size_t kMoreThanAnyBuffer = 8 << 20;

uint64_t Soon() {
    return TickMs() + kSoonMs;
}

enum class End { kServer, kClient };

class PipeEndsTest : public testing::TestWithParam<End> {
protected:
    void SetUp() override {
        const std::string uri = "pcm-pipe://contract-" + CreateInstanceId();
        ASSERT_TRUE(server_.Listen(uri));
        ASSERT_TRUE(client_.Connect(uri, kSoonMs)) << client_.LastError();
        ASSERT_TRUE(server_.Accept(kSoonMs)) << server_.LastError();
    }

    bool WriteFar(const std::string& bytes) {
        return far_.Write(bytes.data(), bytes.size(), Soon());
    }

    std::shared_ptr<CPcmPipeCancellation> serverCancellation_ =
        std::make_shared<CPcmPipeCancellation>();
    std::shared_ptr<CPcmPipeCancellation> clientCancellation_ =
        std::make_shared<CPcmPipeCancellation>();
    CPcmPipe server_{serverCancellation_};
    CPcmPipe client_{clientCancellation_};
    CPcmPipe& near_ = GetParam() == End::kServer ? server_ : client_;
    CPcmPipe& far_ = GetParam() == End::kServer ? client_ : server_;
    // Until something is heard, which need not be the first time.
    bool WaitForBytes(size_t bytes) {
        size_t available = 0;
        while (near_.Peek(&available) && available < bytes) {
            if (!near_.WaitForNews(other_, Soon())) return false;
        }
        return available == bytes;
    }

    WakeUpEvent other_;
    CPcmPipeCancellation& nearCancellation_ =
        GetParam() == End::kServer ? *serverCancellation_ : *clientCancellation_;
    std::array<char, 64> bytes_{};
};

INSTANTIATE_TEST_SUITE_P(BothEnds, PipeEndsTest, testing::Values(End::kServer, End::kClient),
                         [](const auto& instance) {
                             return instance.param == End::kServer ? "Server" : "Client";
                         });

// The reader waits for what the peer sends only after it was written to.
TEST_P(PipeEndsTest, AnotherThreadWritesWhileOneReads) {
    TestTask reader("the reader", [this] { return near_.Read(bytes_.data(), 4, Soon()); });
    EXPECT_EQ(near_.WriteBeside("ping", 4, Soon()), kErrorNone);
    char request[4];
    ASSERT_TRUE(far_.Read(request, sizeof(request), Soon())) << far_.LastError();
    ASSERT_TRUE(WriteFar("pong"));
    EXPECT_TRUE(reader.Get());
    EXPECT_EQ(std::memcmp(bytes_.data(), "pong", 4), 0);
}

TEST_P(PipeEndsTest, WhatCannotBeWrittenBesideIsAnswerAloneAndNoLastError) {
    ASSERT_TRUE(WriteFar("a"));
    ASSERT_TRUE(near_.Read(bytes_.data(), 1, Soon()));
    far_.Close();
    const std::string more(kMoreThanAnyBuffer, 'x');
    EXPECT_NE(near_.WriteBeside(more.data(), more.size(), Soon()), kErrorNone);
    EXPECT_EQ(near_.LastError(), kErrorNone);
}

TEST_P(PipeEndsTest, ReadGivesTheBytesThatThePeerWrote) {
    ASSERT_TRUE(WriteFar("hello"));

    size_t transferred = 99;
    ASSERT_TRUE(near_.Read(bytes_.data(), 5, Soon(), &transferred));

    EXPECT_EQ(std::string(bytes_.data(), 5), "hello");
    EXPECT_EQ(transferred, 5u);
    EXPECT_EQ(near_.LastError(), kErrorNone);
}

TEST_P(PipeEndsTest, ReadLeavesWhatItWasNotAskedFor) {
    ASSERT_TRUE(WriteFar("abcdef"));

    ASSERT_TRUE(near_.Read(bytes_.data(), 4, Soon()));
    ASSERT_TRUE(near_.Read(bytes_.data() + 4, 2, Soon()));

    EXPECT_EQ(std::string(bytes_.data(), 6), "abcdef");
}

TEST_P(PipeEndsTest, ReadJoinsPiecesThatArriveOneByOne) {
    TestTask writer("the writer", [this] {
        EXPECT_TRUE(WriteFar("abc"));
        EXPECT_TRUE(WriteFar("defg"));
        EXPECT_TRUE(WriteFar("hi"));
    });

    size_t transferred = 0;
    EXPECT_TRUE(near_.Read(bytes_.data(), 9, Soon(), &transferred));
    writer.Get();

    EXPECT_EQ(std::string(bytes_.data(), 9), "abcdefghi");
    EXPECT_EQ(transferred, 9u);
}

TEST_P(PipeEndsTest, WriteLargerThanAnyBufferArrivesWhole) {
    std::vector<char> sent(kMoreThanAnyBuffer / 4);
    for (size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<char>(i * 31 + i / 251);
    TestTask writer("the writer",
                    [&] { EXPECT_TRUE(far_.Write(sent.data(), sent.size(), Soon())); });

    std::vector<char> received(sent.size());
    EXPECT_TRUE(near_.Read(received.data(), received.size(), Soon()));
    writer.Get();

    EXPECT_TRUE(received == sent);
}

TEST_P(PipeEndsTest, BothDirectionsAreIndependent) {
    ASSERT_TRUE(WriteFar("ping"));
    ASSERT_TRUE(near_.Write("pong", 4, Soon()));

    std::array<char, 4> atFar{};
    ASSERT_TRUE(near_.Read(bytes_.data(), 4, Soon()));
    ASSERT_TRUE(far_.Read(atFar.data(), 4, Soon()));

    EXPECT_EQ(std::string(bytes_.data(), 4), "ping");
    EXPECT_EQ(std::string(atFar.data(), 4), "pong");
}

TEST_P(PipeEndsTest, ReadOfNothingSucceedsEvenWhenCancelledAndLate) {
    nearCancellation_.Cancel();

    size_t transferred = 99;
    EXPECT_TRUE(near_.Read(nullptr, 0, 0, &transferred));
    EXPECT_EQ(transferred, 0u);
    EXPECT_EQ(near_.LastError(), kErrorNone);
}

TEST_P(PipeEndsTest, WriteOfNothingSucceedsEvenWhenCancelledAndLate) {
    nearCancellation_.Cancel();

    EXPECT_TRUE(near_.Write(nullptr, 0, 0));
    EXPECT_EQ(near_.LastError(), kErrorNone);
}

TEST_P(PipeEndsTest, ReadAfterItsDeadlineTakesNothing) {
    ASSERT_TRUE(WriteFar("x"));

    size_t transferred = 99;
    EXPECT_FALSE(near_.Read(bytes_.data(), 1, TickMs(), &transferred));
    EXPECT_EQ(near_.LastError(), kErrorTimedOut);
    EXPECT_EQ(transferred, 0u);
    EXPECT_TRUE(near_.Read(bytes_.data(), 1, Soon()));
}

TEST_P(PipeEndsTest, WriteAfterItsDeadlineSendsNothing) {
    EXPECT_FALSE(near_.Write("x", 1, TickMs()));
    EXPECT_EQ(near_.LastError(), kErrorTimedOut);

    size_t available = 99;
    ASSERT_TRUE(far_.Peek(&available));
    EXPECT_EQ(available, 0u);
}

TEST_P(PipeEndsTest, CancellationGoesBeforeThePassedDeadline) {
    nearCancellation_.Cancel();

    EXPECT_FALSE(near_.Read(bytes_.data(), 1, 0));
    EXPECT_EQ(near_.LastError(), kErrorCancelled);
    EXPECT_FALSE(near_.Write("x", 1, 0));
    EXPECT_EQ(near_.LastError(), kErrorCancelled);
}

TEST_P(PipeEndsTest, ReadThatTimesOutReportsThePartThatCame) {
    ASSERT_TRUE(WriteFar("abc"));

    const uint64_t deadline = TickMs() + 30;
    size_t transferred = 99;
    EXPECT_FALSE(near_.Read(bytes_.data(), 5, deadline, &transferred));
    EXPECT_EQ(near_.LastError(), kErrorTimedOut);
    EXPECT_EQ(transferred, 3u);
    EXPECT_EQ(std::string(bytes_.data(), 3), "abc");
}

// The shortest patience there is, so that bytes come before, while and after it ends.
TEST_P(PipeEndsTest, ReadsThatGoOnAfterTimeOutsLoseAndRepeatNothing) {
    constexpr int kAnswers = 500;
    const std::string answer = "0123456789abcdef";
    TestTask far("the far", [&] {
        char request = 0;
        for (int i = 0; i < kAnswers; ++i) {
            EXPECT_TRUE(far_.Read(&request, 1, Soon()));
            EXPECT_TRUE(WriteFar(answer));
        }
    });
    for (int i = 0; i < kAnswers; ++i) {
        EXPECT_TRUE(near_.Write("?", 1, Soon()));
        const uint64_t patience = Soon();
        size_t got = 0;
        while (got < answer.size() && TickMs() < patience) {
            size_t transferred = 0;
            near_.Read(bytes_.data() + got, answer.size() - got, TickMs() + 1, &transferred);
            got += transferred;
        }
        EXPECT_EQ(std::string(bytes_.data(), got), answer);
    }
    far.Get();
}

TEST_P(PipeEndsTest, ACancelledReadHasReportedOrLeftEveryByte) {
    ASSERT_TRUE(WriteFar("ab"));
    TestTask canceller("the canceller", [this] { nearCancellation_.Cancel(); });

    size_t transferred = 99;
    EXPECT_FALSE(near_.Read(bytes_.data(), 5, Soon(), &transferred));
    canceller.Get();
    size_t available = 99;
    EXPECT_TRUE(near_.Peek(&available));
    EXPECT_EQ(transferred + available, 2u);
}

TEST_P(PipeEndsTest, ReadDoesNotTimeOutBeforeItsDeadline) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(near_.Read(bytes_.data(), 1, TickMs() + 100));
    EXPECT_EQ(near_.LastError(), kErrorTimedOut);
    // The tick of a platform may step by 16 ms.
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(80));
}

TEST_P(PipeEndsTest, WriteThatNobodyReadsTimesOut) {
    const std::vector<char> bytes(kMoreThanAnyBuffer);

    EXPECT_FALSE(near_.Write(bytes.data(), bytes.size(), TickMs() + 30));
    EXPECT_EQ(near_.LastError(), kErrorTimedOut);
}

TEST_P(PipeEndsTest, ReadFailsWhenThePeerClosesMeanwhile) {
    ASSERT_TRUE(WriteFar("ab"));
    TestTask closer("the closer", [this] { far_.Close(); });

    size_t transferred = 99;
    EXPECT_FALSE(near_.Read(bytes_.data(), 5, Soon(), &transferred));
    closer.Get();

    EXPECT_EQ(near_.LastError(), kErrorBrokenPipe);
    EXPECT_EQ(transferred, 2u);
}

TEST_P(PipeEndsTest, WhatThePeerWroteBeforeItClosedCanStillBeRead) {
    ASSERT_TRUE(WriteFar("last words"));
    far_.Close();

    EXPECT_TRUE(near_.Read(bytes_.data(), 10, Soon()));
    EXPECT_EQ(std::string(bytes_.data(), 10), "last words");
    EXPECT_FALSE(near_.Read(bytes_.data(), 1, Soon()));
    EXPECT_EQ(near_.LastError(), kErrorBrokenPipe);
}

TEST_P(PipeEndsTest, WriteToAPeerThatIsGoneFails) {
    far_.Close();

    EXPECT_FALSE(near_.Write("x", 1, Soon()));
    EXPECT_TRUE(near_.LastError() == kErrorNoData || near_.LastError() == kErrorBrokenPipe)
        << near_.LastError();
}

TEST_P(PipeEndsTest, PeekCountsWhatCanBeRead) {
    size_t available = 99;
    ASSERT_TRUE(near_.Peek(&available));
    EXPECT_EQ(available, 0u);

    ASSERT_TRUE(WriteFar("abc"));
    ASSERT_TRUE(WriteFar("de"));
    ASSERT_TRUE(near_.Peek(&available));
    EXPECT_EQ(available, 5u);

    ASSERT_TRUE(near_.Read(bytes_.data(), 5, Soon()));
    EXPECT_EQ(std::string(bytes_.data(), 5), "abcde");
}

TEST_P(PipeEndsTest, PeekFailsOnlyWhenThePeerIsGoneAndAllIsRead) {
    ASSERT_TRUE(WriteFar("abc"));
    far_.Close();

    size_t available = 99;
    EXPECT_TRUE(near_.Peek(&available));
    EXPECT_EQ(available, 3u);

    ASSERT_TRUE(near_.Read(bytes_.data(), 3, Soon()));
    EXPECT_FALSE(near_.Peek(&available));
    EXPECT_EQ(near_.LastError(), kErrorBrokenPipe);
    EXPECT_EQ(available, 0u);
}

TEST_P(PipeEndsTest, BytesAreNewsAndStayInThePipe) {
    TestTask writer("the writer", [this] { EXPECT_TRUE(WriteFar("abc")); });
    EXPECT_TRUE(WaitForBytes(3));
    writer.Get();
    EXPECT_TRUE(near_.WaitForNews(other_, Soon()));  // as long as they are there
    ASSERT_TRUE(near_.Read(bytes_.data(), 3, Soon()));
    EXPECT_EQ(std::string(bytes_.data(), 3), "abc");
}

TEST_P(PipeEndsTest, ThePeersEndIsNews) {
    TestTask closer("the closer", [this] { far_.Close(); });
    size_t available = 0;
    while (near_.Peek(&available)) ASSERT_TRUE(near_.WaitForNews(other_, Soon()));
    closer.Get();
    EXPECT_EQ(near_.LastError(), kErrorBrokenPipe);
    EXPECT_TRUE(near_.WaitForNews(other_, Soon()));
}

TEST_P(PipeEndsTest, AnotherSignalEndsAWaitForNews) {
    TestTask signaller("the signaller", [this] { other_.Signal(); });
    while (!other_.Wait(0)) ASSERT_TRUE(near_.WaitForNews(other_, Soon()));
    signaller.Get();
    EXPECT_TRUE(near_.WaitForNews(other_, Soon()));
}

TEST_P(PipeEndsTest, WithoutNewsTheWaitTimesOutNotBeforeItsTime) {
    const auto start = std::chrono::steady_clock::now();
    const uint64_t deadline = TickMs() + 100;
    while (near_.WaitForNews(other_, deadline)) {
        size_t available = 0;
        ASSERT_TRUE(near_.Peek(&available));
    }
    EXPECT_EQ(near_.LastError(), kErrorTimedOut);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(80));
}

TEST_P(PipeEndsTest, CancellationEndsAWaitForNewsAndLeavesNothingOutstanding) {
    TestTask canceller("the canceller", [this] { nearCancellation_.Cancel(); });
    while (near_.WaitForNews(other_, Soon())) {
        size_t available = 0;
        ASSERT_TRUE(near_.Peek(&available));
    }
    canceller.Get();
    EXPECT_EQ(near_.LastError(), kErrorCancelled);
    ASSERT_TRUE(WriteFar("late"));
    size_t available = 0;
    EXPECT_TRUE(near_.Peek(&available));
    EXPECT_EQ(available, 4u);
}

TEST_P(PipeEndsTest, SuccessClearsTheLastError) {
    ASSERT_FALSE(near_.Read(bytes_.data(), 1, 0));
    ASSERT_EQ(near_.LastError(), kErrorTimedOut);

    size_t available = 0;
    EXPECT_TRUE(near_.Peek(&available));
    EXPECT_EQ(near_.LastError(), kErrorNone);
}

TEST_P(PipeEndsTest, CancellationFromAnotherThreadEndsARead) {
    ASSERT_TRUE(WriteFar("ab"));
    TestTask canceller("the canceller", [this] { nearCancellation_.Cancel(); });

    EXPECT_FALSE(near_.Read(bytes_.data(), 5, Soon()));
    canceller.Get();
    EXPECT_EQ(near_.LastError(), kErrorCancelled);
}

TEST_P(PipeEndsTest, CancellationFromAnotherThreadEndsAWriteThatIsUnderWay) {
    const std::vector<char> bytes(kMoreThanAnyBuffer);
    TestTask canceller("the canceller", [this] {
        char first = 0;
        EXPECT_TRUE(far_.Read(&first, 1, Soon()));  // the write has begun, and cannot end
        nearCancellation_.Cancel();
    });

    EXPECT_FALSE(near_.Write(bytes.data(), bytes.size(), Soon()));
    canceller.Get();
    EXPECT_EQ(near_.LastError(), kErrorCancelled);
}

// Nothing of the cancelled read is left to the system: what arrives later stays out of the
// buffer and in the pipe.
TEST_P(PipeEndsTest, ACancelledReadLeavesNothingOutstanding) {
    TestTask canceller("the canceller", [this] { nearCancellation_.Cancel(); });
    EXPECT_FALSE(near_.Read(bytes_.data(), 4, Soon()));
    canceller.Get();

    ASSERT_TRUE(WriteFar("late"));
    size_t available = 0;
    EXPECT_TRUE(near_.Peek(&available));
    EXPECT_EQ(available, 4u);
    EXPECT_EQ(bytes_, (std::array<char, 64>{}));
}

TEST_P(PipeEndsTest, ATimedOutReadLeavesNothingOutstanding) {
    EXPECT_FALSE(near_.Read(bytes_.data(), 4, TickMs() + 20));

    ASSERT_TRUE(WriteFar("late"));
    EXPECT_EQ(bytes_, (std::array<char, 64>{}));
    ASSERT_TRUE(near_.Read(bytes_.data(), 4, Soon()));
    EXPECT_EQ(std::string(bytes_.data(), 4), "late");
}

TEST_P(PipeEndsTest, AClosedEndpointRefusesEveryTransfer) {
    near_.Close();

    size_t available = 99;
    EXPECT_FALSE(near_.Read(bytes_.data(), 1, Soon()));
    EXPECT_NE(near_.LastError(), kErrorNone);
    EXPECT_FALSE(near_.Write("x", 1, Soon()));
    EXPECT_NE(near_.LastError(), kErrorNone);
    EXPECT_FALSE(near_.Peek(&available));
    EXPECT_NE(near_.LastError(), kErrorNone);
    EXPECT_EQ(available, 0u);
}

}  // namespace
}  // namespace receiver
