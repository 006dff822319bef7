#include "audio_output/audio_encoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>

#include "audio/ffmpeg_streaming_decoder.h"
#include "testing/audio_generator.h"
#include "testing/pcm_reading.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"
#include "unit/tools/audio_output/fake_sink.h"

namespace receiver {
namespace {

constexpr size_t kFrames = 100000;

uint32_t LittleEndian32(const std::string& bytes, size_t at) {
    uint32_t value = 0;
    std::memcpy(&value, bytes.data() + at, sizeof(value));
    return value;
}

uint64_t LittleEndian64(const std::string& bytes, size_t at) {
    uint64_t value = 0;
    std::memcpy(&value, bytes.data() + at, sizeof(value));
    return value;
}

// Where a RIFF chunk's content begins.
size_t ChunkAt(const std::string& wav, const std::string& id) {
    for (size_t at = 12; at + 8 <= wav.size(); at += 8 + LittleEndian32(wav, at + 4)) {
        if (wav.compare(at, 4, id) == 0) return at + 8;
    }
    return std::string::npos;
}

class AudioEncoderTest : public testing::Test {
protected:
    std::vector<int16_t> Decode(const std::string& bytes, const std::string& extension,
                                uint32_t rate = 44100) {
        const std::string path = folder_.File("decoded" + extension);
        WriteFileBytes(path, bytes);
        CFFmpegStreamingDecoder decoder;
        decoder.SetOutputSampleRate(rate);
        EXPECT_TRUE(decoder.Open(path)) << decoder.ErrorCode();
        return ReadToEnd(decoder).Samples();
    }
    // In pieces of odd sizes, as they come from a pipe.
    static bool WriteAll(AudioEncoder& encoder, const TestPcm& pcm) {
        size_t piece = 1;
        for (size_t at = 0; at < pcm.Frames(); at += piece) {
            piece = std::min(at * 2 + 1, pcm.Frames() - at) % 20000 + 1;
            piece = std::min(piece, pcm.Frames() - at);
            const auto* const from = pcm.samples.data() + at * static_cast<size_t>(pcm.channels);
            if (!encoder.Write(from, piece)) return false;
        }
        return true;
    }

    static std::string Encode(const OutputFormat& format, const TestPcm& pcm) {
        FakeSink sink;
        AudioEncoder encoder(format, static_cast<uint32_t>(pcm.rate),
                             static_cast<uint16_t>(pcm.channels), {}, sink);
        EXPECT_TRUE(WriteAll(encoder, pcm));
        EXPECT_TRUE(encoder.Finish()) << encoder.FailureText();
        return sink.Bytes();
    }

    TempFolder folder_;
    FakeSink sink_;
};

}  // namespace

TEST_F(AudioEncoderTest, LosslessFormatsGiveBackEverySample) {
    for (const int channels : {1, 2}) {
        for (const char* extension : {".wav", ".flac"}) {
            const TestPcm pcm = MakeNoise(1, 44100, channels, kFrames);
            FakeSink sink;
            AudioEncoder encoder(OutputFormatFor(std::string("x") + extension), 44100,
                                 static_cast<uint16_t>(channels), {}, sink);
            ASSERT_TRUE(WriteAll(encoder, pcm));
            ASSERT_TRUE(encoder.Finish()) << encoder.FailureText();
            EXPECT_EQ(Decode(sink.Bytes(), extension), pcm.samples) << extension << channels;
        }
    }
}

TEST_F(AudioEncoderTest, LossyFormatsKeepTheLengthAndTheLevel) {
    for (const char* extension : {".opus", ".ogg", ".mp3", ".m4a"}) {
        if (SupportedExtensions().find(extension) == std::string::npos) continue;
        const TestPcm pcm = MakeTone(44100, 2, kFrames, 1000);
        FakeSink sink;
        AudioEncoder encoder(OutputFormatFor(std::string("x") + extension), 44100, 2, {}, sink);
        ASSERT_TRUE(WriteAll(encoder, pcm));
        ASSERT_TRUE(encoder.Finish()) << encoder.FailureText();
        const std::vector<int16_t> decoded = Decode(sink.Bytes(), extension);
        EXPECT_NEAR(static_cast<double>(decoded.size()) / 2, kFrames, 2500) << extension;
        double energy = 0;
        for (const int16_t sample : decoded) energy += static_cast<double>(sample) * sample;
        // A sine of half the full scale.
        EXPECT_NEAR(std::sqrt(energy / static_cast<double>(decoded.size())), 16384 / std::sqrt(2),
                    1200)
            << extension;
    }
}

TEST_F(AudioEncoderTest, TheFileHasTheBitRateThatWasChosen) {
    constexpr int kSeconds = 10;
    const TestPcm pcm = MakeNoise(1, 44100, 2, size_t{44100} * kSeconds);
    for (const char* extension : {".opus", ".ogg", ".mp3", ".m4a"}) {
        if (SupportedExtensions().find(extension) == std::string::npos) continue;
        for (const int kbits : {64, 96, 160}) {
            OutputFormat format = OutputFormatFor(std::string("x") + extension);
            format.bitRate = int64_t{1000} * kbits;
            const double found = static_cast<double>(Encode(format, pcm).size()) * 8 / kSeconds;
            EXPECT_NEAR(found / 1000, kbits, kbits * 0.25) << extension;
        }
    }
}

TEST_F(AudioEncoderTest, EveryBitRateThatMayBeChosenCanBeEncoded) {
    for (const char* extension : {".opus", ".ogg", ".mp3", ".m4a"}) {
        if (SupportedExtensions().find(extension) == std::string::npos) continue;
        OutputFormat format = OutputFormatFor(std::string("x") + extension);
        for (const int kbits : {format.range.leastKbits, format.range.mostKbits}) {
            format.bitRate = int64_t{1000} * kbits;
            for (const int rate : {44100, 48000}) {
                for (const int channels : {1, 2}) {
                    const std::string bytes = Encode(format, MakeMusic(1, rate, channels, kFrames));
                    EXPECT_NEAR(static_cast<double>(Decode(bytes, extension, rate).size()),
                                static_cast<double>(kFrames * channels), 5000)
                        << extension << kbits << " " << rate << " " << channels;
                }
            }
        }
    }
}

TEST_F(AudioEncoderTest, ABetterQualityTakesMoreBytes) {
    const TestPcm pcm = MakeMusic(1, 44100, 2, 44100 * 5);
    OutputFormat format = OutputFormatFor("x.mp3");
    ASSERT_TRUE(format.range.HasQualities());
    size_t before = std::numeric_limits<size_t>::max();
    for (int quality = format.range.bestQuality; quality <= format.range.worstQuality;
         quality += 3) {
        format.quality = quality;
        const std::string bytes = Encode(format, pcm);
        EXPECT_LT(bytes.size(), before) << quality;
        EXPECT_GT(Decode(bytes, ".mp3").size(), pcm.samples.size() * 9 / 10);
        before = bytes.size();
    }
}

TEST_F(AudioEncoderTest, AnEmptyRecordingIsAValidFile) {
    AudioEncoder encoder(WavFormat(), 44100, 2, {}, sink_);
    EXPECT_TRUE(encoder.Finish());
    EXPECT_TRUE(Decode(sink_.Bytes(), ".wav").empty());
}

TEST_F(AudioEncoderTest, TheWavHeadTellsTheSizesOfWhatIsThere) {
    const TestPcm pcm = MakeNoise(1, 44100, 2, 1000);
    AudioEncoder encoder(WavFormat(), 44100, 2, {{"comment", "from a test"}}, sink_);
    ASSERT_TRUE(WriteAll(encoder, pcm));
    ASSERT_TRUE(encoder.Finish());
    const std::string wav = sink_.Bytes();
    EXPECT_EQ(wav.substr(0, 4), "RIFF");
    EXPECT_EQ(LittleEndian32(wav, 4), wav.size() - 8);
    EXPECT_EQ(LittleEndian32(wav, ChunkAt(wav, "data") - 4), pcm.Bytes());
    EXPECT_NE(wav.find("from a test"), std::string::npos);
}

// The samples beyond the head are only counted, so that the test needs no disk.
TEST_F(AudioEncoderTest, AWavFileAbove4GiBIsRf64WithItsTrueSizes) {
    constexpr uint64_t kBigFrames = (1ULL << 32) / 4 + 100000;
    sink_.KeepOnly(1 << 20);
    AudioEncoder encoder(WavFormat(), 44100, 2, {}, sink_);
    const TestPcm pcm = MakeSilence(44100, 2, 1 << 20);
    for (uint64_t written = 0; written < kBigFrames;) {
        const auto piece =
            static_cast<size_t>(std::min<uint64_t>(pcm.Frames(), kBigFrames - written));
        ASSERT_TRUE(encoder.Write(pcm.samples.data(), piece));
        written += piece;
    }
    ASSERT_TRUE(encoder.Finish());
    const std::string head = sink_.Bytes();
    EXPECT_EQ(head.substr(0, 4), "RF64");
    const size_t ds64 = ChunkAt(head, "ds64");
    ASSERT_NE(ds64, std::string::npos);
    EXPECT_EQ(LittleEndian64(head, ds64), sink_.Size() - 8);
    EXPECT_EQ(LittleEndian64(head, ds64 + 8), kBigFrames * 4);
}

TEST_F(AudioEncoderTest, WavForAPipeNeedsNoSeeking) {
    sink_.SetSeekable(false);
    const TestPcm pcm = MakeNoise(1, 44100, 2, kFrames);
    AudioEncoder encoder(WavFormat(), 44100, 2, {}, sink_);
    ASSERT_TRUE(WriteAll(encoder, pcm));
    ASSERT_TRUE(encoder.Finish());
    EXPECT_EQ(Decode(sink_.Bytes(), ".wav"), pcm.samples);
}

// Whenever the disk becomes full, the file is closed with whole packets of what came
// before, and its head does not promise more.
TEST_F(AudioEncoderTest, AFullDiskLeavesAPlayableFileWithWhatFitted) {
    const TestPcm pcm = MakeNoise(1, 44100, 2, kFrames);
    for (const char* extension : {".wav", ".flac"}) {
        for (const uint64_t capacity : {60000, 100001, 250003, 300000}) {
            FakeSink sink;
            sink.SetCapacity(capacity);
            AudioEncoder encoder(OutputFormatFor(std::string("x") + extension), 44100, 2, {}, sink);
            EXPECT_FALSE(WriteAll(encoder, pcm) && encoder.FailureText().empty());
            EXPECT_TRUE(encoder.Finish());
            EXPECT_EQ(encoder.FailureText(), "No space left");
            const std::string bytes = sink.Bytes();
            EXPECT_LE(bytes.size(), capacity);
            const std::vector<int16_t> decoded = Decode(bytes, extension);
            EXPECT_GT(decoded.size() * 2, capacity / 2) << extension << capacity;
            ASSERT_LE(decoded.size(), pcm.samples.size());
            EXPECT_TRUE(std::equal(decoded.begin(), decoded.end(), pcm.samples.begin()));
            if (bytes.substr(0, 4) == "RIFF") {
                EXPECT_EQ(LittleEndian32(bytes, 4), bytes.size() - 8);
            }
        }
    }
}

TEST_F(AudioEncoderTest, AFullDiskLeavesPlayableLossyFiles) {
    const TestPcm pcm = MakeMusic(1, 44100, 2, 44100 * 20);
    for (const char* extension : {".opus", ".ogg", ".mp3", ".m4a"}) {
        if (SupportedExtensions().find(extension) == std::string::npos) continue;
        FakeSink sink;
        sink.SetCapacity(300000);
        AudioEncoder encoder(OutputFormatFor(std::string("x") + extension), 44100, 2, {}, sink);
        EXPECT_FALSE(WriteAll(encoder, pcm));
        encoder.Finish();
        EXPECT_GT(Decode(sink.Bytes(), extension).size(), 44100u * 2 * 5) << extension;
    }
}

TEST_F(AudioEncoderTest, ADiskWithoutRoomForTheHeadIsAnErrorAtOnce) {
    sink_.SetCapacity(10);
    EXPECT_THROW(AudioEncoder(WavFormat(), 44100, 2, {}, sink_), std::runtime_error);
}

}  // namespace receiver
