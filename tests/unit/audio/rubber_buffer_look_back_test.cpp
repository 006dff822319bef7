// What a rubber buffer holds while nobody reads it.
#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "testing/patience.h"
#include "testing/pcm_format.h"
#include "unit/audio/rubber_buffer_fixture.h"

namespace receiver {
namespace {

constexpr uint32_t kAlign = 4;
// Of what lasts for days: the fewer bytes a second, the sooner they have passed.
constexpr uint32_t kSlowRate = 8000;
constexpr uint32_t kSlowAlign = 2;

// Silence as fast as it is taken, and a step to take at the very end.
class EndlessFile final : public CAudioFile {
public:
    explicit EndlessFile(uint64_t bytes) : left_(bytes), record_(FormatOf(1, kSlowRate)) {}

    BOOL Open(const std::string&) override {
        format_ = &record_;
        return open_ = 1;
    }
    BOOL Close() override {
        open_ = 0;
        return 1;
    }
    int32_t Read(void*, uint32_t count) override {
        const auto now = static_cast<uint32_t>(std::min<uint64_t>(count, left_));
        left_ -= now;
        return static_cast<int32_t>(now);
    }
    BOOL Seek(float) override { return 0; }
    bool IsOpen() const override { return open_ != 0; }

private:
    uint64_t left_;
    const WAVEFORMATEX record_;
};

}  // namespace

TEST_F(RubberBufferTest, WhatLiesBehindTheLookBackIsReleasedBlockByBlock) {
    MakeBuffer(400);
    buffer_->SetLookBack(1000);
    ASSERT_TRUE(buffer_->Open("scripted"));
    Fill(1000 * kAlign);
    EXPECT_EQ(buffer_->GetStats().firstSample, 0u);
    Fill(99 * kAlign);
    EXPECT_EQ(buffer_->GetStats().firstSample, 0u);
    Fill(kAlign);
    EXPECT_EQ(buffer_->GetStats().firstSample, 100u);
    EXPECT_EQ(buffer_->GetStats().nextSample, 1100u);
    EXPECT_EQ(buffer_->GetStats().retainedBytes, 1000 * kAlign);
    EXPECT_EQ(buffer_->GetStats().receivedBytes, 1100 * kAlign);
}

TEST_F(RubberBufferTest, AReaderThatHasNotBegunStandsAtTheOldestAudioHeld) {
    MakeBuffer(400);
    buffer_->SetLookBack(1000);
    ASSERT_TRUE(buffer_->Open("scripted"));
    Fill(5000 * kAlign);
    const auto stats = buffer_->GetStats();
    EXPECT_EQ(stats.readSample, stats.firstSample);
    EXPECT_EQ(stats.availableBytes, stats.retainedBytes);
    EXPECT_EQ(stats.readBytes, 0u);
    ASSERT_EQ(buffer_->Read(pcm_, 100), 100);
    ExpectPattern(4000 * kAlign, 100);
    EXPECT_EQ(buffer_->SeekToSample(3999), 0);
    EXPECT_EQ(buffer_->WaitForSample(3999, kTestDeadlineMs), 0);
    EXPECT_EQ(buffer_->SeekToSample(4000), 1);
}

TEST_F(RubberBufferTest, WithoutALookBackAllIsKeptFromThenOn) {
    MakeBuffer(400);
    buffer_->SetLookBack(1000);
    ASSERT_TRUE(buffer_->Open("scripted"));
    Fill(2000 * kAlign);
    buffer_->SetLookBack(std::nullopt);
    Fill(9000 * kAlign);
    EXPECT_EQ(buffer_->GetStats().firstSample, 1000u);
    EXPECT_EQ(buffer_->GetStats().nextSample, 11000u);
}

TEST_F(RubberBufferTest, DaysOfWaitingHoldNoMoreThanTheLookBack) {
    constexpr uint64_t kTwoDays = uint64_t{2} * 24 * 3600 * kSlowRate * kSlowAlign;
    constexpr uint64_t kMinute = uint64_t{60} * kSlowRate;
    constexpr uint32_t kBlock = 65536;
    buffer_ = std::make_unique<CRubberBufferAudioFile>(
        std::make_unique<EndlessFile>(kTwoDays), [] {}, kBlock, kTestDeadlineMs);
    buffer_->SetLookBack(kMinute);
    ASSERT_TRUE(buffer_->Open("endless"));
    while (!buffer_->GetStats().finished) buffer_->WaitForSample(uint64_t{1} << 40, kPatienceMs);
    const auto stats = buffer_->GetStats();
    EXPECT_EQ(stats.receivedBytes, kTwoDays);
    EXPECT_EQ(stats.nextSample, kTwoDays / kSlowAlign);
    EXPECT_LE(stats.peakRetainedBytes, kMinute * kSlowAlign + kBlock);
    EXPECT_GE(stats.retainedBytes, kMinute * kSlowAlign);
    EXPECT_LE(stats.blocks, kMinute * kSlowAlign / kBlock + 2);
}

}  // namespace receiver
