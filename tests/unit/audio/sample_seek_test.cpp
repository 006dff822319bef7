#include "audio/sample_seek.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "audio/ffmpeg_streaming_decoder.h"
#include "testing/audio_encoder.h"
#include "testing/pcm_reading.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

constexpr int kRate = 44100;
constexpr size_t kFrames = kRate * 6;

class SampleSeekTest : public testing::Test {
protected:
    void OpenAs(const std::string& name, AudioCoding coding) {
        const std::string path = folder_.File(name);
        WriteFileBytes(path, EncodeAudio(pcm_, coding));
        ASSERT_TRUE(decoder_.Open(path));
    }

    // What is read after a seek is the audio from the sample nearest to the target on.
    void ExpectAudioFrom(float seconds) {
        const auto first = static_cast<size_t>(std::llround(static_cast<double>(seconds) * kRate));
        ASSERT_TRUE(decoder_.Seek(seconds)) << seconds;
        const ReadOutcome outcome = ReadBytes(decoder_, 40000);
        EXPECT_EQ(outcome.bytes, BytesOf(Slice(pcm_, first, 10000))) << seconds;
        EXPECT_NEAR(decoder_.GetPositionMs(), seconds * 1000.0, 1.0);
    }

    TempFolder folder_;
    const TestPcm pcm_ = MakeNoise(1, kRate, 2, kFrames);
    CFFmpegStreamingDecoder decoder_;
};

}  // namespace

TEST(SeeksDirectly, IntegerPcmDoesWhateverItsPath) {
    for (const AVCodecID codec : {AV_CODEC_ID_PCM_S16LE, AV_CODEC_ID_PCM_S16BE, AV_CODEC_ID_PCM_U8,
                                  AV_CODEC_ID_PCM_S32LE, AV_CODEC_ID_PCM_S24LE}) {
        EXPECT_TRUE(SeeksDirectly(codec, "")) << codec;
    }
}

TEST(SeeksDirectly, OtherCodingsDoByTheEndOfTheirPathAlone) {
    for (const char* path : {".wav", "a.wav", "A.WAV", "a.flac.wAv"}) {
        EXPECT_TRUE(SeeksDirectly(AV_CODEC_ID_FLAC, path)) << path;
    }
    for (const char* path : {"", "wav", "a.wave", "a.wav ", "a.wav/b", "a.flac"}) {
        EXPECT_FALSE(SeeksDirectly(AV_CODEC_ID_FLAC, path)) << path;
        EXPECT_FALSE(SeeksDirectly(AV_CODEC_ID_PCM_F32LE, path)) << path;
    }
}

TEST_F(SampleSeekTest, PositionIsUnknownUntilTheFirstSeek) {
    OpenAs("a.wav", AudioCoding::kWav);
    EXPECT_EQ(decoder_.GetPositionMs(), 0xFFFFFFFFu);
    ASSERT_TRUE(decoder_.Seek(1.5F));
    EXPECT_EQ(decoder_.GetPositionMs(), 1500u);
}

TEST_F(SampleSeekTest, OpeningAgainForgetsThePosition) {
    OpenAs("a.wav", AudioCoding::kWav);
    ASSERT_TRUE(decoder_.Seek(1.5F));
    decoder_.Close();
    ASSERT_TRUE(decoder_.Open(folder_.File("a.wav")));
    EXPECT_EQ(decoder_.GetPositionMs(), 0xFFFFFFFFu);
}

TEST_F(SampleSeekTest, PcmInputIsSoughtToTheSample) {
    OpenAs("a.wav", AudioCoding::kWav);
    for (const float seconds : {0.0F, 3.25F, 0.5F, 5.5F}) ExpectAudioFrom(seconds);
}

TEST_F(SampleSeekTest, CompressedInputIsSoughtToTheSample) {
    OpenAs("a.flac", AudioCoding::kFlac);
    for (const float seconds : {0.0F, 3.7F, 0.123F, 5.5F, 2.0F}) ExpectAudioFrom(seconds);
}

TEST_F(SampleSeekTest, SeekingForgetsWhatWasReadBefore) {
    OpenAs("a.flac", AudioCoding::kFlac);
    uint8_t some[10];
    ASSERT_EQ(decoder_.Read(some, sizeof some), 10);
    ExpectAudioFrom(1.0F);
}

TEST_F(SampleSeekTest, SeeksForwardAndBackAtAnotherRateLandWithinAMillisecond) {
    decoder_.SetOutputSampleRate(48000);
    const std::string path = folder_.File("tone.wav");
    WriteWavFile(path, MakeTone(kRate, 1, kFrames, 100.0));
    ASSERT_TRUE(decoder_.Open(path));
    const TestPcm expected = MakeTone(48000, 1, 48000 * 6, 100.0);
    for (const float seconds : {4.0F, 1.0F}) {
        ASSERT_TRUE(decoder_.Seek(seconds));
        const auto samples = ReadBytes(decoder_, 9600).Samples();
        ASSERT_EQ(samples.size(), 4800u);
        for (size_t i = 100; i < 4700; ++i) {
            const auto first = static_cast<size_t>(seconds * 48000);
            ASSERT_NEAR(samples[i], expected.samples[first + i], 100) << seconds << " " << i;
        }
    }
}

TEST_F(SampleSeekTest, AnUpperCaseWavPathIsSoughtDirectlyWhateverItsCoding) {
    OpenAs("A.WAV", AudioCoding::kFlac);
    ASSERT_TRUE(decoder_.Seek(3.7F));
    // A direct seek lands on the coded frame and reports the target itself.
    EXPECT_EQ(decoder_.GetPositionMs(), 3700u);
    const auto landed = ReadBytes(decoder_, 4000).bytes;
    ASSERT_EQ(landed.size(), 4000u);
    EXPECT_NE(landed, BytesOf(Slice(pcm_, 163170, 1000)));
}

TEST_F(SampleSeekTest, ATargetBeyondTheEndSucceedsAndReadsTheEnd) {
    OpenAs("a.flac", AudioCoding::kFlac);
    EXPECT_TRUE(decoder_.Seek(7.0F));
    uint8_t byte = 0;
    EXPECT_EQ(decoder_.Read(&byte, 1), 0);
}

TEST_F(SampleSeekTest, TargetsThatAreNoNumberAreRefusedAndNothingMoves) {
    OpenAs("a.wav", AudioCoding::kWav);
    for (const float seconds :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
          -std::numeric_limits<float>::infinity()}) {
        EXPECT_EQ(decoder_.Seek(seconds), 0);
        EXPECT_EQ(decoder_.ErrorCode(), kDecoderErrorSeek);
    }
    EXPECT_EQ(decoder_.GetPositionMs(), 0xFFFFFFFFu);
    EXPECT_EQ(ReadToEnd(decoder_).bytes, BytesOf(pcm_));
}

TEST_F(SampleSeekTest, TargetsBeyondAnyTimeStampAreRefused) {
    OpenAs("a.wav", AudioCoding::kWav);
    EXPECT_EQ(decoder_.Seek(std::numeric_limits<float>::max()), 0);
    EXPECT_EQ(decoder_.ErrorCode(), kDecoderErrorSeek);
}

TEST_F(SampleSeekTest, AClosedFileRefusesToSeek) {
    EXPECT_EQ(decoder_.Seek(0.0F), 0);
}

TEST_F(SampleSeekTest, ThePreRollIsTwoSeconds) {
    EXPECT_EQ(decoder_.SeekPreRollMs(), 2000u);
}

TEST_F(SampleSeekTest, LossyInputReachesItsTargets) {
    for (const AudioCoding coding :
         {AudioCoding::kMp3, AudioCoding::kOggVorbis, AudioCoding::kOggOpus}) {
        if (!CanEncode(coding)) continue;
        CFFmpegStreamingDecoder decoder;
        const std::string path = folder_.File("lossy");
        WriteFileBytes(path, EncodeAudio(pcm_, coding));
        ASSERT_TRUE(decoder.Open(path));
        for (const float seconds : {4.5F, 0.75F}) {
            ASSERT_TRUE(decoder.Seek(seconds)) << NameOf(coding);
            EXPECT_NEAR(decoder.GetPositionMs(), seconds * 1000.0, 30.0) << NameOf(coding);
            const double left = static_cast<double>(ReadToEnd(decoder).bytes.size()) / 176400.0;
            EXPECT_NEAR(left, 6.0 - static_cast<double>(seconds), 0.1) << NameOf(coding);
        }
    }
}

}  // namespace receiver
