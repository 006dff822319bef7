#include "receiver_record/cut/jingle_alignment.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "audio/correlation.h"

namespace receiver {
namespace {

constexpr double kMinLikeness = 0.2;
// From here on an echo of the place, as any steady tone has them, does not make it doubtful.
constexpr double kMinClearLikeness = 0.9;
constexpr double kMaxEchoOfPeak = 0.85;
constexpr size_t kMinSamples = 4096;  // for a half to have a say

// Speech and music have little in the treble, but it is what tells one sample from the next.
std::vector<float> Brightened(std::span<const float> sound) {
    constexpr float kTaken = 0.95F;
    std::vector<float> bright(sound.size());
    float before = 0;
    for (size_t i = 0; i < sound.size(); ++i) {
        bright[i] = sound[i] - kTaken * before;
        before = sound[i];
    }
    return bright;
}

struct Peak {
    size_t at = 0;
    double height = 0;
    double beside = 0;  // the highest of the other places
    double echo = 0;    // the highest of those outside of the peak's own slopes
};

// The slopes end where the likeness has none of its sign any more.
Peak FindPeak(const std::vector<float>& alike) {
    Peak peak;
    if (alike.empty()) return peak;
    const auto best = std::max_element(alike.begin(), alike.end());
    peak.at = static_cast<size_t>(best - alike.begin());
    peak.height = *best;
    size_t first = peak.at;
    while (first > 0 && alike[first - 1] > 0) --first;
    size_t end = peak.at + 1;
    while (end < alike.size() && alike[end] > 0) ++end;
    for (size_t i = 0; i < alike.size(); ++i) {
        if (i == peak.at) continue;
        const double height = alike[i];
        peak.beside = std::max(peak.beside, height);
        if (i < first || i >= end) peak.echo = std::max(peak.echo, height);
    }
    return peak;
}

// Whether chance cannot have made another place the highest: what the two have not in common
// is noise, and moves neighbours up and down almost together.
bool StandsOut(const Peak& peak, size_t samples) {
    constexpr double kSigmasSquared = 9;
    constexpr double kSamplesOfOneValue = 8;  // sound is not white
    if (peak.height < kMinLikeness) return false;
    const double common = std::min(peak.height * peak.height, 1.0);
    const double noise = 2 * (1 - common) * kSamplesOfOneValue / static_cast<double>(samples);
    const double drop = 1 - peak.beside / peak.height;
    if (drop <= 0 || drop * common < kSigmasSquared * noise) return false;
    return peak.height >= kMinClearLikeness || peak.echo <= kMaxEchoOfPeak * peak.height;
}

// False when this part of the jingle clearly lies elsewhere.
bool Agrees(const std::vector<float>& jingle, const std::vector<float>& audio, size_t from,
            size_t count, size_t at) {
    if (count < kMinSamples) return true;
    const size_t places = audio.size() - jingle.size();
    const auto begin = [from](const std::vector<float>& sound) {
        return sound.begin() + static_cast<std::ptrdiff_t>(from);
    };
    const std::vector<float> part(begin(jingle),
                                  begin(jingle) + static_cast<std::ptrdiff_t>(count));
    const std::vector<float> around(begin(audio),
                                    begin(audio) + static_cast<std::ptrdiff_t>(count + places));
    const Peak peak = FindPeak(Correlate(part, around));
    if (peak.height < kMinLikeness) return true;
    return std::max(peak.at, at) - std::min(peak.at, at) <= 1;
}

}  // namespace

JingleAlignment AlignJingle(std::span<const float> jingle, std::span<const float> audio) {
    if (jingle.size() < kMinSamples || audio.size() < jingle.size()) return {};
    const std::vector<float> pattern = Brightened(jingle);
    const std::vector<float> signal = Brightened(audio);
    const Peak peak = FindPeak(Correlate(pattern, signal));
    const size_t half = pattern.size() / 2;
    JingleAlignment found{.at = peak.at, .likeness = peak.height, .sure = false};
    found.sure = StandsOut(peak, pattern.size()) && Agrees(pattern, signal, 0, half, peak.at) &&
                 Agrees(pattern, signal, half, pattern.size() - half, peak.at);
    return found;
}

}  // namespace receiver
