#include "audio/ffmpeg_streaming_decoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "audio/ffmpeg.h"
#include "testing/audio_encoder.h"
#include "testing/pcm_reading.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

class DecoderTest : public testing::Test {
protected:
    std::string Write(const std::string& name, const std::string& bytes) {
        const std::string path = folder_.File(name);
        WriteFileBytes(path, bytes);
        return path;
    }

    std::vector<uint8_t> Decode(const std::string& path, const std::vector<uint32_t>& pieces) {
        CFFmpegStreamingDecoder decoder;
        EXPECT_TRUE(decoder.Open(path)) << decoder.ErrorCode();
        const ReadOutcome outcome = ReadToEnd(decoder, pieces);
        EXPECT_EQ(outcome.last, 0);
        EXPECT_FALSE(outcome.overrun);
        return outcome.bytes;
    }

    TempFolder folder_;
    CFFmpegStreamingDecoder decoder_;
};

// Its input is refused before anything is opened.
class RefusingDecoder final : public CFFmpegStreamingDecoder {
protected:
    int ConfigureInput(AVFormatContext*, AVDictionary** options) override {
        av_dict_set(options, "unused", "1", 0);
        return AVERROR(EINVAL);
    }
};

// The duration that a constant-rate MP3 claims in its first frame becomes a tenth.
std::string ClaimTenthOfDuration(std::string mp3) {
    const size_t tag = mp3.find("Info");
    EXPECT_NE(tag, std::string::npos);
    uint32_t frames = 0;
    for (size_t i = 0; i < 4; ++i) frames = frames << 8 | static_cast<uint8_t>(mp3[tag + 8 + i]);
    frames /= 10;
    for (size_t i = 0; i < 4; ++i) mp3[tag + 8 + i] = static_cast<char>(frames >> (24 - 8 * i));
    return mp3;
}

void PatchLittleEndian(std::string& bytes, size_t offset, uint32_t value, size_t width) {
    for (size_t i = 0; i < width; ++i) bytes[offset + i] = static_cast<char>(value >> (8 * i));
}

}  // namespace

TEST_F(DecoderTest, LosslessFilesComeBackSampleForSample) {
    for (const int channels : {1, 2}) {
        const TestPcm pcm = MakeNoise(1, 44100, channels, 44100);
        for (const AudioCoding coding : kAllAudioCodings) {
            if (!IsLossless(coding) || !CanEncode(coding)) continue;
            const std::string path = Write("lossless", EncodeAudio(pcm, coding));
            EXPECT_EQ(Decode(path, {65536}), BytesOf(pcm)) << NameOf(coding) << channels;
        }
    }
}

TEST_F(DecoderTest, WavFilesOfEveryWidthGiveTheir16UpperBits) {
    const TestPcm pcm = MakeNoise(2, 44100, 2, 5000);
    EXPECT_EQ(Decode(Write("a24.wav", WavBytes(pcm, 24)), {65536}), BytesOf(pcm));
    EXPECT_EQ(Decode(Write("a32.wav", WavBytes(pcm, 32)), {65536}), BytesOf(pcm));
    TestPcm upper = pcm;
    for (int16_t& sample : upper.samples) sample = static_cast<int16_t>(sample & ~0xFF);
    EXPECT_EQ(Decode(Write("a8.wav", WavBytes(pcm, 8)), {65536}), BytesOf(upper));
}

TEST_F(DecoderTest, OddPiecesGiveTheSamePcmForEveryCoding) {
    const TestPcm pcm = MakeMusic(3, 48000, 2, 48000);
    for (const AudioCoding coding : kAllAudioCodings) {
        if (!CanEncode(coding)) continue;
        const std::string path = Write("odd", EncodeAudio(pcm, coding));
        const auto whole = Decode(path, {1 << 20});
        EXPECT_GT(whole.size(), 40000u * 4) << NameOf(coding);
        EXPECT_EQ(Decode(path, {1, 7, 4096, 3, 20001}), whole) << NameOf(coding);
    }
}

TEST_F(DecoderTest, ARequestBelowOneFrameIsAnsweredExactlyAndTheRestKept) {
    const TestPcm pcm = MakeNoise(4, 44100, 2, 20000);
    ASSERT_TRUE(decoder_.Open(Write("a.flac", EncodeAudio(pcm, AudioCoding::kFlac))));
    std::vector<uint8_t> bytes(24);
    ASSERT_EQ(decoder_.Read(bytes.data(), 8), 8);
    ASSERT_EQ(decoder_.Read(bytes.data() + 8, 16), 16);
    EXPECT_EQ(std::memcmp(bytes.data(), pcm.samples.data(), bytes.size()), 0);
}

// Left out like a damaged one, a frame would be missing in the middle of what is served as whole.
TEST_F(DecoderTest, AFrameThatThereIsNoMemoryForFailsTheReadForGood) {
    constexpr size_t kLessThanAFrame = 4096;  // bytes, and more than a packet of silence
    ASSERT_TRUE(decoder_.Open(
        Write("a.flac", EncodeAudio(MakeSilence(44100, 2, 44100), AudioCoding::kFlac))));
    std::vector<uint8_t> bytes(65536);
    av_max_alloc(kLessThanAFrame);
    EXPECT_EQ(decoder_.Read(bytes.data(), 65536), -1);
    av_max_alloc(INT_MAX);
    EXPECT_EQ(decoder_.Read(bytes.data(), 65536), -1);
    ASSERT_TRUE(decoder_.Seek(0.0F));
    EXPECT_EQ(decoder_.Read(bytes.data(), 65536), 65536);
}

TEST_F(DecoderTest, TheEndGivesTheRemainingBytesAndThenZero) {
    const TestPcm pcm = MakeNoise(5, 44100, 2, 1000);
    ASSERT_TRUE(decoder_.Open(Write("a.wav", WavBytes(pcm))));
    std::vector<uint8_t> bytes(65536);
    EXPECT_EQ(decoder_.Read(bytes.data(), 65536), 4000);
    EXPECT_EQ(decoder_.Read(bytes.data(), 65536), 0);
    EXPECT_EQ(decoder_.Read(bytes.data(), 65536), 0);
}

TEST_F(DecoderTest, ReadRefusesANullBufferACountOfZeroAndAClosedFile) {
    uint8_t byte = 0;
    EXPECT_EQ(decoder_.Read(&byte, 1), -1);
    ASSERT_TRUE(decoder_.Open(Write("a.wav", WavBytes(MakeNoise(6, 44100, 1, 100)))));
    EXPECT_EQ(decoder_.Read(nullptr, 1), -1);
    EXPECT_EQ(decoder_.Read(&byte, 0), -1);
}

TEST_F(DecoderTest, TheOutputHasTheRateAskedForAndTheSourcesChannels) {
    decoder_.SetOutputSampleRate(22050);
    ASSERT_TRUE(decoder_.Open(Write("a.wav", WavBytes(MakeTone(44100, 1, 44100, 440.0)))));
    const WAVEFORMATEX* format = nullptr;
    ASSERT_EQ(decoder_.GetFormat(&format), 0u);
    EXPECT_EQ(+format->wFormatTag, 1);
    EXPECT_EQ(+format->nChannels, 1);
    EXPECT_EQ(+format->nSamplesPerSec, 22050u);
    EXPECT_EQ(+format->wBitsPerSample, 16);
    EXPECT_EQ(+format->nBlockAlign, 2);
    EXPECT_EQ(+format->nAvgBytesPerSec, 44100u);
    EXPECT_EQ(+format->cbSize, 0);
    const auto samples = ReadToEnd(decoder_).Samples();
    EXPECT_NEAR(static_cast<double>(samples.size()), 22050.0, 32.0);
    const TestPcm expected = MakeTone(22050, 1, 22050, 440.0);
    for (size_t i = 100; i < 21900; ++i) ASSERT_NEAR(samples[i], expected.samples[i], 40) << i;
}

TEST_F(DecoderTest, ARateOf0IsTheSources) {
    decoder_.SetOutputSampleRate(0);
    const TestPcm pcm = MakeNoise(8, 32000, 2, 5000);
    ASSERT_TRUE(decoder_.Open(Write("a.wav", WavBytes(pcm))));
    const WAVEFORMATEX* format = nullptr;
    ASSERT_EQ(decoder_.GetFormat(&format), 0u);
    EXPECT_EQ(format->nSamplesPerSec, 32000u);
    EXPECT_EQ(ReadToEnd(decoder_).Samples(), pcm.samples);
}

TEST_F(DecoderTest, MonoIsCopiedToTheChannelsAskedFor) {
    const TestPcm mono = MakeTone(44100, 1, 5000, 440);
    decoder_.SetOutputChannels(2);
    ASSERT_TRUE(decoder_.Open(Write("a.wav", WavBytes(mono))));
    const WAVEFORMATEX* format = nullptr;
    ASSERT_EQ(decoder_.GetFormat(&format), 0u);
    EXPECT_EQ(+format->nChannels, 2);
    EXPECT_EQ(+format->nBlockAlign, 4);
    const auto samples = ReadToEnd(decoder_).Samples();
    ASSERT_EQ(samples.size(), 10000u);
    for (size_t i = 0; i < 5000; ++i) {
        ASSERT_EQ(samples[2 * i], samples[2 * i + 1]) << i;
        ASSERT_EQ(samples[2 * i], mono.samples[i]) << i;
    }
}

TEST_F(DecoderTest, AnOutputOf8BitsIsUnsignedWithItsSilenceAt0x80) {
    decoder_.SetOutputBitsPerSample(8);
    TestPcm pcm{44100, 2, {0, 0, 0x4000, -0x4000}};
    ASSERT_TRUE(decoder_.Open(Write("a.wav", WavBytes(pcm))));
    EXPECT_EQ(ReadToEnd(decoder_).bytes, (std::vector<uint8_t>{0x80, 0x80, 0xC0, 0x40}));
    uint8_t frame[3] = {1, 1, 1};
    decoder_.FillSilence(frame);
    EXPECT_EQ(frame[0], 0x80);
    EXPECT_EQ(frame[1], 0x80);
    EXPECT_EQ(frame[2], 1);
}

TEST_F(DecoderTest, AnOutputOf32BitsHoldsTheSamplesAtTheTop) {
    decoder_.SetOutputBitsPerSample(32);
    const TestPcm pcm = MakeNoise(7, 44100, 1, 100);
    ASSERT_TRUE(decoder_.Open(Write("a.wav", WavBytes(pcm))));
    const auto bytes = ReadToEnd(decoder_).bytes;
    ASSERT_EQ(bytes.size(), 400u);
    for (size_t i = 0; i < 100; ++i) {
        int32_t sample = 0;
        std::memcpy(&sample, bytes.data() + 4 * i, 4);
        ASSERT_EQ(sample, pcm.samples[i] * 65536);
    }
}

TEST_F(DecoderTest, SilenceOf16BitsIsZeroAndWantsAnOpenFileAndABuffer) {
    uint8_t frame[5] = {1, 1, 1, 1, 1};
    decoder_.FillSilence(frame);
    EXPECT_EQ(frame[0], 1);
    ASSERT_TRUE(decoder_.Open(Write("a.wav", WavBytes(MakeNoise(8, 44100, 2, 10)))));
    decoder_.FillSilence(nullptr);
    decoder_.FillSilence(frame);
    EXPECT_EQ(std::vector<uint8_t>(frame, frame + 5), (std::vector<uint8_t>{0, 0, 0, 0, 1}));
}

TEST_F(DecoderTest, OpenOnAnOpenFileFailsAndLeavesItPlaying) {
    const TestPcm pcm = MakeNoise(9, 44100, 2, 3000);
    const std::string path = Write("a.wav", WavBytes(pcm));
    ASSERT_TRUE(decoder_.Open(path));
    EXPECT_EQ(decoder_.Open(folder_.File("missing")), 0);
    EXPECT_EQ(decoder_.ErrorCode(), 0u);
    EXPECT_EQ(ReadToEnd(decoder_).bytes, BytesOf(pcm));
}

TEST_F(DecoderTest, AClosedFileCanBeOpenedAgainAndStartsAnew) {
    const TestPcm pcm = MakeNoise(10, 44100, 2, 3000);
    const std::string path = Write("a.flac", EncodeAudio(pcm, AudioCoding::kFlac));
    ASSERT_TRUE(decoder_.Open(path));
    uint8_t some[100];
    ASSERT_EQ(decoder_.Read(some, sizeof some), 100);
    EXPECT_EQ(decoder_.Close(), 1);
    EXPECT_EQ(decoder_.Close(), 1);
    EXPECT_FALSE(decoder_.IsOpen());
    ASSERT_TRUE(decoder_.Open(path));
    EXPECT_EQ(ReadToEnd(decoder_).bytes, BytesOf(pcm));
}

TEST_F(DecoderTest, APathBeyondAsciiIsOpened) {
    const TestPcm pcm = MakeNoise(11, 44100, 1, 100);
    const std::string path = (folder_.Path() / u8"Grüße 音.wav").string();
    WriteWavFile(path, pcm);
    EXPECT_EQ(Decode(path, {65536}), BytesOf(pcm));
}

TEST_F(DecoderTest, AMissingFileFailsWith256) {
    EXPECT_EQ(decoder_.Open(folder_.File("missing.wav")), 0);
    EXPECT_EQ(decoder_.ErrorCode(), kDecoderErrorOpen);
    EXPECT_FALSE(decoder_.IsOpen());
}

TEST_F(DecoderTest, ATextFileFailsWith256) {
    std::string text;
    for (int i = 0; i < 200; ++i) text += "A line of prose that is no audio at all.\n";
    EXPECT_EQ(decoder_.Open(Write("prose.bin", text)), 0);
    EXPECT_EQ(decoder_.ErrorCode(), kDecoderErrorOpen);
}

std::string MatroskaElement(const std::string& id, const std::string& content) {
    const auto high = static_cast<char>(0x40 | content.size() >> 8);  // a length of two bytes
    return id + high + static_cast<char>(content.size()) + content;
}

// One track, type 1 for video and 2 for audio, and one block of it.
std::string MatroskaFile(char type, const std::string& codec, const std::string& details) {
    const std::string track =
        MatroskaElement("\xD7", "\x01") + MatroskaElement("\x73\xC5", "\x01") +
        MatroskaElement("\x83", std::string(1, type)) + MatroskaElement("\x86", codec) + details;
    const std::string block("\x81\0\0\x80some bytes", 14);
    return MatroskaElement("\x1A\x45\xDF\xA3", MatroskaElement("\x42\x82", "matroska")) +
           MatroskaElement("\x18\x53\x80\x67",
                           MatroskaElement("\x16\x54\xAE\x6B", MatroskaElement("\xAE", track)) +
                               MatroskaElement("\x1F\x43\xB6\x75",
                                               MatroskaElement("\xE7", std::string(1, '\0')) +
                                                   MatroskaElement("\xA3", block)));
}

TEST_F(DecoderTest, AnEmptyFileFailsWith256) {
    EXPECT_EQ(decoder_.Open(Write("empty", "")), 0);
    EXPECT_EQ(decoder_.ErrorCode(), kDecoderErrorOpen);
}

TEST_F(DecoderTest, ARefusedConfigurationFailsWith256) {
    RefusingDecoder decoder;
    EXPECT_EQ(decoder.Open(Write("a.wav", WavBytes(MakeNoise(12, 44100, 1, 100)))), 0);
    EXPECT_EQ(decoder.ErrorCode(), kDecoderErrorOpen);
}

TEST_F(DecoderTest, AVideoOnlyFileFailsWith257) {
    const std::string size = MatroskaElement("\xB0", "\x10") + MatroskaElement("\xBA", "\x10");
    const std::string video = MatroskaFile(1, "V_MJPEG", MatroskaElement("\xE0", size));
    EXPECT_EQ(decoder_.Open(Write("a.mkv", video)), 0);
    EXPECT_EQ(decoder_.ErrorCode(), kDecoderErrorNoAudio);
}

TEST_F(DecoderTest, ACodingThatFfmpegDoesNotKnowFailsWith258) {
    std::string wav = WavBytes(MakeNoise(13, 44100, 1, 4000));
    PatchLittleEndian(wav, 20, 0x1234, 2);
    EXPECT_EQ(decoder_.Open(Write("a.bin", wav)), 0);
    EXPECT_EQ(decoder_.ErrorCode(), kDecoderErrorCodec);
}

TEST_F(DecoderTest, ADecoderThatRefusesTheParametersFailsWith260) {
    // Vorbis without the headers that its decoder is set up from; 8000 Hz, one channel.
    const std::string format =
        MatroskaElement("\xB5", std::string("\x45\xFA\0\0", 4)) + MatroskaElement("\x9F", "\x01");
    const std::string audio = MatroskaFile(2, "A_VORBIS", MatroskaElement("\xE1", format));
    EXPECT_EQ(decoder_.Open(Write("a.mkv", audio)), 0);
    EXPECT_EQ(decoder_.ErrorCode(), kDecoderErrorCodecOpen);
}

TEST_F(DecoderTest, ARateThatNoAudioHasFailsWith261) {
    std::string wav = WavBytes(MakeNoise(15, 44100, 1, 4000));
    PatchLittleEndian(wav, 24, 3, 4);
    EXPECT_EQ(decoder_.Open(Write("slow.wav", wav)), 0);
    EXPECT_EQ(decoder_.ErrorCode(), kDecoderErrorResampler);
    PatchLittleEndian(wav, 24, 500000000, 4);
    EXPECT_EQ(decoder_.Open(Write("fast.wav", wav)), 0);
    EXPECT_EQ(decoder_.ErrorCode(), kDecoderErrorResampler);
}

TEST_F(DecoderTest, AFailedOpenCanBeFollowedByAGoodOne) {
    const TestPcm pcm = MakeNoise(16, 44100, 1, 100);
    ASSERT_EQ(decoder_.Open(folder_.File("missing.wav")), 0);
    ASSERT_TRUE(decoder_.Open(Write("a.wav", WavBytes(pcm))));
    EXPECT_EQ(decoder_.ErrorCode(), 0u);
    EXPECT_EQ(ReadToEnd(decoder_).bytes, BytesOf(pcm));
}

// Joined files make the decoder change rate and channels in the middle.
TEST_F(DecoderTest, AStreamThatChangesItsRateAndChannelsKeepsTheOutputFormat) {
    if (!CanEncode(AudioCoding::kAacAdts)) GTEST_SKIP() << "no AAC encoder here";
    const std::string joined = EncodeAudio(MakeMusic(17, 44100, 2, 44100), AudioCoding::kAacAdts) +
                               EncodeAudio(MakeMusic(18, 22050, 1, 22050), AudioCoding::kAacAdts);
    ASSERT_TRUE(decoder_.Open(Write("joined.aac", joined)));
    const ReadOutcome outcome = ReadToEnd(decoder_, {4096});
    EXPECT_EQ(outcome.last, 0);
    EXPECT_NEAR(static_cast<double>(outcome.bytes.size()) / 176400.0, 2.0, 0.25);
    // The end is the mono part: something is to be heard, on both sides the same.
    const std::vector<int16_t> samples = outcome.Samples();
    int loudest = 0;
    for (size_t i = samples.size() - 22050; i < samples.size(); i += 2) {
        ASSERT_EQ(samples[i], samples[i + 1]) << i;
        loudest = std::max(loudest, std::abs(samples[i]));
    }
    EXPECT_GT(loudest, 1000);
}

TEST_F(DecoderTest, AChainedOggStreamPlaysOn) {
    const std::string first = EncodeAudio(MakeMusic(19, 44100, 2, 44100), AudioCoding::kOggVorbis);
    const std::string second = EncodeAudio(MakeMusic(20, 44100, 2, 44100), AudioCoding::kOggVorbis);
    const auto firstAlone = Decode(Write("first.ogg", first), {65536});
    const auto secondAlone = Decode(Write("second.ogg", second), {65536});
    constexpr std::ptrdiff_t kHalfSecond = 4 * 22050;
    ASSERT_GT(std::min(firstAlone.size(), secondAlone.size()), size_t{kHalfSecond});
    ASSERT_TRUE(decoder_.Open(Write("joined.ogg", first + second)));
    const ReadOutcome outcome = ReadToEnd(decoder_, {4096});
    EXPECT_EQ(outcome.last, 0);
    // What the first link ends with and the second begins with overlap in the coding.
    constexpr double kSlackBytes = 4 * 2048;
    ASSERT_NEAR(static_cast<double>(outcome.bytes.size()),
                static_cast<double>(firstAlone.size() + secondAlone.size()), kSlackBytes);
    EXPECT_TRUE(
        std::equal(firstAlone.begin(), firstAlone.begin() + kHalfSecond, outcome.bytes.begin()));
    EXPECT_TRUE(std::equal(secondAlone.end() - kHalfSecond, secondAlone.end(),
                           outcome.bytes.end() - kHalfSecond));
}

TEST_F(DecoderTest, DamagedPacketsAreLeftOutAndTheStreamGoesOn) {
    std::string mp3 = EncodeAudio(MakeMusic(21, 44100, 2, 44100 * 3), AudioCoding::kMp3);
    std::fill_n(mp3.begin() + static_cast<std::ptrdiff_t>(mp3.size() / 2), 2000, '\x55');
    ASSERT_TRUE(decoder_.Open(Write("damaged.mp3", mp3)));
    const ReadOutcome outcome = ReadToEnd(decoder_);
    EXPECT_EQ(outcome.last, 0);
    EXPECT_GT(outcome.bytes.size(), 176400u * 5 / 2);
}

TEST_F(DecoderTest, TheLengthIsTheContainersDuration) {
    ASSERT_TRUE(decoder_.Open(Write("a.wav", WavBytes(MakeNoise(22, 44100, 2, 44100 * 3 / 2)))));
    AudioFileInfo info{};
    ASSERT_EQ(decoder_.GetInfo(&info), 1);
    EXPECT_EQ(info.lengthBytes, 264600u);
    EXPECT_EQ(info.wholeSeconds, 1u);
    EXPECT_EQ(info.milliseconds, 500);
}

TEST_F(DecoderTest, ADurationFarTooShortForTheFileIsMeasured) {
    const TestPcm pcm = MakeMusic(23, 44100, 2, 44100 * 10);
    const std::string mp3 = ClaimTenthOfDuration(EncodeAudio(pcm, AudioCoding::kMp3));
    ASSERT_TRUE(decoder_.Open(Write("short.mp3", mp3)));
    AudioFileInfo info{};
    ASSERT_EQ(decoder_.GetInfo(&info), 1);
    EXPECT_EQ(info.wholeSeconds, 10u);
    EXPECT_GT(ReadToEnd(decoder_).bytes.size(), 176400u * 9);
}

TEST_F(DecoderTest, AnExactLengthIsMeasuredAndReadingStartsAtTheBeginning) {
    const TestPcm pcm = MakeNoise(24, 44100, 2, 44100);
    decoder_.SetExactLength(true);
    ASSERT_TRUE(decoder_.Open(Write("a.flac", EncodeAudio(pcm, AudioCoding::kFlac))));
    AudioFileInfo info{};
    ASSERT_EQ(decoder_.GetInfo(&info), 1);
    EXPECT_EQ(info.lengthBytes, pcm.Bytes());
    EXPECT_EQ(ReadToEnd(decoder_).bytes, BytesOf(pcm));
}

}  // namespace receiver
