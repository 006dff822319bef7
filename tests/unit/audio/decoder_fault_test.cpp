// Files cut short and files with flipped bytes, of every coding: whatever they hold, the
// decoder answers, bounded in time and memory.
#include <gtest/gtest.h>

#include "audio/ffmpeg_streaming_decoder.h"
#include "testing/audio_encoder.h"
#include "testing/pcm_reading.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

constexpr int kRounds = 40;
constexpr size_t kMaxBytes = size_t{64} << 20;

class DecoderFaultTest : public testing::TestWithParam<AudioCoding> {
protected:
    void SetUp() override {
        if (!CanEncode(GetParam())) GTEST_SKIP() << "no encoder here";
        bytes_ = EncodeAudio(MakeMusic(1, 44100, 2, 22050), GetParam());
    }

    // A decoder that opens must give whole frames; one that does not must be closed.
    void Exercise(const std::string& bytes) {
        const std::string path = folder_.File("damaged");
        WriteFileBytes(path, bytes);
        CFFmpegStreamingDecoder decoder;
        if (!decoder.Open(path)) {
            EXPECT_FALSE(decoder.IsOpen());
            EXPECT_GE(decoder.ErrorCode(), kDecoderErrorOpen);
            EXPECT_LE(decoder.ErrorCode(), kDecoderErrorSeek);
            return;
        }
        const WAVEFORMATEX* format = nullptr;
        ASSERT_EQ(decoder.GetFormat(&format), 0u);
        ASSERT_GT(+format->nBlockAlign, 0);
        const ReadOutcome outcome = ReadBytes(decoder, kMaxBytes);
        EXPECT_FALSE(outcome.overrun);
        EXPECT_EQ(outcome.bytes.size() % 2, 0u);
        decoder.Seek(0.2F);
        ReadBytes(decoder, 100000);
    }

    TempFolder folder_;
    std::string bytes_;
    TestRandom random_{2};
};

}  // namespace

TEST_P(DecoderFaultTest, AFileCutAnywhereIsAnswered) {
    for (int round = 0; round < kRounds; ++round) {
        // Half of the cuts fall into the headers.
        const size_t most = round % 2 == 0 ? bytes_.size() : std::min<size_t>(bytes_.size(), 600);
        Exercise(bytes_.substr(0, random_.Below(most)));
    }
}

TEST_P(DecoderFaultTest, AFileWithFlippedBytesIsAnswered) {
    for (int round = 0; round < kRounds; ++round) {
        std::string damaged = bytes_;
        const size_t most = round % 2 == 0 ? damaged.size() : std::min<size_t>(damaged.size(), 200);
        for (uint64_t flips = 1 + random_.Below(20); flips > 0; --flips) {
            char& byte = damaged[random_.Below(most)];
            byte = static_cast<char>(byte ^ static_cast<char>(1 + random_.Below(255)));
        }
        Exercise(damaged);
    }
}

INSTANTIATE_TEST_SUITE_P(Codings, DecoderFaultTest, testing::ValuesIn(kAllAudioCodings),
                         [](const auto& coding) { return std::string(NameOf(coding.param)); });

}  // namespace receiver
