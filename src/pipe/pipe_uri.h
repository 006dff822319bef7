// "pcm-pipe://NAME": how both pipes of a receiver are addressed. Pure.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace receiver {

// NAME, case kept, when the prefix (any case) is followed by 1..180 characters of
// A-Z a-z 0-9 - . _ and nothing else.
std::optional<std::string> PipeNameFromUri(std::string_view uri);

// The system's path of the pipe of that name (docs/protocol.md).
std::string PipePathOfName(const std::string& name);

// Both in one step; nothing for a bad URI.
std::optional<std::string> MapPipeUri(std::string_view uri);

}  // namespace receiver
