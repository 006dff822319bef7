#include "testing/broadcast.h"

#include <cmath>

#include "testing/pcm_reading.h"

namespace receiver {
namespace {

constexpr uint32_t kJingleMs = 1200;
constexpr uint32_t kProgrammeMs = 4000;
constexpr uint32_t kNoiseMs = 1500;

}  // namespace

uint64_t Broadcast::SampleOf(size_t frame) const {
    return static_cast<uint64_t>(
        std::llround(static_cast<double>(frame) * kStreamRate / audio.rate));
}

Broadcast MakeBroadcast(const TestPcm& before, const TestPcm& startJingle, const TestPcm& programme,
                        const TestPcm& endJingle, const TestPcm& after) {
    Broadcast broadcast;
    broadcast.startJingle = startJingle;
    broadcast.endJingle = endJingle;
    broadcast.startJingleFrame = before.Frames();
    broadcast.programmeFrame = broadcast.startJingleFrame + startJingle.Frames();
    broadcast.endJingleFrame = broadcast.programmeFrame + programme.Frames();
    broadcast.tailFrame = broadcast.endJingleFrame + endJingle.Frames();
    broadcast.audio = Concatenate({before, startJingle, programme, endJingle, after});
    return broadcast;
}

Broadcast MakeBroadcast(int rate, int channels) {
    const auto music = [&](uint64_t seed, uint32_t ms) {
        return MakeMusic(seed, rate, channels, FramesOf(rate, ms));
    };
    const auto noise = [&](uint64_t seed) {
        return MakeNoise(seed, rate, channels, FramesOf(rate, kNoiseMs));
    };
    return MakeBroadcast(noise(1004), music(1001, kJingleMs), music(1003, kProgrammeMs),
                         music(1002, kJingleMs), noise(1005));
}

TestPcm DecodeStream(const std::string& path) {
    return DecodeFile(path, kStreamRate);
}

uint64_t OutroLength(const std::string& referencePath) {
    return 2 * DecodeFile(referencePath, kStreamRate / 2).Frames();
}

std::vector<int16_t> WithFade(std::vector<int16_t> samples, int channels, uint64_t fadeFrames) {
    const uint64_t frames = samples.size() / static_cast<size_t>(channels);
    for (size_t i = 0; i < samples.size(); ++i) {
        const uint64_t remaining = frames - i / static_cast<size_t>(channels) - 1;
        if (remaining >= fadeFrames) continue;
        const int64_t scaled = int64_t{samples[i]} * static_cast<int64_t>(remaining);
        samples[i] = static_cast<int16_t>(scaled / static_cast<int64_t>(fadeFrames));
    }
    return samples;
}

}  // namespace receiver
