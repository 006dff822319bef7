// Durations as people write and read them. Pure.
//
//   Units  milliseconds.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace receiver {

// "90s", "55m", "1h30m", "500ms", "2.5s", "00:55:00", "55:00" or "90" (seconds).
// Nothing for any other text, and for more than a year.
std::optional<uint64_t> ParseDuration(std::string_view text);

// As ParseDuration reads it, without the parts that are nothing: "1h30m", "500ms", "0s".
std::string FormatDuration(uint64_t ms);
std::string FormatClock(uint64_t ms);     // "00:55:00"; the part of a second is cut off
std::string FormatPosition(uint64_t ms);  // "00:55:00.250"

}  // namespace receiver
