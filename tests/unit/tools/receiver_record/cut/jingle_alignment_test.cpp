#include "receiver_record/cut/jingle_alignment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "receiver_record/cut/jingle_sound.h"
#include "testing/audio_encoder.h"
#include "testing/audio_generator.h"
#include "testing/broadcast.h"
#include "testing/sound_effects.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

constexpr size_t kRange = 1323;  // 30 ms
constexpr size_t kJingleFrames = 44100;

std::vector<float> Mono(const TestPcm& pcm, size_t first, size_t frames) {
    std::vector<float> mono;
    const auto channels = static_cast<unsigned>(pcm.channels);
    AppendMono(pcm.samples.data() + first * channels, frames, channels, mono);
    return mono;
}

std::vector<float> Mono(const TestPcm& pcm) {
    return Mono(pcm, 0, pcm.Frames());
}

// By how much the decoder's output lies behind what was encoded: where a piece of it differs
// least.
size_t DelayOf(const TestPcm& decoded, const TestPcm& sent) {
    constexpr size_t kFrom = 20000, kCount = 20000, kMaxDelay = 3000;
    const std::vector<float> pattern = Mono(sent, kFrom, kCount);
    const std::vector<float> heard = Mono(decoded, kFrom, kCount + kMaxDelay);
    size_t best = 0;
    double least = std::numeric_limits<double>::infinity();
    for (size_t delay = 0; delay < kMaxDelay; ++delay) {
        float difference = 0;
        for (size_t i = 0; i < kCount; ++i) {
            const float d = heard[i + delay] - pattern[i];
            difference += d * d;
        }
        if (difference < least) {
            least = difference;
            best = delay;
        }
    }
    return best;
}

// Jingles at random places of a programme; somebody speaks over every second one.
struct JinglesOnAir {
    TestPcm jingle = MakeTune(7, 44100, 2, kJingleFrames);
    TestPcm audio;
    std::vector<size_t> places;

    JinglesOnAir(size_t count, uint64_t seed) {
        TestRandom random(seed);
        size_t at = 60000;
        for (size_t i = 0; i < count; ++i) {
            places.push_back(at);
            at += kJingleFrames + 3000 + random.Below(9000);
        }
        audio = Amplified(MakeMusic(seed, 44100, 2, at + 10000), -6);
        for (size_t i = 0; i < count; ++i) {
            const TestPcm voice = Amplified(MakeVoice(i, 44100, 2, kJingleFrames), -6);
            const TestPcm heard =
                i % 2 == 0 ? Amplified(jingle, -6) : MixedAt(Amplified(jingle, -9), voice, 0, 0);
            std::copy(heard.samples.begin(), heard.samples.end(),
                      audio.samples.begin() + static_cast<std::ptrdiff_t>(2 * places[i]));
        }
    }
};

TestPcm Received(const TestPcm& sent, AudioCoding coding) {
    const TempFolder folder;
    const std::string path = folder.File("stream");
    WriteFileBytes(path, EncodeAudio(sent, coding));
    return DecodeStream(path);
}

class JingleAlignmentOverCodecs : public testing::TestWithParam<AudioCoding> {};

}  // namespace

TEST_P(JingleAlignmentOverCodecs, FindsTheVerySampleOfEveryJingleWithAVoiceOverItToo) {
    const JinglesOnAir onAir(200, 11);
    const TestPcm received = Received(onAir.audio, GetParam());
    const size_t delay = DelayOf(received, onAir.audio);
    const std::vector<float> jingle = Mono(onAir.jingle);
    TestRandom random(5);
    for (const size_t place : onAir.places) {
        const size_t truth = place + delay;
        const size_t first = truth - kRange / 2 - random.Below(kRange);
        const std::vector<float> around = Mono(received, first, kJingleFrames + 2 * kRange);
        const JingleAlignment found = AlignJingle(jingle, around);
        EXPECT_TRUE(found.sure) << place << ": " << found.likeness;
        EXPECT_EQ(first + found.at, truth) << place << ": " << found.likeness;
    }
}

INSTANTIATE_TEST_SUITE_P(All, JingleAlignmentOverCodecs,
                         testing::Values(AudioCoding::kFlac, AudioCoding::kMp3,
                                         AudioCoding::kOggVorbis, AudioCoding::kOggOpus),
                         [](const auto& coding) { return NameOf(coding.param); });

TEST(JingleAlignment, IsNotSureOfAJingleThatIsNotThere) {
    const std::vector<float> jingle = Mono(MakeTune(7, 44100, 2, kJingleFrames));
    for (uint64_t seed = 1; seed <= 20; ++seed) {
        EXPECT_FALSE(
            AlignJingle(jingle, Mono(MakeMusic(seed, 44100, 2, kJingleFrames + 2 * kRange))).sure)
            << seed;
        EXPECT_FALSE(
            AlignJingle(jingle, Mono(MakeTune(seed + 20, 44100, 2, kJingleFrames + 2 * kRange)))
                .sure)
            << seed;
    }
}

TEST(JingleAlignment, IsNotSureOfAJingleAtAnotherSpeed) {
    const TestPcm jingle = MakeTune(7, 44100, 2, 2 * kJingleFrames);
    for (const double speed : {0.99, 0.999, 1.0002, 1.001, 1.01}) {
        const TestPcm played = AtSpeed(jingle, speed);
        const TestPcm before = MakeMusic(3, 44100, 2, kRange);
        const TestPcm after = MakeMusic(4, 44100, 2, 4 * kRange);
        const TestPcm onAir = Concatenate({before, played, after});
        const size_t frames = std::min(onAir.Frames(), 2 * (kJingleFrames + kRange));
        EXPECT_FALSE(AlignJingle(Mono(jingle), Mono(onAir, 0, frames)).sure) << speed;
    }
}

TEST(JingleAlignment, IsNotSureOfAToneThatIsTheSameAtEveryPlace) {
    const TestPcm tone = MakeTone(44100, 1, kJingleFrames + 2 * kRange, 441);
    EXPECT_FALSE(AlignJingle(Mono(tone, 0, kJingleFrames), Mono(tone)).sure);
}

TEST(JingleAlignment, IsNotSureOfSilenceNorOfTooLittle) {
    const std::vector<float> jingle = Mono(MakeTune(7, 44100, 2, kJingleFrames));
    EXPECT_FALSE(AlignJingle(jingle, std::vector<float>(kJingleFrames + kRange)).sure);
    EXPECT_FALSE(AlignJingle(std::vector<float>(kJingleFrames), jingle).sure);
    EXPECT_FALSE(AlignJingle(jingle, std::span(jingle).first(kJingleFrames - 1)).sure);
    EXPECT_FALSE(AlignJingle(std::span(jingle).first(100), jingle).sure);
}

}  // namespace receiver
