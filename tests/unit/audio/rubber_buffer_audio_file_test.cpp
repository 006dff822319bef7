#include "audio/rubber_buffer_audio_file.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <limits>
#include <memory>
#include <system_error>

#include "platform/clock.h"
#include "platform/ids.h"
#include "testing/pcm_reading.h"
#include "testing/scripted_audio_file.h"
#include "testing/test_task.h"
#include "unit/audio/rubber_buffer_fixture.h"

namespace receiver {
namespace {

std::string ConstructionError(std::unique_ptr<CAudioFile> inner, std::function<void()> stop,
                              uint32_t blockBytes, uint32_t readTimeoutMs) {
    try {
        CRubberBufferAudioFile buffer(std::move(inner), std::move(stop), blockBytes, readTimeoutMs);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "";
}

std::string ErrorOf(uint32_t blockBytes, uint32_t readTimeoutMs) {
    return ConstructionError(
        std::make_unique<ScriptedAudioFile>(), [] {}, blockBytes, readTimeoutMs);
}

constexpr const char* kInvalid = "Invalid Rubberbuffer configuration";

}  // namespace

TEST_F(RubberBufferTest, ConfigurationsOutOfRangeAreRefused) {
    EXPECT_EQ(ErrorOf(0, 1), kInvalid);
    EXPECT_EQ(ErrorOf(1048577, 1), kInvalid);
    EXPECT_EQ(ErrorOf(4096, 0), kInvalid);
    EXPECT_EQ(ConstructionError(
                  nullptr, [] {}, 4096, 1),
              kInvalid);
    EXPECT_EQ(ConstructionError(std::make_unique<ScriptedAudioFile>(), nullptr, 4096, 1), kInvalid);
}

TEST_F(RubberBufferTest, ConfigurationsAtTheLimitsAreAccepted) {
    EXPECT_EQ(ErrorOf(1, 1), "");
    EXPECT_EQ(ErrorOf(1048576, 0xFFFFFFFF), "");
}

TEST_F(RubberBufferTest, OpenGivesTheSourceItsPathAndTakesItsFormat) {
    ASSERT_TRUE(OpenBuffer());
    EXPECT_EQ(source_->OpenedPath(), "scripted");
    const WAVEFORMATEX* format = nullptr;
    ASSERT_EQ(buffer_->GetFormat(&format), 0u);
    EXPECT_EQ(+format->nSamplesPerSec, 44100u);
    EXPECT_EQ(+format->nBlockAlign, 4);
    EXPECT_NE(format, &source_->record);
    AudioFileInfo info{1, 1, 1, 1, 1};
    ASSERT_EQ(buffer_->GetInfo(&info), 1);
    EXPECT_EQ(info.lengthBytes, 0u);
    EXPECT_TRUE(buffer_->IsOpen());
    EXPECT_EQ(buffer_->GetPositionMs(), 0xFFFFFFFFu);
}

TEST_F(RubberBufferTest, ASourceThatDoesNotOpenFailsOpenWith30) {
    source_->faults.openFails = true;
    ExpectFailedOpen(30);
}

TEST_F(RubberBufferTest, ASourceWithoutAFormatFailsOpenWith30) {
    source_->faults.formatMissing = true;
    ExpectFailedOpen(30);
}

TEST_F(RubberBufferTest, ASourceOf24BitsFailsOpenWith30) {
    UseSource(std::make_unique<ScriptedAudioFile>(2, 44100, 24));
    ExpectFailedOpen(30);
}

TEST_F(RubberBufferTest, ASourceOf8BitsFailsOpenWith30) {
    UseSource(std::make_unique<ScriptedAudioFile>(2, 44100, 8));
    ExpectFailedOpen(30);
}

TEST_F(RubberBufferTest, ASourceThatIsNoIntegerPcmFailsOpenWith30) {
    source_->record.wFormatTag = 3;
    ExpectFailedOpen(30);
}

TEST_F(RubberBufferTest, ASourceWithABlockAlignOfZeroFailsOpenWith30) {
    source_->record.nBlockAlign = 0;
    ExpectFailedOpen(30);
}

TEST_F(RubberBufferTest, ItOpensOnlyOnce) {
    ASSERT_TRUE(OpenBuffer());
    EXPECT_EQ(buffer_->Open("again"), 0);
    buffer_->Close();
    EXPECT_EQ(buffer_->Open("again"), 0);
    EXPECT_EQ(source_->OpenedPath(), "scripted");
}

TEST_F(RubberBufferTest, AStopBeforeOpenRefusesItAndStartsNothing) {
    MakeBuffer();
    buffer_->RequestStop();
    EXPECT_EQ(buffer_->Open("scripted"), 0);
    EXPECT_EQ(source_->OpenedPath(), "");
    EXPECT_FALSE(buffer_->GetStats().finished);
}

TEST_F(RubberBufferTest, AStopDuringABlockedOpenEndsIt) {
    source_->Hold();
    MakeBuffer();
    TestTask opened("the opened call", [&] { return buffer_->Open("scripted"); });
    ASSERT_TRUE(source_->WaitUntilBlocked());
    buffer_->RequestStop();
    EXPECT_EQ(opened.Get(), 0);
    EXPECT_EQ(buffer_->Close(), 1);
}

TEST_F(RubberBufferTest, AStopDuringABlockedReadEndsIt) {
    ASSERT_TRUE(OpenBuffer());
    TestTask read("the read call", [&] { return buffer_->Read(pcm_, 4); });
    ASSERT_TRUE(source_->WaitUntilBlocked());
    buffer_->RequestStop();
    EXPECT_EQ(read.Get(), -1);
}

TEST_F(RubberBufferTest, AStopDuringAWaitForASampleEndsIt) {
    ASSERT_TRUE(OpenBuffer());
    TestTask waited("the waited call", [&] { return buffer_->WaitForSample(0, kTestDeadlineMs); });
    ASSERT_TRUE(source_->WaitUntilBlocked());
    buffer_->RequestStop();
    EXPECT_EQ(waited.Get(), 0);
}

TEST_F(RubberBufferTest, AStopIsFinal) {
    ASSERT_TRUE(OpenBuffer());
    Fill(4096);
    buffer_->RequestStop();
    EXPECT_EQ(buffer_->Read(pcm_, 4), -1);
    EXPECT_EQ(buffer_->SeekToSample(0), 0);
    EXPECT_EQ(buffer_->WaitForSample(0, 0), 0);
    EXPECT_EQ(stops_, 1);
}

TEST_F(RubberBufferTest, CloseStopsTheSourceDropsTheBlocksAndKeepsTheCounters) {
    ASSERT_TRUE(OpenBuffer());
    Fill(10000);
    ASSERT_EQ(buffer_->Read(pcm_, 400), 400);
    EXPECT_EQ(buffer_->Close(), 1);
    EXPECT_EQ(buffer_->Close(), 1);
    const auto stats = buffer_->GetStats();
    EXPECT_EQ(stats.receivedBytes, 10000u);
    EXPECT_EQ(stats.readBytes, 400u);
    EXPECT_EQ(stats.peakRetainedBytes, 10000u);
    EXPECT_EQ(stats.retainedBytes, 0u);
    EXPECT_EQ(stats.blocks, 0u);
    EXPECT_EQ(stats.availableBytes, 0u);
    EXPECT_EQ(stats.firstSample, 2500u);
    EXPECT_TRUE(stats.finished);
    EXPECT_FALSE(buffer_->IsOpen());
    EXPECT_EQ(buffer_->Read(pcm_, 4), -1);
}

TEST_F(RubberBufferTest, CloseFromTheFillerIsADeadlockError) {
    std::promise<std::error_code> thrown;
    CRubberBufferAudioFile* buffer = nullptr;
    class ClosingFile final : public CAudioFile {
    public:
        explicit ClosingFile(std::function<void()> onOpen) : onOpen_(std::move(onOpen)) {}
        BOOL Open(const std::string&) override {
            onOpen_();
            return 0;
        }
        BOOL Close() override { return 1; }
        int32_t Read(void*, uint32_t) override { return -1; }
        BOOL Seek(float) override { return 0; }
        bool IsOpen() const override { return false; }

    private:
        const std::function<void()> onOpen_;
    };
    CRubberBufferAudioFile closing(
        std::make_unique<ClosingFile>([&] {
            try {
                buffer->Close();
                thrown.set_value({});
            } catch (const std::system_error& error) {
                thrown.set_value(error.code());
            }
        }),
        [] {}, 4096, kTestDeadlineMs);
    buffer = &closing;
    EXPECT_EQ(closing.Open(""), 0);
    EXPECT_EQ(Await(thrown.get_future(), "the filler's Close"),
              std::errc::resource_deadlock_would_occur);
}

TEST_F(RubberBufferTest, ReadGivesThePcmInOrder) {
    ASSERT_TRUE(OpenBuffer());
    Fill(8192);
    ASSERT_EQ(buffer_->Read(pcm_, 1000), 1000);
    ExpectPattern(0, 1000);
    ASSERT_EQ(buffer_->Read(pcm_, 3), 3);
    ExpectPattern(1000, 3);
}

TEST_F(RubberBufferTest, AReadEndsWithItsBlock) {
    ASSERT_TRUE(OpenBuffer(4096));
    Fill(3000);  // a block of its own
    Fill(10000);
    EXPECT_EQ(buffer_->Read(pcm_, 10000), 3000);
    EXPECT_EQ(buffer_->Read(pcm_, 1096), 1096);
    EXPECT_EQ(buffer_->Read(pcm_, 10000), 3000);
    ExpectPattern(4096, 3000);
}

TEST_F(RubberBufferTest, ABlockSizeBelowOneFrameGivesOneFrameABlock) {
    ASSERT_TRUE(OpenBuffer(1));
    Fill(40);
    EXPECT_EQ(buffer_->GetStats().blocks, 10u);
    EXPECT_EQ(buffer_->Read(pcm_, 100), 4);
}

TEST_F(RubberBufferTest, BlocksHoldWholeFramesOnly) {
    ASSERT_TRUE(OpenBuffer(4099));
    Fill(8192);
    EXPECT_EQ(buffer_->Read(pcm_, 10000), 4096);
}

TEST_F(RubberBufferTest, ReadRefusesANullBufferAndAClosedFile) {
    MakeBuffer();
    EXPECT_EQ(buffer_->Read(pcm_, 4), -1);
    ASSERT_EQ(buffer_->Open("scripted"), 1);
    EXPECT_EQ(buffer_->Read(nullptr, 1), -1);
    EXPECT_EQ(buffer_->Read(nullptr, 0), 0);
    EXPECT_EQ(buffer_->Read(pcm_, 0), 0);
}

// A read at the live edge that runs out of time is an error for that call only: the filler
// goes on, and what arrives later is delivered.
TEST_F(RubberBufferTest, ReadAfterTimeOutDeliversWhatArrivesLater) {
    ASSERT_TRUE(OpenBuffer(4096, 20));
    const uint64_t start = TickMs();
    EXPECT_EQ(buffer_->Read(pcm_, 4096), -1);
    EXPECT_GE(TickMs() + 16, start + 20);  // the clock may step by 16 ms
    EXPECT_EQ(buffer_->GetStats().error, 1460u);

    source_->Deliver(4096);
    ASSERT_TRUE(buffer_->WaitForSample(1023, kTestDeadlineMs));
    EXPECT_EQ(buffer_->Read(pcm_, 4096), 4096);
    ExpectPattern(0, 4096);
    EXPECT_EQ(buffer_->GetStats().error, 1460u);
}

TEST_F(RubberBufferTest, AReadAtTheLiveEdgeWaitsForData) {
    ASSERT_TRUE(OpenBuffer());
    TestTask read("the read call", [&] { return buffer_->Read(pcm_, 4096); });
    ASSERT_TRUE(source_->WaitUntilBlocked());
    source_->Deliver(8);
    EXPECT_EQ(read.Get(), 8);
    ExpectPattern(0, 8);
}

TEST_F(RubberBufferTest, AfterTheSourceEndsTheRestIsReadAndThenZero) {
    ASSERT_TRUE(OpenBuffer());
    source_->Deliver(6000);
    source_->End();
    const ReadOutcome outcome = ReadToEnd(*buffer_, {1000});
    EXPECT_EQ(outcome.bytes.size(), 6000u);
    EXPECT_EQ(outcome.last, 0);
    EXPECT_EQ(buffer_->GetStats().error, 0u);
    EXPECT_TRUE(source_->WaitUntilClosed());
}

TEST_F(RubberBufferTest, AfterTheSourceFailsTheRestIsReadAndThenTheError) {
    ASSERT_TRUE(OpenBuffer());
    source_->Deliver(6000);
    source_->Fail();
    const ReadOutcome outcome = ReadToEnd(*buffer_, {1000});
    EXPECT_EQ(outcome.bytes.size(), 6000u);
    EXPECT_EQ(outcome.last, -1);
    EXPECT_EQ(buffer_->GetStats().error, 30u);
}

TEST_F(RubberBufferTest, TheFirstErrorStays) {
    ASSERT_TRUE(OpenBuffer(4096, 1));
    EXPECT_EQ(buffer_->Read(pcm_, 4), -1);
    source_->Fail();
    WaitUntilFinished();
    EXPECT_EQ(buffer_->GetStats().error, 1460u);
}

TEST_F(RubberBufferTest, ASourceThatGivesHalfFramesEndsWith30) {
    source_->faults.oddPartialRead = true;
    ExpectFailedRead(30);
    EXPECT_EQ(buffer_->GetStats().receivedBytes, 0u);
}

TEST_F(RubberBufferTest, ASourceThatGivesMoreThanAskedEndsWith30) {
    source_->faults.oversizeResult = true;
    ExpectFailedRead(30);
}

TEST_F(RubberBufferTest, ASourceThatThrowsEndsWith30) {
    source_->faults.readThrows = true;
    ExpectFailedRead(30);
}

TEST_F(RubberBufferTest, ASourceOutOfMemoryEndsWith8) {
    source_->faults.readThrowsBadAlloc = true;
    ExpectFailedRead(8);
}

TEST_F(RubberBufferTest, TheEndIsToldOnceWhenTheStatisticsTellItToo) {
    MakeBuffer();
    std::promise<CRubberBufferAudioFile::Stats> told;
    buffer_->SetOnEnd([&] { told.set_value(buffer_->GetStats()); });  // twice would throw
    ASSERT_EQ(buffer_->Open("scripted"), 1);
    Fill(3000);
    source_->Fail();
    const CRubberBufferAudioFile::Stats stats = Await(told.get_future(), "the end");
    EXPECT_TRUE(stats.finished);
    EXPECT_EQ(stats.error, 30u);
    EXPECT_EQ(stats.receivedBytes, 3000u);
    buffer_->Close();
}

TEST_F(RubberBufferTest, StatisticsDescribeTheStream) {
    const uint64_t before = TickMs();
    ASSERT_TRUE(OpenBuffer());
    Fill(10000);
    ASSERT_EQ(buffer_->Read(pcm_, 402), 402);
    const auto stats = buffer_->GetStats();
    EXPECT_EQ(stats.receivedBytes, 10000u);
    EXPECT_EQ(stats.retainedBytes, 10000u);
    EXPECT_EQ(stats.readBytes, 402u);
    EXPECT_EQ(stats.readSample, 100u);
    EXPECT_EQ(stats.firstSample, 0u);
    EXPECT_EQ(stats.nextSample, 2500u);
    EXPECT_EQ(stats.availableBytes, 9598u);
    EXPECT_EQ(stats.sampleRate, 44100u);
    EXPECT_EQ(stats.blockAlign, 4u);
    EXPECT_EQ(stats.blocks, 3u);
    EXPECT_EQ(stats.error, 0u);
    EXPECT_FALSE(stats.finished);
    EXPECT_NE(stats.ownerThread, 0u);
    EXPECT_NE(stats.ownerThread, CurrentThreadId());
    EXPECT_GE(stats.lastWriteTick, before);
}

TEST_F(RubberBufferTest, StatisticsBeforeOpenAreAllZero) {
    MakeBuffer();
    const auto stats = buffer_->GetStats();
    EXPECT_EQ(stats.nextSample, 0u);
    EXPECT_EQ(stats.blockAlign, 0u);
    EXPECT_EQ(stats.lastWriteTick, 0u);
    EXPECT_FALSE(stats.finished);
}

TEST_F(RubberBufferTest, ShortReadsAreBlocksOfTheirOwn) {
    source_->mostBytesPerRead = 4;
    ASSERT_TRUE(OpenBuffer(1048576));
    Fill(400);
    EXPECT_EQ(buffer_->GetStats().blocks, 100u);
    ASSERT_EQ(ReadBytes(*buffer_, 400).bytes.size(), 400u);
}

// The reader, the filler, statistics and a late stop, all at once.
TEST_F(RubberBufferTest, ReaderFillerStatisticsAndStopMeetCleanly) {
    source_->mostBytesPerRead = 64;
    ASSERT_TRUE(OpenBuffer(256));
    buffer_->SetReleaseConsumed(true);
    source_->Deliver(200000);
    std::promise<void> halfway;
    TestTask reader("the reader call", [&] {
        uint64_t position = 0;
        for (;;) {
            uint8_t piece[100];
            const int32_t got = buffer_->Read(piece, sizeof piece);
            if (got <= 0) return position;
            for (int32_t i = 0; i < got; ++i, ++position) {
                EXPECT_EQ(piece[i], ScriptedAudioFile::PatternByte(position));
                if (position == 100000) halfway.set_value();
            }
        }
    });
    TestTask observer("the observer call", [&] {
        for (bool finished = false; !finished;) {
            const auto stats = buffer_->GetStats();
            EXPECT_LE(stats.firstSample, stats.readSample);
            EXPECT_LE(stats.readSample, stats.nextSample);
            finished = stats.finished;
        }
    });
    Await(halfway.get_future(), "half of the stream");
    buffer_->RequestStop();
    EXPECT_GT(reader.Get(), 100000u);
    observer.Get();
}

}  // namespace receiver
