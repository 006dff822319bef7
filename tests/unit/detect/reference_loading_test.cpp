#include "detect/reference_loading.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <vector>

#include "testing/audio_encoder.h"
#include "testing/audio_generator.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"
#include "whole_buffer_words.h"

namespace receiver {
namespace {

class ReferenceLoadingTest : public testing::Test {
protected:
    std::string Wav(const TestPcm& pcm) {
        const std::string path = folder_.File("reference.wav");
        WriteWavFile(path, pcm);
        return path;
    }
    std::string Bytes(std::string_view bytes) {
        const std::string path = folder_.File("reference.bin");
        WriteFileBytes(path, bytes);
        return path;
    }
    static void ExpectFailure(const std::string& path, const char* message,
                              const std::function<bool()>& stopRequested = {}) {
        try {
            LoadReference(path, stopRequested);
            FAIL() << "loaded, where \"" << message << "\" was due";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), message);
        }
    }

    TempFolder folder_;
};

TEST_F(ReferenceLoadingTest, AcceptsSixteenWords) {
    const ReferenceFingerprint reference = LoadReference(Wav(MakeMusic(1, 22050, 1, 12326)));
    EXPECT_EQ(reference.words.size(), 16u);
    EXPECT_EQ(reference.sampleCount, 12326u);
}

TEST_F(ReferenceLoadingTest, RefusesFifteenWords) {
    ExpectFailure(Wav(MakeMusic(1, 22050, 1, 12325)), "Reference too short");
}

TEST_F(ReferenceLoadingTest, TakesAWordPerHopAndOnlyWholeFrames) {
    const TestPcm pcm = MakeMusic(2, 22050, 1, 50000);
    const ReferenceFingerprint reference = LoadReference(Wav(pcm));
    EXPECT_EQ(reference.words, WholeFrameWords(pcm.samples));
}

TEST_F(ReferenceLoadingTest, MixesChannelsDownTowardZero) {
    TestPcm stereo{22050, 2, {}};
    for (int frame = 0; frame < 20000; ++frame) {
        stereo.samples.push_back(1);
        stereo.samples.push_back(-2);
    }
    const ReferenceFingerprint silence = LoadReference(Wav(MakeSilence(22050, 1, 20000)));
    EXPECT_EQ(LoadReference(Wav(stereo)).words, silence.words);
}

// What the reads of 65536 bytes leave of the audio: whole frames each, from the read's
// first byte on.
std::vector<int16_t> MixedReadByRead(const TestPcm& pcm) {
    constexpr size_t kReadSamples = 65536 / sizeof(int16_t);
    const auto channels = static_cast<size_t>(pcm.channels);
    std::vector<int16_t> mono;
    for (size_t first = 0; first < pcm.samples.size(); first += kReadSamples) {
        const size_t count = std::min(kReadSamples, pcm.samples.size() - first) / channels;
        const auto begin = pcm.samples.begin() + static_cast<std::ptrdiff_t>(first);
        const TestPcm read{
            pcm.rate, pcm.channels, {begin, begin + static_cast<std::ptrdiff_t>(count * channels)}};
        const std::vector<int16_t> mixed = MixedByDefinition(read);
        mono.insert(mono.end(), mixed.begin(), mixed.end());
    }
    return mono;
}

TEST_F(ReferenceLoadingTest, GivesTheWordsOfTheWholeAtAnyChannelCount) {
    for (int channels = 1; channels <= 8; ++channels) {
        const TestPcm pcm = MakeMusic(6, 22050, channels, 60000);
        const std::vector<int16_t> mono = MixedReadByRead(pcm);
        const ReferenceFingerprint reference = LoadReference(Wav(pcm));
        EXPECT_EQ(reference.sampleCount, mono.size()) << channels << " channels";
        EXPECT_EQ(reference.words, WholeFrameWords(mono)) << channels << " channels";
    }
}

// A chunk of 65536 bytes holds whole frames of 1, 2, 4 and 8 channels only; of the
// others the frame that it cuts is lost, and the next chunk starts amid a frame.
TEST_F(ReferenceLoadingTest, LosesTheFrameThatAChunkCuts) {
    for (int channels = 1; channels <= 8; ++channels) {
        const TestPcm pcm = MakeNoise(3, 22050, channels, 30000);
        const size_t bytes = pcm.Bytes();
        const size_t frameBytes = 2 * static_cast<size_t>(channels);
        const size_t expected = bytes / 65536 * (65536 / frameBytes) + bytes % 65536 / frameBytes;
        EXPECT_EQ(LoadReference(Wav(pcm)).sampleCount, expected) << channels << " channels";
    }
}

TEST_F(ReferenceLoadingTest, ReadsEveryCodingAtTheAnalysisRate) {
    const TestPcm pcm = MakeMusic(4, 44100, 2, 88200);
    for (const AudioCoding coding : kAllAudioCodings) {
        if (!CanEncode(coding)) continue;
        const ReferenceFingerprint reference = LoadReference(Bytes(EncodeAudio(pcm, coding)));
        EXPECT_NEAR(static_cast<double>(reference.sampleCount), 44100.0, 2500.0) << NameOf(coding);
        // Frame k starts 275.625 samples after the frame before.
        const double frames = static_cast<double>(reference.sampleCount - 8192) / 275.625 + 1.0;
        EXPECT_NEAR(static_cast<double>(reference.words.size()), frames, 1.0) << NameOf(coding);
    }
}

TEST_F(ReferenceLoadingTest, RefusesWhatIsMissing) {
    ExpectFailure(folder_.File("missing.wav"), "Reference Open failed");
}

TEST_F(ReferenceLoadingTest, RefusesAFolder) {
    ExpectFailure(folder_.Path().string(), "Reference Open failed");
}

TEST_F(ReferenceLoadingTest, RefusesAnEmptyFile) {
    ExpectFailure(Bytes(""), "Reference Open failed");
}

TEST_F(ReferenceLoadingTest, RefusesText) {
    ExpectFailure(Bytes("This is a letter to the listeners, and no audio at all.\n"),
                  "Reference Open failed");
}

TEST_F(ReferenceLoadingTest, RefusesARecordingWithoutSamples) {
    ExpectFailure(Wav(MakeSilence(22050, 1, 0)), "Reference too short");
}

TEST_F(ReferenceLoadingTest, StopsBeforeAnyRead) {
    const std::string path = Wav(MakeNoise(5, 22050, 1, 200000));
    int asked = 0;
    ExpectFailure(path, "Cancelled during reference loading", [&] { return ++asked == 1; });
    EXPECT_EQ(asked, 1);
}

// The last asking is before the read that meets the end.
TEST_F(ReferenceLoadingTest, AsksForTheStopBeforeEachReadAndEachWord) {
    const std::string path = Wav(MakeNoise(5, 22050, 1, 200000));  // 7 reads, and the end
    size_t asked = 0;
    const ReferenceFingerprint reference = LoadReference(path, [&] {
        ++asked;
        return false;
    });
    EXPECT_EQ(reference.words.size(), 696u);
    EXPECT_EQ(asked, reference.words.size() + 8);
    size_t askedAgain = 0;
    ExpectFailure(path, "Cancelled during reference loading",
                  [&] { return ++askedAgain == asked; });
    EXPECT_EQ(askedAgain, asked);
}

TEST_F(ReferenceLoadingTest, StopsAmidTheFingerprint) {
    const std::string path = Wav(MakeNoise(5, 22050, 1, 200000));
    int asked = 0;
    ExpectFailure(path, "Cancelled during reference loading", [&] { return ++asked == 300; });
    EXPECT_EQ(asked, 300);
}

TEST_F(ReferenceLoadingTest, GoesOnWhileNoStopIsRequested) {
    const std::string path = Wav(MakeNoise(5, 22050, 1, 200000));
    EXPECT_EQ(LoadReference(path, [] { return false; }).sampleCount, 200000u);
}

}  // namespace
}  // namespace receiver
