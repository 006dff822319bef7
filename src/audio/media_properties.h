// What a recording is before anything is converted.
//
//   Threads  any, one at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace receiver {

struct MediaProperties {
    uint32_t sampleRate = 0;  // Hz
    int bits = 16;            // of a sample that was stored as a number; 16 for lossy codings
};

// Of the stream that the decoder would choose. `path` is in the ANSI code page. Nothing when the
// file cannot be opened as audio.
std::optional<MediaProperties> PropertiesOf(const std::string& path);

}  // namespace receiver
