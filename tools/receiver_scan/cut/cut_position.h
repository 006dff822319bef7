// Places in a recording as people write them. Pure.
//
//   Units  samples are frames at the recording's own rate.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace receiver {

// "00:12:03.250", "90s", "2m3.5s", "90" (seconds), or "5292000samples". A time becomes the
// nearest sample. Nothing for any other text.
std::optional<uint64_t> ParsePosition(std::string_view text, uint32_t sampleRate);

}  // namespace receiver
