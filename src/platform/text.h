// Text between UTF-8 (JSON, FFmpeg, messages), the process's ANSI code page (paths and
// URLs inside the receiver) and the standard library's paths. On Linux, and on Windows
// under our manifest, both encodings are UTF-8; on Linux bytes are kept as they are,
// well-formed or not. Any thread.
#pragma once

#include <filesystem>
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

// For the standard library's files: keeps every character of an ANSI path.
std::filesystem::path ToFilesystemPath(const std::string& path);
std::string ToUtf8(const std::filesystem::path& path);

// A to Z only, whatever locale the process has set.
char ToLowerAscii(char c);
std::string ToLowerAscii(std::string_view text);

}  // namespace receiver
