#include "receiver_record/output/recording_writer.h"

#include <gtest/gtest.h>

#include "testing/audio_generator.h"
#include "unit/tools/audio_output/fake_sink.h"

namespace receiver {
namespace {

constexpr PcmFormat kStereo = {44100, 2};
constexpr size_t kMegabyte = 1 << 20;
constexpr uint64_t kPatience = 30000;         // ms
constexpr size_t kWavHead = 4096;             // at most
constexpr uint64_t kEncoderBytes = 4096 * 4;  // what the encoder may still hold

std::span<const std::byte> BytesIn(const TestPcm& pcm) {
    return std::as_bytes(std::span(pcm.samples));
}

class RecordingWriterTest : public testing::Test {
protected:
    FakeSink sink_;
    const TestPcm second_ = MakeNoise(1, 44100, 2, 44100);
};

}  // namespace

TEST_F(RecordingWriterTest, EverythingThatWasAppendedIsWritten) {
    RecordingWriter writer(WavFormat(), kStereo, {}, sink_, kMegabyte);
    ASSERT_TRUE(writer.Append(BytesIn(second_)));
    ASSERT_TRUE(writer.Append(BytesIn(second_)));
    EXPECT_TRUE(writer.Finish());
    const RecordingWriter::Progress progress = writer.GetProgress();
    EXPECT_EQ(progress.framesQueued, 88200u);
    EXPECT_EQ(progress.framesWritten, 88200u);
    EXPECT_EQ(progress.failure, "");
    EXPECT_GE(sink_.Size(), 2 * second_.Bytes());
}

// The reader of the pipe must never wait, however long the disk does.
TEST_F(RecordingWriterTest, AnOutputThatStandsStillDoesNotHoldTheReader) {
    sink_.Hold();
    RecordingWriter writer(WavFormat(), kStereo, {}, sink_, 100 * second_.Bytes());
    ASSERT_TRUE(sink_.WaitUntilBlocked(kPatience));
    for (int i = 0; i < 60; ++i) ASSERT_TRUE(writer.Append(BytesIn(second_)));
    EXPECT_EQ(writer.GetProgress().framesQueued, 60u * 44100);
    EXPECT_EQ(sink_.Size(), 0u);
    sink_.Release();
    EXPECT_TRUE(writer.Finish());
    EXPECT_GE(sink_.Size(), 60 * second_.Bytes());
}

TEST_F(RecordingWriterTest, WhatHasComeIsWrittenWhileMoreComes) {
    RecordingWriter writer(WavFormat(), kStereo, {}, sink_, kMegabyte);
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(writer.Append(BytesIn(second_)));
    EXPECT_TRUE(sink_.WaitForSize(3 * second_.Bytes() - kEncoderBytes, kPatience));
    EXPECT_TRUE(writer.Finish());
}

TEST_F(RecordingWriterTest, AnOutputThatFallsTooFarBehindIsAnErrorAndKeepsWhatWasTaken) {
    sink_.Hold();
    RecordingWriter writer(WavFormat(), kStereo, {}, sink_, 2 * second_.Bytes());
    ASSERT_TRUE(sink_.WaitUntilBlocked(kPatience));
    ASSERT_TRUE(writer.Append(BytesIn(second_)));
    ASSERT_TRUE(writer.Append(BytesIn(second_)));
    EXPECT_FALSE(writer.Append(BytesIn(second_)));
    EXPECT_NE(writer.GetProgress().failure, "");
    EXPECT_FALSE(writer.Append({}));
    sink_.Release();
    EXPECT_TRUE(writer.Finish());
    EXPECT_GE(sink_.Size(), 2 * second_.Bytes());
    EXPECT_LE(sink_.Size(), 2 * second_.Bytes() + kWavHead);
}

TEST_F(RecordingWriterTest, AFullDiskIsToldAndTheFileCanStillBePlayed) {
    sink_.SetCapacity(second_.Bytes());
    RecordingWriter writer(WavFormat(), kStereo, {}, sink_, 100 * kMegabyte);
    for (int i = 0; i < 5; ++i) writer.Append(BytesIn(second_));
    EXPECT_TRUE(writer.Finish());
    EXPECT_EQ(writer.GetProgress().failure, "No space left");
    EXPECT_FALSE(writer.Append(BytesIn(second_)));
}

TEST_F(RecordingWriterTest, AnOutputThatFailsAtOnceCannotBePlayed) {
    sink_.SetCapacity(0);
    RecordingWriter writer(WavFormat(), kStereo, {}, sink_, kMegabyte);
    EXPECT_FALSE(writer.Finish());
    EXPECT_NE(writer.GetProgress().failure, "");
}

}  // namespace receiver
