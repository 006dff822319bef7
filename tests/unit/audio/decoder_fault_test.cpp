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
        bytes_ = EncodeAudio(MakeMusic(1, 44100, 2, IsInPages() ? 110250 : 22050), GetParam());
    }

    // A damaged Ogg page is left out as a whole, and one lasts a second.
    static bool IsInPages() {
        return GetParam() == AudioCoding::kOggVorbis || GetParam() == AudioCoding::kOggOpus ||
               GetParam() == AudioCoding::kOggFlac;
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
        if (outcome.last <= 0) {
            EXPECT_EQ(outcome.bytes.size() % format->nBlockAlign, 0u);
        }
        if (!outcome.bytes.empty()) ++played_;
        decoder.Seek(0.2F);
        ReadBytes(decoder, 100000);
    }

    TempFolder folder_;
    std::string bytes_;
    int played_ = 0;  // files that gave audio
    TestRandom random_{2};
};

}  // namespace

TEST_P(DecoderFaultTest, AFileCutAnywhereIsAnswered) {
    for (int round = 0; round < kRounds; ++round) {
        // Half of the cuts fall into the headers.
        const size_t most = round % 2 == 0 ? bytes_.size() : std::min<size_t>(bytes_.size(), 600);
        Exercise(bytes_.substr(0, random_.Below(most)));
    }
    EXPECT_GT(played_, 0);
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
    EXPECT_GT(played_, 0);
}

INSTANTIATE_TEST_SUITE_P(Codings, DecoderFaultTest, testing::ValuesIn(kAllAudioCodings),
                         [](const auto& coding) { return std::string(NameOf(coding.param)); });

}  // namespace receiver
