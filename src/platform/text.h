// Text between UTF-8 (JSON, FFmpeg) and the process's ANSI code page (paths and
// URLs inside the receiver). On Linux, and on Windows under our manifest, both
// are UTF-8; on Linux bytes are kept as they are, well-formed or not.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace receiver {

// Characters that the code page lacks are lost, as the platform replaces them.
std::string Utf8ToAnsi(std::string_view utf8);
// Nothing when the bytes are no text of the code page.
std::optional<std::string> AnsiToUtf8(std::string_view ansi);
// Each byte that is not part of a well-formed sequence becomes U+FFFD.
std::string ReplaceIllFormedUtf8(std::string_view bytes);

}  // namespace receiver
