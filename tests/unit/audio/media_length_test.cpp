#include "audio/media_length.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "testing/audio_encoder.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

constexpr uint32_t kBytesPerSecond = 176400;
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

class MediaLengthTest : public testing::Test {
protected:
    void OpenAs(const std::string& name, AudioCoding coding, size_t frames) {
        const std::string path = folder_.File(name);
        WriteFileBytes(path, EncodeAudio(MakeMusic(1, 44100, 2, frames), coding));
        ASSERT_EQ(input_.Open(path, [](AVFormatContext*, AVDictionary**) { return 0; }),
                  kDecoderErrorNone);
    }

    // The packets that can be read from where the input stands.
    int CountPackets() {
        const PacketPtr packet(av_packet_alloc());
        int packets = 0;
        for (; input_.NextPacket(packet.get()) == 0; ++packets) av_packet_unref(packet.get());
        return packets;
    }

    TempFolder folder_;
    MediaInput input_;
};

TEST(LengthOfDuration, IsTruncatedToTheByte) {
    EXPECT_EQ(LengthOfDuration(kBytesPerSecond, 0.0), 0u);
    EXPECT_EQ(LengthOfDuration(kBytesPerSecond, 1.0), kBytesPerSecond);
    EXPECT_EQ(LengthOfDuration(kBytesPerSecond, 0.00001), 1u);
}

TEST(LengthOfDuration, IsWithinWhatALengthCanBe) {
    EXPECT_EQ(LengthOfDuration(kBytesPerSecond, -1.0), 0u);
    EXPECT_EQ(LengthOfDuration(kBytesPerSecond, kNan), 0u);
    EXPECT_EQ(LengthOfDuration(kBytesPerSecond, 1e18), uint64_t{0x7FFFFFFFFFFFFFFF});
}

TEST(LengthWithoutDuration, IsTenSecondsOfCompressedBytes) {
    EXPECT_EQ(LengthWithoutDuration(128000), 160000u);
    EXPECT_EQ(LengthWithoutDuration(1), 1u);  // 1.25 bytes
    EXPECT_EQ(LengthWithoutDuration(std::numeric_limits<int64_t>::max()),
              uint64_t{0x7FFFFFFFFFFFFFFF});
}

TEST(LengthWithoutDuration, IsOneMebibyteWithoutARate) {
    EXPECT_EQ(LengthWithoutDuration(0), 1048576u);
    EXPECT_EQ(LengthWithoutDuration(-1), 1048576u);
}

TEST(DoubtfulDuration, IsOneThatMakesTheFileMoreThanThreeTimesTooLarge) {
    EXPECT_FALSE(IsDurationDoubtful(10.0, 480000, 128000.0));
    EXPECT_TRUE(IsDurationDoubtful(10.0, 480001, 128000.0));
    EXPECT_FALSE(IsDurationDoubtful(10.0, 1, 128000.0));
}

TEST(DoubtfulDuration, NeedsADurationASizeAndARate) {
    EXPECT_FALSE(IsDurationDoubtful(0.0, 480001, 128000.0));
    EXPECT_FALSE(IsDurationDoubtful(-1.0, 480001, 128000.0));
    EXPECT_FALSE(IsDurationDoubtful(10.0, 0, 128000.0));
    EXPECT_FALSE(IsDurationDoubtful(10.0, -38, 128000.0));
    EXPECT_FALSE(IsDurationDoubtful(10.0, 480001, 0.0));
}

TEST_F(MediaLengthTest, MeasuringCountsAllPacketsAndReturnsToTheStart) {
    OpenAs("a.flac", AudioCoding::kFlac, 66150);
    const int packets = CountPackets();
    ASSERT_GT(packets, 1);
    double seconds = 0.0;
    ASSERT_EQ(MeasureDuration(input_, &seconds), kDecoderErrorNone);
    EXPECT_NEAR(seconds, 1.5, 1e-9);
    EXPECT_EQ(CountPackets(), packets);
}

TEST_F(MediaLengthTest, AnExactLengthIsMeasured) {
    OpenAs("a.flac", AudioCoding::kFlac, 66150);
    uint64_t bytes = 0;
    ASSERT_EQ(FindLength(input_, kBytesPerSecond, true, &bytes), kDecoderErrorNone);
    EXPECT_EQ(bytes, 264600u);
}

TEST_F(MediaLengthTest, TheContainersDurationIsTakenWithoutReading) {
    OpenAs("a.wav", AudioCoding::kWav, 66150);
    const PacketPtr packet(av_packet_alloc());
    ASSERT_EQ(input_.NextPacket(packet.get()), 0);
    const int64_t first = packet->pos;
    av_packet_unref(packet.get());
    uint64_t bytes = 0;
    ASSERT_EQ(FindLength(input_, kBytesPerSecond, false, &bytes), kDecoderErrorNone);
    EXPECT_EQ(bytes, 264600u);
    ASSERT_EQ(input_.NextPacket(packet.get()), 0);
    EXPECT_GT(packet->pos, first);
}

}  // namespace
}  // namespace receiver
