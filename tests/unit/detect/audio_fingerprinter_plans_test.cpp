// The words of one transform by two plans: the one of the wisdom in the tree, and the one
// that FFTW picks by itself. They round differently, as any two builds of FFTW do. On what a
// station sends no bit may differ. A signal that repeats itself exactly leaves the energy
// differences as they were from frame to frame, and the sign of what rounding alone leaves
// of the change is nobody's to promise: there, and only there, a bit may differ.
#include <fftw3.h>
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "audio/ffmpeg_streaming_decoder.h"
#include "detect/audio_fingerprinter.h"
#include "detect/fft_wisdom.h"
#include "testing/audio_encoder.h"
#include "testing/audio_generator.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

constexpr int kBits = 32;
constexpr size_t kSize = 8192;

std::vector<int64_t> FrameStarts(size_t samples) {
    std::vector<int64_t> starts;
    const auto last = static_cast<int64_t>(samples) - static_cast<int64_t>(kSize);
    for (FrameClock clock; clock.StartSample() <= last; clock.Advance()) {
        starts.push_back(clock.StartSample());
    }
    return starts;
}

struct FrameEnergies {
    std::array<double, kBits + 1> bands = {};
    double total = 0.0;  // of all bins
};

// How far apart two sound computations of a frame's difference between the bands `bit` and
// `bit + 1` can be. Each output of a transform of 2^13 points is off by at most
// 13 * epsilon * |X| (X being all outputs together); by Cauchy and Schwarz that moves the
// energy of a band by at most twice this times the root of the energy. Two computations are
// off in opposite directions at worst. The sums of up to 75 bins add their own share.
double RoundingBound(const FrameEnergies& frame, int bit) {
    constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
    const double output = 13.0 * kEpsilon * std::sqrt(frame.total);
    const double low = frame.bands[bit];
    const double high = frame.bands[bit + 1];
    return 2.0 * 2.0 * output * (std::sqrt(low) + std::sqrt(high)) +
           2.0 * 75.0 * kEpsilon * (low + high);
}

class FingerprintPlansTest : public testing::Test {
protected:
    FingerprintPlansTest() : fft_(kSize) {
        fftw_forget_wisdom();
        own_.SetUp(kAnalysisRate, kFrameSeconds, kHopSeconds);
        fftw_forget_wisdom();
        accepted_ = ImportFftWisdom(FftWisdom());
        planned_.SetUp(kAnalysisRate, kFrameSeconds, kHopSeconds);
    }

    void SetUp() override {
        if (!accepted_) GTEST_SKIP() << "there is one plan only";
    }

    FrameEnergies Energies(const int16_t* samples) {
        for (size_t i = 0; i < kSize; ++i) {
            fft_.Data()[i] = samples[i] * 0.5 *
                             (1.0 - std::cos(static_cast<double>(i) * 6.283185307179586 / 8191.0));
        }
        fft_.Execute();
        FrameEnergies energies;
        const auto edges = planned_.BandEdges();
        for (size_t i = 0; i < kSize; ++i) energies.total += std::norm(fft_.Data()[i]);
        for (int band = 0; band <= kBits; ++band) {
            for (int32_t i = edges[band]; i < edges[band + 1]; ++i) {
                energies.bands[band] += std::norm(fft_.Data()[i]);
            }
        }
        return energies;
    }

    void ExpectTheSameWords(const std::vector<int16_t>& samples) {
        size_t frames = 0;
        for (const int64_t start : FrameStarts(samples.size())) {
            const uint32_t word = planned_.ComputeWord(samples.data() + start);
            ASSERT_EQ(word, own_.ComputeWord(samples.data() + start)) << "frame " << frames;
            ++frames;
        }
        EXPECT_GT(frames, 0u);
    }

    // Bits whose energy change lies within what rounding can make of it are let pass.
    void ExpectTheSameWordsButForRounding(const std::vector<int16_t>& samples,
                                          const std::string& what) {
        const std::vector<int64_t> starts = FrameStarts(samples.size());
        ASSERT_GT(starts.size(), 0u);
        for (size_t frame = 0; frame < starts.size(); ++frame) {
            const int16_t* at = samples.data() + starts[frame];
            const uint32_t differing = planned_.ComputeWord(at) ^ own_.ComputeWord(at);
            if (differing == 0) continue;
            const FrameEnergies now = Energies(at);
            const FrameEnergies before =
                frame > 0 ? Energies(samples.data() + starts[frame - 1]) : FrameEnergies();
            for (int bit = 0; bit < kBits; ++bit) {
                if (((differing >> bit) & 1u) == 0) continue;
                const double change = (now.bands[bit] - now.bands[bit + 1]) -
                                      (before.bands[bit] - before.bands[bit + 1]);
                // The change itself is known with the same uncertainty.
                EXPECT_LE(std::abs(change),
                          2.0 * (RoundingBound(now, bit) + RoundingBound(before, bit)))
                    << what << ": bit " << bit << " of frame " << frame;
            }
        }
    }

    Fft fft_;
    CAudioFingerprinter own_;
    CAudioFingerprinter planned_;
    bool accepted_ = false;
};

TestPcm Sound(TestPcm (*make)(uint64_t, int, int, size_t), uint64_t seed, uint32_t ms) {
    return make(seed, kAnalysisRate, 1, FramesOf(kAnalysisRate, ms));
}

TestPcm Silence(uint32_t ms) {
    return MakeSilence(kAnalysisRate, 1, FramesOf(kAnalysisRate, ms));
}

// Syllables of a gliding voice with overtones under a moving formant, with pauses between.
std::vector<int16_t> MakeSpeech(uint64_t seed, uint32_t ms) {
    TestRandom random(seed);
    std::vector<int16_t> samples;
    const size_t count = FramesOf(kAnalysisRate, ms);
    double phase = 0.0;
    while (samples.size() < count) {
        const auto length = static_cast<size_t>(kAnalysisRate * random.Between(0.08, 0.3));
        const double pitch = random.Between(90.0, 240.0);
        const double glide = random.Between(-40.0, 40.0);
        const double formant = random.Between(400.0, 2400.0);
        for (size_t i = 0; i < length; ++i) {
            const double at = static_cast<double>(i) / static_cast<double>(length);
            const double hz = pitch + glide * at;
            phase += hz / kAnalysisRate;
            double value = 0.0;
            for (int overtone = 1; overtone <= 15; ++overtone) {
                const double distance = (hz * overtone - formant) / 300.0;
                value += (0.05 + std::exp(-distance * distance)) *
                         std::sin(6.283185307179586 * phase * overtone);
            }
            value *= 4000.0 * std::sin(3.141592653589793 * at);
            samples.push_back(static_cast<int16_t>(std::lrint(value)));
        }
        samples.insert(samples.end(), static_cast<size_t>(kAnalysisRate * random.Between(0.0, 0.2)),
                       int16_t{0});
    }
    samples.resize(count);
    return samples;
}

TEST_F(FingerprintPlansTest, AgreeOnMusic) {
    for (const uint64_t seed : {1u, 2u, 3u}) {
        ExpectTheSameWords(Sound(MakeMusic, seed, 10000).samples);
    }
}

TEST_F(FingerprintPlansTest, AgreeOnNoise) {
    ExpectTheSameWords(Sound(MakeNoise, 4, 10000).samples);
}

TEST_F(FingerprintPlansTest, AgreeOnSpeech) {
    for (const uint64_t seed : {5u, 6u, 7u}) ExpectTheSameWords(MakeSpeech(seed, 10000));
}

TEST_F(FingerprintPlansTest, AgreeAcrossGapsOfSilence) {
    ExpectTheSameWords(Concatenate({Silence(500), Sound(MakeMusic, 8, 1500), Silence(1000),
                                    Sound(MakeNoise, 9, 300), Silence(200),
                                    Sound(MakeMusic, 10, 1500), Silence(500)})
                           .samples);
}

TEST_F(FingerprintPlansTest, AgreeOnWhatMp3LeavesOfThem) {
    if (!CanEncode(AudioCoding::kMp3)) GTEST_SKIP() << "this FFmpeg encodes no MP3";
    TempFolder folder;
    const std::string path = folder.File("stream.mp3");
    const TestPcm speech = {kAnalysisRate, 1, MakeSpeech(11, 5000)};
    WriteFileBytes(path, EncodeAudio(Concatenate({Sound(MakeMusic, 12, 5000), Silence(700), speech,
                                                  Sound(MakeNoise, 13, 1000)}),
                                     AudioCoding::kMp3, 64000));
    CFFmpegStreamingDecoder decoder;
    decoder.SetOutputSampleRate(kAnalysisRate);
    decoder.SetOutputBitsPerSample(16);
    ASSERT_TRUE(decoder.Open(path));
    std::vector<int16_t> samples;
    std::vector<int16_t> block(8192);
    for (int32_t read; (read = decoder.Read(block.data(), 16384)) > 0;) {
        samples.insert(samples.end(), block.begin(), block.begin() + read / 2);
    }
    ASSERT_GT(samples.size(), size_t{10} * kAnalysisRate);
    ExpectTheSameWords(samples);
}

TEST_F(FingerprintPlansTest, AgreeButForRoundingOnWhatRepeatsItselfExactly) {
    for (const size_t period : {1u, 2u, 3u, 4u, 5u, 8u, 11u, 25u, 32u, 64u, 256u, 275u, 276u}) {
        std::vector<int16_t> square(5 * kAnalysisRate);
        std::vector<int16_t> sine(square.size());
        std::vector<int16_t> click(square.size());
        for (size_t i = 0; i < square.size(); ++i) {
            const size_t phase = i % period;
            square[i] = phase < (period + 1) / 2 ? 12000 : -12000;
            sine[i] = static_cast<int16_t>(
                std::lrint(12000.0 * std::sin(6.283185307179586 * static_cast<double>(phase) /
                                              static_cast<double>(period))));
            click[i] = phase == 0 ? 30000 : 0;
        }
        const std::string name = " of period " + std::to_string(period);
        ExpectTheSameWordsButForRounding(square, "square wave" + name);
        ExpectTheSameWordsButForRounding(sine, "sine" + name);
        ExpectTheSameWordsButForRounding(click, "clicks" + name);
    }
}

}  // namespace
}  // namespace receiver
