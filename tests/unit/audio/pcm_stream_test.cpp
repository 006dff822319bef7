#include "audio/pcm_stream.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <optional>
#include <vector>

#include "platform/clock.h"
#include "platform/ids.h"
#include "testing/pcm_reading.h"
#include "testing/scripted_audio_file.h"
#include "testing/test_task.h"
#include "wire/pcm1_record.h"

namespace receiver {
namespace {

class PcmStreamTest : public testing::Test {
protected:
    PcmStreamTest() : server_(cancellation_), client_(std::make_shared<CPcmPipeCancellation>()) {
        source_.Open("");
        EXPECT_TRUE(server_.Listen(uri_)) << server_.LastError();
    }
    // No test may leave the serving thread blocked.
    ~PcmStreamTest() override {
        source_.Stop();
        cancellation_->Cancel();
    }

    PcmStreamOptions Options() const {
        return {kPcm1LengthUnknown, 441, 0, kTestDeadlineMs, kTestDeadlineMs};
    }

    bool Serve(const PcmStreamOptions& options) {
        return ServePcmStream(server_, source_, options, {});
    }

    void StartServing(const PcmStreamOptions& options) {
        served_ = TestTask("the server", [this, options] {
            return ServePcmStream(server_, source_, options, [this] { ++connected_; });
        });
    }

    template <typename Record>
    std::optional<Record> ReadRecord() {
        Record record;
        if (!client_.Read(&record, sizeof record, TickMs() + kTestDeadlineMs)) return std::nullopt;
        return record;
    }

    bool ConnectAndReadHeader() {
        if (!client_.Connect(uri_, kTestDeadlineMs)) return false;
        const auto header = ReadRecord<Pcm1Header>();
        if (header) header_ = *header;
        return header.has_value();
    }

    // Reads chunks up to the end record, which it returns.
    std::optional<Pcm1ChunkRecord> ReadChunks() {
        for (;;) {
            const auto record = ReadRecord<Pcm1ChunkRecord>();
            if (!record || record->type != kPcm1Data) return record;
            EXPECT_EQ(+record->firstFrame, received_.size() / 4);
            EXPECT_EQ(+record->status, 0u);
            chunks_.push_back(record->byteCount);
            std::vector<uint8_t> pcm(record->byteCount);
            if (!client_.Read(pcm.data(), pcm.size(), TickMs() + kTestDeadlineMs)) {
                return std::nullopt;
            }
            received_.insert(received_.end(), pcm.begin(), pcm.end());
        }
    }

    bool Acknowledge(const Pcm1Acknowledgement& answer) {
        return client_.Write(&answer, sizeof answer, TickMs() + kTestDeadlineMs);
    }
    Pcm1Acknowledgement GoodAnswer() const { return {kPcm1Magic, 0, header_.streamToken}; }

    // An empty stream whose end record is answered with `answer`.
    bool ResultOfAnswer(std::function<void(Pcm1Acknowledgement&)> change) {
        source_.End();
        StartServing(Options());
        EXPECT_TRUE(ConnectAndReadHeader() && ReadChunks().has_value());
        Pcm1Acknowledgement answer = GoodAnswer();
        change(answer);
        EXPECT_TRUE(Acknowledge(answer));
        return served_.Get();
    }

    const std::string uri_ = "pcm-pipe://test-" + CreateInstanceId();
    const std::shared_ptr<CPcmPipeCancellation> cancellation_ =
        std::make_shared<CPcmPipeCancellation>();
    ScriptedAudioFile source_;
    CPcmPipe server_;
    CPcmPipe client_;
    std::atomic<int> connected_{0};
    Pcm1Header header_;
    std::vector<uint32_t> chunks_;
    std::vector<uint8_t> received_;
    TestTask<bool> served_;  // last: waits for the thread before the rest goes
};

}  // namespace

TEST_F(PcmStreamTest, TheWholeStreamArrivesInOrderAndIsAcknowledged) {
    const TestPcm pcm = MakeNoise(1, 44100, 2, 1000);
    source_.Deliver(pcm);
    source_.End();
    PcmStreamOptions options = Options();
    options.lengthFrames = 1000;
    StartServing(options);
    ASSERT_TRUE(ConnectAndReadHeader());
    EXPECT_EQ(+header_.magic, 0x314D4350u);
    EXPECT_EQ(+header_.version, 1u);
    EXPECT_EQ(+header_.headerBytes, 40u);
    EXPECT_EQ(+header_.sampleRate, 44100u);
    EXPECT_EQ(+header_.channels, 2);
    EXPECT_EQ(+header_.bitsPerSample, 16);
    EXPECT_EQ(+header_.reserved, 0u);
    EXPECT_EQ(+header_.lengthFrames, 1000u);
    const auto end = ReadChunks();
    ASSERT_TRUE(end);
    EXPECT_EQ(+end->type, 2u);
    EXPECT_EQ(+end->byteCount, 0u);
    EXPECT_EQ(+end->firstFrame, 1000u);
    EXPECT_EQ(+end->status, 0u);
    EXPECT_EQ(received_, BytesOf(pcm));
    EXPECT_EQ(chunks_, (std::vector<uint32_t>{1764, 1764, 472}));
    ASSERT_TRUE(Acknowledge(GoodAnswer()));
    EXPECT_TRUE(served_.Get());
    EXPECT_EQ(connected_, 1);
}

TEST_F(PcmStreamTest, ASourceThatEndsAtOnceGivesAnEndRecordAtFrameZero) {
    source_.End();
    StartServing(Options());
    ASSERT_TRUE(ConnectAndReadHeader());
    const auto end = ReadChunks();
    ASSERT_TRUE(end);
    EXPECT_EQ(+end->type, 2u);
    EXPECT_EQ(+end->firstFrame, 0u);
    ASSERT_TRUE(Acknowledge(GoodAnswer()));
    EXPECT_TRUE(served_.Get());
}

TEST_F(PcmStreamTest, ASourceThatFailsEndsWithARecordOfType3AndStatus30) {
    source_.Deliver(400);
    source_.Fail();
    StartServing(Options());
    ASSERT_TRUE(ConnectAndReadHeader());
    const auto end = ReadChunks();
    ASSERT_TRUE(end);
    EXPECT_EQ(+end->type, 3u);
    EXPECT_EQ(+end->status, 30u);
    EXPECT_EQ(+end->byteCount, 0u);
    EXPECT_EQ(+end->firstFrame, 100u);
    ASSERT_TRUE(Acknowledge(GoodAnswer()));
    EXPECT_TRUE(served_.Get());
}

TEST_F(PcmStreamTest, AWrongTokenInTheAnswerIsNoDelivery) {
    EXPECT_FALSE(ResultOfAnswer([](Pcm1Acknowledgement& answer) { ++answer.streamToken; }));
}

TEST_F(PcmStreamTest, AStatusInTheAnswerIsNoDelivery) {
    EXPECT_FALSE(ResultOfAnswer([](Pcm1Acknowledgement& answer) { answer.status = 1; }));
}

TEST_F(PcmStreamTest, AWrongMagicInTheAnswerIsNoDelivery) {
    EXPECT_FALSE(ResultOfAnswer([](Pcm1Acknowledgement& answer) { ++answer.magic; }));
}

TEST_F(PcmStreamTest, ARightAnswerIsADelivery) {
    EXPECT_TRUE(ResultOfAnswer([](Pcm1Acknowledgement&) {}));
}

TEST_F(PcmStreamTest, AClientThatHangsUpAfterTheEndRecordHasEverything) {
    source_.Deliver(4000);
    source_.End();
    StartServing(Options());
    ASSERT_TRUE(ConnectAndReadHeader());
    ASSERT_TRUE(ReadChunks());
    client_.Close();
    EXPECT_TRUE(served_.Get());
}

TEST_F(PcmStreamTest, AClientThatHangsUpAfterAFailedSourceHasNot) {
    source_.Fail();
    StartServing(Options());
    ASSERT_TRUE(ConnectAndReadHeader());
    ASSERT_TRUE(ReadChunks());
    client_.Close();
    EXPECT_FALSE(served_.Get());
}

TEST_F(PcmStreamTest, AClientThatHangsUpInTheMiddleIsNoDelivery) {
    StartServing(Options());
    ASSERT_TRUE(ConnectAndReadHeader());
    ASSERT_TRUE(source_.WaitUntilBlocked());
    client_.Close();
    source_.Deliver(size_t{4} << 20);  // more than the pipe holds
    EXPECT_FALSE(served_.Get());
}

TEST_F(PcmStreamTest, AClientThatNeverAnswersTheEndRunsIntoTheTimeOut) {
    source_.End();
    PcmStreamOptions options = Options();
    options.ioTimeoutMs = 50;
    const uint64_t start = TickMs();
    StartServing(options);
    ASSERT_TRUE(ConnectAndReadHeader());
    ASSERT_TRUE(ReadChunks());
    EXPECT_FALSE(served_.Get());
    EXPECT_GE(TickMs() + 16, start + 50);  // the clock may step by 16 ms
    EXPECT_EQ(server_.LastError(), 1460u);
}

TEST_F(PcmStreamTest, AClientThatDoesNotReadRunsIntoTheTimeOut) {
    source_.Deliver(size_t{8} << 20);  // more than the pipe holds
    PcmStreamOptions options = Options();
    options.ioTimeoutMs = 50;
    const uint64_t start = TickMs();
    StartServing(options);
    ASSERT_TRUE(ConnectAndReadHeader());
    EXPECT_FALSE(served_.Get());
    EXPECT_GE(TickMs() + 16, start + 50);
    EXPECT_EQ(server_.LastError(), 1460u);
}

TEST_F(PcmStreamTest, AClientThatNeverComesRunsIntoTheConnectTimeOut) {
    PcmStreamOptions options = Options();
    options.connectTimeoutMs = 30;
    const uint64_t start = TickMs();
    StartServing(options);
    EXPECT_FALSE(served_.Get());
    EXPECT_GE(TickMs() + 16, start + 30);
    EXPECT_EQ(server_.LastError(), 1460u);
    EXPECT_EQ(connected_, 0);
    EXPECT_EQ(source_.ReadCalls(), 0u);
}

TEST_F(PcmStreamTest, AConnectTimeOutOfZeroIsTheIoTimeOut) {
    PcmStreamOptions options = Options();
    options.connectTimeoutMs = 0;
    options.ioTimeoutMs = 30;
    const uint64_t start = TickMs();
    EXPECT_FALSE(Serve(options));
    EXPECT_GE(TickMs() + 16, start + 30);
    EXPECT_EQ(server_.LastError(), 1460u);
}

TEST_F(PcmStreamTest, AChunkBeyondOneMebibyteIsRefusedBeforeTheClientIsWaitedFor) {
    PcmStreamOptions options = Options();
    options.framesPerChunk = 262145;
    EXPECT_FALSE(Serve(options));
    EXPECT_EQ(server_.LastError(), 0u);
}

TEST_F(PcmStreamTest, AChunkOfOneMebibyteIsServed) {
    source_.Deliver(1048576);
    source_.End();
    PcmStreamOptions options = Options();
    options.framesPerChunk = 262144;
    StartServing(options);
    ASSERT_TRUE(ConnectAndReadHeader());
    ASSERT_TRUE(ReadChunks());
    EXPECT_EQ(chunks_, (std::vector<uint32_t>{1048576}));
    ASSERT_TRUE(Acknowledge(GoodAnswer()));
    EXPECT_TRUE(served_.Get());
}

TEST_F(PcmStreamTest, AChunkOfNoFramesIsRefused) {
    PcmStreamOptions options = Options();
    options.framesPerChunk = 0;
    EXPECT_FALSE(Serve(options));
    EXPECT_EQ(server_.LastError(), 0u);
}

TEST_F(PcmStreamTest, ASourceThatIsNotOpenIsRefused) {
    source_.Close();
    EXPECT_FALSE(Serve(Options()));
    EXPECT_EQ(server_.LastError(), 0u);
}

TEST_F(PcmStreamTest, ASourceOf8BitsIsRefused) {
    source_.record.wBitsPerSample = 8;
    EXPECT_FALSE(Serve(Options()));
    EXPECT_EQ(server_.LastError(), 0u);
}

TEST_F(PcmStreamTest, ASourceThatIsNoIntegerPcmIsRefused) {
    source_.record.wFormatTag = 3;
    EXPECT_FALSE(Serve(Options()));
    EXPECT_EQ(server_.LastError(), 0u);
}

TEST_F(PcmStreamTest, ASourceWithABlockAlignOfZeroIsRefused) {
    source_.record.nBlockAlign = 0;
    EXPECT_FALSE(Serve(Options()));
    EXPECT_EQ(server_.LastError(), 0u);
}

TEST_F(PcmStreamTest, AReadOfHalfFramesEndsTheStreamWithoutAnEndRecord) {
    source_.faults.oddPartialRead = true;
    source_.Deliver(400);
    StartServing(Options());
    ASSERT_TRUE(ConnectAndReadHeader());
    EXPECT_FALSE(served_.Get());
    server_.Close();
    EXPECT_FALSE(ReadChunks());
}

TEST_F(PcmStreamTest, AReadBeyondTheBufferEndsTheStreamWithoutAnEndRecord) {
    source_.faults.oversizeResult = true;
    source_.Deliver(400);
    StartServing(Options());
    ASSERT_TRUE(ConnectAndReadHeader());
    EXPECT_FALSE(served_.Get());
    server_.Close();
    EXPECT_FALSE(ReadChunks());
}

TEST_F(PcmStreamTest, CancellingEndsTheWaitForAClient) {
    TestTask served("the served call", [&] { return Serve(Options()); });
    cancellation_->Cancel();
    EXPECT_FALSE(served.Get());
    EXPECT_EQ(server_.LastError(), 995u);
}

TEST_F(PcmStreamTest, CancellingEndsTheWaitForTheAnswer) {
    source_.End();
    StartServing(Options());
    ASSERT_TRUE(ConnectAndReadHeader());
    ASSERT_TRUE(ReadChunks());
    cancellation_->Cancel();
    EXPECT_FALSE(served_.Get());
}

TEST_F(PcmStreamTest, CancellingEndsAPacingWait) {
    source_.Deliver(size_t{441} * 4 * 2);
    PcmStreamOptions options = Options();
    options.pacingMs = 0xFFFFFFFF;
    StartServing(options);
    ASSERT_TRUE(ConnectAndReadHeader());
    ASSERT_TRUE(ReadRecord<Pcm1ChunkRecord>());
    cancellation_->Cancel();
    EXPECT_FALSE(served_.Get());
    EXPECT_EQ(source_.ReadCalls(), 1u);
}

TEST_F(PcmStreamTest, PacingHoldsEachChunkBackToItsTime) {
    source_.Deliver(size_t{441} * 4 * 6);
    source_.End();
    PcmStreamOptions options = Options();
    options.pacingMs = 20;
    const uint64_t start = TickMs();
    StartServing(options);
    ASSERT_TRUE(ConnectAndReadHeader());
    for (uint64_t chunk = 1; chunk <= 6; ++chunk) {
        ASSERT_TRUE(ReadRecord<Pcm1ChunkRecord>());
        EXPECT_GE(TickMs() + 16, start + 20 * (chunk - 1)) << chunk;
        std::vector<uint8_t> pcm(441 * 4);
        ASSERT_TRUE(client_.Read(pcm.data(), pcm.size(), TickMs() + kTestDeadlineMs));
    }
    ASSERT_TRUE(ReadRecord<Pcm1ChunkRecord>());
    ASSERT_TRUE(Acknowledge(GoodAnswer()));
    EXPECT_TRUE(served_.Get());
}

TEST_F(PcmStreamTest, TheNoticeComesBeforeTheHeaderAndIsReleasedWithTheCall) {
    source_.End();
    auto witness = std::make_shared<int>(0);
    std::weak_ptr<int> alive = witness;
    std::function<void()> notice = [this, held = std::move(witness)] {
        ++connected_;
        size_t available = 1;
        // Nothing has been sent yet.
        EXPECT_TRUE(client_.Peek(&available));
        EXPECT_EQ(available, 0u);
    };
    ASSERT_TRUE(client_.Connect(uri_, kTestDeadlineMs));
    PcmStreamOptions options = Options();
    options.ioTimeoutMs = 1;  // nobody answers
    EXPECT_FALSE(ServePcmStream(server_, source_, options, std::move(notice)));
    EXPECT_EQ(connected_, 1);
    EXPECT_TRUE(alive.expired());
}

}  // namespace receiver
