// URLs as they may be shown and passed on. Pure.
#pragma once

#include <string>

namespace receiver {

// Without what lets somebody in: a user's name and password, the query and the fragment, in
// which stations hand out tokens. Also of a URL whose scheme was forgotten.
std::string PublicUrl(const std::string& url);
// The same wherever one of these arguments of a command line stands in the text.
std::string WithPublicUrls(std::string text, int argc, const char* const* argv);

}  // namespace receiver
