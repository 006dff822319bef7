// The files of the page as they were when the program was built (embed_text.cmake).
#pragma once

#include <string_view>

namespace receiver::page_parts {

extern const std::string_view kStyle;
extern const std::string_view kScript;
extern const std::string_view kDygraphs;
extern const std::string_view kDygraphsStyle;
extern const std::string_view kDygraphsLicence;

}  // namespace receiver::page_parts
