// The one rule for requestId, sessionId and reference ids. Pure.
#pragma once

#include <string_view>

namespace receiver {

// 1 to 80 characters of A-Z a-z 0-9 - _.
bool IsValidSessionId(std::string_view id);

}  // namespace receiver
