#include "receiver_scan/check/level_profile.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace receiver {
namespace {

constexpr double kFullScalePower = 32768.0 * 32768.0;
constexpr double kNothingDb = -200.0;

bool IsFullScale(int16_t sample) {
    return sample >= 32767 || sample <= -32767;
}

}  // namespace

double LevelDb(double power) {
    return power > 0.0 ? std::max(10.0 * std::log10(power), kNothingDb) : kNothingDb;
}

LevelMeter::LevelMeter(uint32_t sampleRate, unsigned channels)
    : blockFrames_(
          std::max<size_t>(1, static_cast<size_t>(std::llrint(sampleRate * kLevelBlockSeconds)))),
      channels_(channels),
      fullScaleRun_(channels, 0) {}

void LevelMeter::Add(const int16_t* pcm, size_t frames) {
    for (size_t frame = 0; frame < frames; ++frame) {
        int32_t sum = 0;
        for (unsigned channel = 0; channel < channels_; ++channel) {
            const int16_t sample = *pcm++;
            sum += sample;
            channelSum_ += static_cast<double>(sample) * sample;
            CountClipping(channel, sample);
        }
        const double mono = static_cast<double>(sum) / channels_;
        monoSum_ += mono * mono;
        if (++framesInBlock_ == blockFrames_) CloseBlock();
    }
    profile_.samples += frames * channels_;
}

void LevelMeter::CountClipping(unsigned channel, int16_t sample) {
    uint32_t& run = fullScaleRun_[channel];
    run = IsFullScale(sample) ? run + 1 : 0;
    if (run == kMinClippedRun) {
        profile_.clippedSamples += kMinClippedRun;
    } else if (run > kMinClippedRun) {
        ++profile_.clippedSamples;
    }
}

void LevelMeter::CloseBlock() {
    const double frames = static_cast<double>(framesInBlock_) * kFullScalePower;
    profile_.monoPower.push_back(static_cast<float>(monoSum_ / frames));
    profile_.channelPower.push_back(static_cast<float>(channelSum_ / (frames * channels_)));
    framesInBlock_ = 0;
    monoSum_ = 0.0;
    channelSum_ = 0.0;
}

LevelProfile LevelMeter::Finish() {
    if (framesInBlock_ * 2 >= blockFrames_) CloseBlock();
    return std::move(profile_);
}

double LoudLevelDb(const LevelProfile& profile) {
    std::vector<float> audible;
    for (const float power : profile.monoPower) {
        if (LevelDb(power) >= kSilenceDb) audible.push_back(power);
    }
    if (audible.empty()) return kNothingDb;
    const auto tenth = audible.begin() + static_cast<std::ptrdiff_t>(audible.size() / 10);
    std::nth_element(audible.begin(), tenth, audible.end(), std::greater<>());
    return LevelDb(*tenth);
}

std::vector<Stretch> SilentStretches(const LevelProfile& profile, double leastSeconds) {
    std::vector<Stretch> stretches;
    size_t begin = 0;
    for (size_t block = 0; block <= profile.monoPower.size(); ++block) {
        if (block < profile.monoPower.size() && LevelDb(profile.monoPower[block]) < kSilenceDb) {
            continue;
        }
        const double seconds = static_cast<double>(block - begin) * kLevelBlockSeconds;
        if (block > begin && seconds >= leastSeconds) {
            stretches.push_back({static_cast<double>(begin) * kLevelBlockSeconds, seconds});
        }
        begin = block + 1;
    }
    return stretches;
}

double SecondsUntilLoud(const LevelProfile& profile, double belowLoudDb) {
    const double wanted = LoudLevelDb(profile) - belowLoudDb;
    const auto loud = std::find_if(profile.monoPower.begin(), profile.monoPower.end(),
                                   [&](float power) { return LevelDb(power) >= wanted; });
    return static_cast<double>(loud - profile.monoPower.begin()) * kLevelBlockSeconds;
}

double MonoLossDb(const LevelProfile& profile) {
    const auto sum = [](const std::vector<float>& powers) {
        return std::accumulate(powers.begin(), powers.end(), 0.0);
    };
    return LevelDb(sum(profile.channelPower)) - LevelDb(sum(profile.monoPower));
}

double ClippedShare(const LevelProfile& profile) {
    return profile.samples == 0
               ? 0.0
               : static_cast<double>(profile.clippedSamples) / static_cast<double>(profile.samples);
}

}  // namespace receiver
