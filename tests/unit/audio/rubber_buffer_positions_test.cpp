// Positions in a rubber buffer: seeking, waiting for a sample and at the live edge, and letting go
// of what was read.
#include <limits>

#include "platform/clock.h"
#include "testing/test_task.h"
#include "unit/audio/rubber_buffer_fixture.h"

namespace receiver {
namespace {

constexpr uint32_t kForEver = 0xFFFFFFFE;  // ms; the test's own patience ends before

}  // namespace

TEST_F(RubberBufferTest, SeekToSampleReachesWhatIsHeldAndTheLiveEdge) {
    ASSERT_TRUE(OpenBuffer());
    Fill(40000);
    EXPECT_EQ(buffer_->SeekToSample(10000), 1);  // the live edge
    EXPECT_EQ(buffer_->SeekToSample(10001), 0);
    EXPECT_EQ(buffer_->GetStats().readSample, 10000u);
    EXPECT_EQ(buffer_->SeekToSample(5001), 1);
    ASSERT_EQ(buffer_->Read(pcm_, 100), 100);
    ExpectPattern(20004, 100);
    EXPECT_EQ(buffer_->SeekToSample(0), 1);
}

TEST_F(RubberBufferTest, SeekToSampleRefusesPositionsThatNoByteHas) {
    ASSERT_TRUE(OpenBuffer());
    Fill(40);
    EXPECT_EQ(buffer_->SeekToSample(std::numeric_limits<uint64_t>::max() / 4), 0);
    // 2^62 + 1 frames of 4 bytes would wrap to byte 4.
    EXPECT_EQ(buffer_->SeekToSample((uint64_t{1} << 62) + 1), 0);
    EXPECT_EQ(buffer_->WaitForSample((uint64_t{1} << 62) + 1, kTestDeadlineMs), 0);
}

TEST_F(RubberBufferTest, SeekByTimeRoundsToTheNearestFrame) {
    ASSERT_TRUE(OpenBuffer());
    Fill(400000);
    ASSERT_EQ(buffer_->Seek(1000.0F), 1);
    EXPECT_EQ(buffer_->GetStats().readSample, 44100u);
    ASSERT_EQ(buffer_->Seek(0.5F), 1);  // 22.05
    EXPECT_EQ(buffer_->GetStats().readSample, 22u);
    ASSERT_EQ(buffer_->Seek(0.6F), 1);  // 26.46
    EXPECT_EQ(buffer_->GetStats().readSample, 26u);
}

TEST_F(RubberBufferTest, SeekByTimeFormsItsProductInSinglePrecision) {
    UseSource(std::make_unique<ScriptedAudioFile>(1, 44100));
    ASSERT_TRUE(OpenBuffer(1 << 20));
    Fill(2 * 300000);
    // 269671.5 exactly, which would round to 269672; in single precision 269671.488.
    ASSERT_EQ(buffer_->Seek(6115.0F), 1);
    EXPECT_EQ(buffer_->GetStats().readSample, 269671u);
}

TEST_F(RubberBufferTest, SeekByTimeRefusesWhatIsNoPosition) {
    ASSERT_TRUE(OpenBuffer());
    Fill(400);
    for (const float ms :
         {-1.0F, std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
          -std::numeric_limits<float>::infinity(), std::numeric_limits<float>::max(), 1.0e6F}) {
        EXPECT_EQ(buffer_->Seek(ms), 0) << ms;
    }
    EXPECT_EQ(buffer_->Seek(-0.0F), 1);
}

TEST_F(RubberBufferTest, WaitForSampleEndsWhenTheSampleIsIn) {
    ASSERT_TRUE(OpenBuffer());
    TestTask waited("the waited call",
                    [&] { return buffer_->WaitForSample(999, kTestDeadlineMs); });
    Fill(3996);
    EXPECT_EQ(buffer_->GetStats().nextSample, 999u);
    Fill(4);
    EXPECT_EQ(waited.Get(), 1);
}

TEST_F(RubberBufferTest, WaitForSampleEndsWhenTheSourceDoes) {
    ASSERT_TRUE(OpenBuffer());
    TestTask waited("the waited call",
                    [&] { return buffer_->WaitForSample(1000, kTestDeadlineMs); });
    source_->Deliver(4000);
    source_->End();
    EXPECT_EQ(waited.Get(), 0);
    EXPECT_EQ(buffer_->WaitForSample(999, 0), 1);
}

TEST_F(RubberBufferTest, WaitForSampleEndsAtItsTimeOut) {
    ASSERT_TRUE(OpenBuffer());
    const uint64_t start = TickMs();
    EXPECT_EQ(buffer_->WaitForSample(0, 20), 0);
    EXPECT_GE(TickMs() + 16, start + 20);
    EXPECT_EQ(buffer_->GetStats().error, 0u);
}

TEST_F(RubberBufferTest, WaitForSampleRefusesAReleasedSampleAndAClosedFile) {
    MakeBuffer();
    EXPECT_EQ(buffer_->WaitForSample(0, kTestDeadlineMs), 0);
    ASSERT_EQ(buffer_->Open("scripted"), 1);
    Fill(8192);
    ASSERT_EQ(buffer_->SeekToSample(1024), 1);
    buffer_->SetReleaseConsumed(true);
    EXPECT_EQ(buffer_->WaitForSample(1023, kTestDeadlineMs), 0);
    EXPECT_EQ(buffer_->WaitForSample(1024, kTestDeadlineMs), 1);
}

TEST_F(RubberBufferTest, NothingIsReleasedUntilItIsAskedFor) {
    ASSERT_TRUE(OpenBuffer());
    Fill(8192);
    ASSERT_EQ(ReadBytes(*buffer_, 8192).bytes.size(), 8192u);
    EXPECT_EQ(buffer_->GetStats().retainedBytes, 8192u);
    EXPECT_EQ(buffer_->SeekToSample(0), 1);
}

TEST_F(RubberBufferTest, SwitchingReleaseOnFreesAtOnce) {
    ASSERT_TRUE(OpenBuffer());
    Fill(12288);
    ASSERT_EQ(buffer_->SeekToSample(2100), 1);
    buffer_->SetReleaseConsumed(true);
    const auto stats = buffer_->GetStats();
    EXPECT_EQ(stats.firstSample, 2048u);
    EXPECT_EQ(stats.blocks, 1u);
    EXPECT_EQ(stats.retainedBytes, 4096u);
    EXPECT_EQ(stats.peakRetainedBytes, 12288u);
}

TEST_F(RubberBufferTest, WithReleaseOnReadingPastABlockFreesItAndSeekingThereFails) {
    ASSERT_TRUE(OpenBuffer());
    Fill(12288);
    buffer_->SetReleaseConsumed(true);
    ASSERT_EQ(ReadBytes(*buffer_, 5000).bytes.size(), 5000u);
    EXPECT_EQ(buffer_->GetStats().firstSample, 1024u);
    EXPECT_EQ(buffer_->SeekToSample(1023), 0);
    EXPECT_EQ(buffer_->SeekToSample(1024), 1);
}

TEST_F(RubberBufferTest, WithReleaseOnSeekingForwardFreesWhatWasPassed) {
    ASSERT_TRUE(OpenBuffer());
    Fill(12288);
    buffer_->SetReleaseConsumed(true);
    ASSERT_EQ(buffer_->SeekToSample(3072), 1);
    EXPECT_EQ(buffer_->GetStats().blocks, 0u);
    EXPECT_EQ(buffer_->GetStats().firstSample, 3072u);
    Fill(4);
    EXPECT_EQ(buffer_->Read(pcm_, 100), 4);
    ExpectPattern(12288, 4);
}

TEST_F(RubberBufferTest, SwitchingReleaseOffKeepsWhatIsReadFromThenOn) {
    ASSERT_TRUE(OpenBuffer());
    buffer_->SetReleaseConsumed(true);
    buffer_->SetReleaseConsumed(false);
    Fill(4096);
    ASSERT_EQ(buffer_->Read(pcm_, 4096), 4096);
    EXPECT_EQ(buffer_->GetStats().blocks, 1u);
}

// The reader is nearly always there first, and only what wakes it ends its wait.
TEST_F(RubberBufferTest, AReaderAtTheLiveEdgeIsWokenByEachArrival) {
    constexpr int kRounds = 100;
    ASSERT_TRUE(OpenBuffer(4096, kForEver));
    for (int round = 0; round < kRounds; ++round) {
        TestTask reader("the reader", [this] { return buffer_->Read(pcm_, 4); });
        source_->Deliver(4);
        ASSERT_EQ(reader.Get(), 4);
    }
}

TEST_F(RubberBufferTest, AStopWakesAReaderThoughTheSourceDoesNotHeedIt) {
    buffer_ = std::make_unique<CRubberBufferAudioFile>(
        std::move(owned_), [] {}, 4096, kForEver);
    ASSERT_TRUE(buffer_->Open("scripted"));
    ASSERT_TRUE(source_->WaitUntilBlocked());
    TestTask reader("the reader", [this] { return buffer_->Read(pcm_, 4); });
    EXPECT_FALSE(reader.HasEndedWithin(20));
    buffer_->RequestStop();
    EXPECT_EQ(reader.Get(), -1);
}

}  // namespace receiver
