// Names the calling thread for debuggers and `top -H`; at most 15 characters.
#pragma once

namespace receiver {

void SetCurrentThreadName(const char* name);

}  // namespace receiver
