// The version of all tools, and what --version prints.
#pragma once

#include <string>

namespace receiver {

std::string ToolVersion();
// Name and version, then the licence. Without a final line feed.
std::string VersionText(const std::string& toolName);

}  // namespace receiver
