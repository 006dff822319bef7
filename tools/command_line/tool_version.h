// What --version prints.
#pragma once

#include <string>

namespace receiver {

// Name and version, then the licence. Without a final line feed.
std::string VersionText(const std::string& toolName);

}  // namespace receiver
