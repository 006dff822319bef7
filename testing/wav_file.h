// PCM WAV files of 8 (unsigned), 16, 24 and 32 bits for tests.
#pragma once

#include <string>
#include <string_view>

#include "testing/audio_generator.h"

namespace receiver {

// The 16 bits of the test audio stand at the top of wider samples; 8 bits keep the upper half.
std::string WavBytes(const TestPcm& pcm, int bitsPerSample = 16);

// Throws std::runtime_error when the file cannot be written whole.
void WriteFileBytes(const std::string& path, std::string_view bytes);
void WriteWavFile(const std::string& path, const TestPcm& pcm, int bitsPerSample = 16);

}  // namespace receiver
