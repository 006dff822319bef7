// What the benchmarks run on: half a minute of a station's audio, and references
// that are never found in it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "audio/audio_file.h"
#include "detect/reference_loading.h"
#include "testing/audio_generator.h"

namespace receiver {

inline constexpr int kBenchRate = 44100;
inline constexpr int kBenchChannels = 2;
inline constexpr int kBenchSeconds = 30;
inline constexpr uint32_t kReadBytes = 16384;

// Made once; the same in every run.
const TestPcm& StreamPcm();
const std::string& StreamMp3Path();  // 128 kbit/s, in a folder that the exit removes
std::vector<ReferenceFingerprint> RandomReferences(size_t count);  // of 30 s each

// The stream's PCM over and over, as an audio file that costs no more than copying.
std::unique_ptr<CAudioFile> MakeStreamFile();

// As much as the stream is long.
void ReadStream(CAudioFile& file);

}  // namespace receiver
