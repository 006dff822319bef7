#include "detect/mono_mix.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "testing/audio_generator.h"

namespace receiver {
namespace {

std::vector<int16_t> Mix(const std::vector<int16_t>& pcm, unsigned channels) {
    std::vector<int16_t> mono(pcm.size() / channels);
    MixToMono(pcm.data(), mono.size(), channels, mono.data());
    return mono;
}

TEST(MonoMix, TruncatesTowardZero) {
    EXPECT_EQ(Mix({1, -2, -1, 2, -3, 0, 3, 0}, 2), (std::vector<int16_t>{0, 0, -1, 1}));
}

TEST(MonoMix, CopiesASingleChannel) {
    EXPECT_EQ(Mix({-32768, 32767, -1}, 1), (std::vector<int16_t>{-32768, 32767, -1}));
}

TEST(MonoMix, KeepsFullScaleInEveryChannelCount) {
    for (unsigned channels = 1; channels <= 8; ++channels) {
        EXPECT_EQ(Mix(std::vector<int16_t>(channels, -32768), channels)[0], -32768);
        EXPECT_EQ(Mix(std::vector<int16_t>(channels, 32767), channels)[0], 32767);
    }
}

TEST(MonoMix, DividesTheSumByEveryChannelCount) {
    TestRandom random(4);
    for (int channels = 1; channels <= 8; ++channels) {
        std::vector<int16_t> pcm(static_cast<size_t>(channels) * 1000);
        for (int16_t& sample : pcm) sample = static_cast<int16_t>(random.Next());
        const std::vector<int16_t> mono = Mix(pcm, static_cast<unsigned>(channels));
        for (size_t frame = 0; frame < mono.size(); ++frame) {
            int sum = 0;
            for (int c = 0; c < channels; ++c) {
                sum += pcm[frame * static_cast<size_t>(channels) + static_cast<size_t>(c)];
            }
            ASSERT_EQ(mono[frame], sum / channels) << channels << " channels, frame " << frame;
        }
    }
}

TEST(MonoMix, ReadsUnalignedBytes) {
    const std::vector<int16_t> pcm{100, 300, -500, -701};
    std::vector<char> bytes(pcm.size() * sizeof(int16_t) + 1);
    std::memcpy(bytes.data() + 1, pcm.data(), bytes.size() - 1);
    int16_t mono[2] = {};
    MixToMono(bytes.data() + 1, 2, 2, mono);
    EXPECT_EQ(mono[0], 200);
    EXPECT_EQ(mono[1], -600);
}

TEST(MonoMix, OfNoChannelThereIsNothing) {
    const std::vector<int16_t> pcm(4, 7);
    std::vector<int16_t> mono(4, 9);
    MixToMono(pcm.data(), 4, 0, mono.data());
    EXPECT_EQ(mono, std::vector<int16_t>(4, 9));
}

}  // namespace
}  // namespace receiver
