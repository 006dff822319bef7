// Text on its way into a page or a picture: nothing of it is taken for markup. Pure.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace receiver {

// For text and attribute values of HTML and SVG. Ill-formed UTF-8 and control characters are
// replaced.
std::string EscapeHtml(std::string_view text);
// The same, with its line ends.
std::string EscapeHtmlLines(std::string_view text);
// JSON for a <script> element: no "</script>" and no comment can begin in it.
std::string EscapeScript(std::string_view json);

std::string Base64(const std::vector<uint8_t>& bytes);

}  // namespace receiver
