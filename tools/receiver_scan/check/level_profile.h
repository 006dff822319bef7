// How loud a recording is over time, and what of that harms it as a reference. Pure.
//
//   Units  levels in dB below full scale (0 is a full-scale square wave), times in seconds,
//          powers relative to full scale.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace receiver {

inline constexpr double kLevelBlockSeconds = 0.01;
// Below this nobody hears anything, and a fingerprint is that of rounding.
inline constexpr double kSilenceDb = -60.0;

double LevelDb(double power);  // -200 for nothing

// A stretch of the recording.
struct Stretch {
    double start = 0.0;
    double seconds = 0.0;
};

// What was measured of every block, one after the other.
struct LevelProfile {
    std::vector<float> monoPower;     // of the mix that the receiver listens to
    std::vector<float> channelPower;  // the mean of the channels
    uint64_t samples = 0;             // of all channels
    uint64_t clippedSamples = 0;      // in runs at full scale

    double Seconds() const { return static_cast<double>(monoPower.size()) * kLevelBlockSeconds; }
};

// Collects a profile of interleaved 16-bit PCM as it comes, in pieces of any size.
class LevelMeter final {
public:
    LevelMeter(uint32_t sampleRate, unsigned channels);

    void Add(const int16_t* pcm, size_t frames);
    LevelProfile Finish();  // the last block, too, if it is at least half of one

private:
    void CloseBlock();
    void CountClipping(unsigned channel, int16_t sample);

    // A wave that is cut off stays at full scale for a few samples; a mere peak does not.
    static constexpr uint32_t kMinClippedRun = 4;

    const size_t blockFrames_;
    const unsigned channels_;
    LevelProfile profile_;
    std::vector<uint32_t> fullScaleRun_;  // of each channel, up to now
    size_t framesInBlock_ = 0;
    double monoSum_ = 0.0;
    double channelSum_ = 0.0;
};

// Of the loud part: the level that a tenth of the blocks reach that can be heard. -200 when
// there are none.
double LoudLevelDb(const LevelProfile& profile);
// All stretches of silence of at least `leastSeconds`.
std::vector<Stretch> SilentStretches(const LevelProfile& profile, double leastSeconds);
// How long it takes until the mix comes within `belowLoudDb` of the loud level.
double SecondsUntilLoud(const LevelProfile& profile, double belowLoudDb);
// How far the mix lies below the channels: 0 for equal channels, 3 for unrelated ones, more for
// those that cancel each other.
double MonoLossDb(const LevelProfile& profile);
double ClippedShare(const LevelProfile& profile);

}  // namespace receiver
