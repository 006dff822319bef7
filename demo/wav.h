// 16-bit stereo PCM to and from WAV files, as far as the demo needs it.
#pragma once

#include <filesystem>

#include "studio.h"

namespace receiver {

// Both throw std::runtime_error with a text for the user.
void WriteWav(const std::filesystem::path& path, const StereoPcm& pcm);
// Decodes any file FFmpeg can open, at 44100 Hz; it must be stereo.
StereoPcm ReadAudio(const std::filesystem::path& path);

}  // namespace receiver
