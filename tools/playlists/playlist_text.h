// Lines and blanks of a playlist. Pure.
#pragma once

#include <cstddef>
#include <string_view>

namespace receiver {

constexpr std::string_view kPlaylistBlanks = " \t\r\n\v\f";

inline std::string_view TrimmedLeft(std::string_view text) {
    const size_t begin = text.find_first_not_of(kPlaylistBlanks);
    return begin == std::string_view::npos ? std::string_view() : text.substr(begin);
}

inline std::string_view Trimmed(std::string_view text) {
    text = TrimmedLeft(text);
    return text.substr(0, text.find_last_not_of(kPlaylistBlanks) + 1);
}

// Takes the next line off the text, trimmed; it ends with CR, LF or both. False at the end.
inline bool TakeLine(std::string_view& text, std::string_view& line) {
    if (text.empty()) return false;
    const size_t end = text.find_first_of("\r\n");
    line = Trimmed(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return true;
}

}  // namespace receiver
