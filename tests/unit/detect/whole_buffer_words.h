// The words of mono audio that lies whole in memory, as the rules read: what the words of
// audio that comes in pieces are held against.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "detect/audio_fingerprinter.h"
#include "testing/audio_generator.h"

namespace receiver {

inline constexpr size_t kWindow = 8192;

// A word for each frame of which all samples are there.
inline std::vector<uint32_t> WholeFrameWords(const std::vector<int16_t>& mono) {
    CAudioFingerprinter fingerprinter;
    fingerprinter.SetUp(22050, 0.4, 0.0125);
    std::vector<uint32_t> words;
    double time = 0.0;
    for (size_t start = 0; start + kWindow <= mono.size();
         start = static_cast<size_t>(std::llrint(time * 22050))) {
        words.push_back(fingerprinter.ComputeWord(mono.data() + start));
        time += 0.0125;
    }
    return words;
}

// A word for each frame that starts within the audio, the last ones padded with zeros.
inline std::vector<uint32_t> PaddedWords(std::vector<int16_t> mono) {
    const double duration = static_cast<double>(mono.size()) / 22050;
    mono.resize(mono.size() + 9000, 0);
    CAudioFingerprinter fingerprinter;
    fingerprinter.SetUp(22050, 0.4, 0.0125);
    std::vector<uint32_t> words;
    for (double time = 0.0; time < duration; time += 0.0125) {
        words.push_back(fingerprinter.ComputeWord(mono.data() + std::llrint(22050 * time)));
    }
    return words;
}

// The sum of each frame's channels divided by their number, truncating toward zero.
inline std::vector<int16_t> MixedByDefinition(const TestPcm& pcm) {
    const auto channels = static_cast<size_t>(pcm.channels);
    std::vector<int16_t> mono;
    for (size_t frame = 0; frame < pcm.Frames(); ++frame) {
        int sum = 0;
        for (size_t channel = 0; channel < channels; ++channel) {
            sum += pcm.samples[frame * channels + channel];
        }
        mono.push_back(static_cast<int16_t>(sum / pcm.channels));
    }
    return mono;
}

}  // namespace receiver
