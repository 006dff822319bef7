// What the system at hand can tell apart.
#pragma once

namespace receiver {

// Whether a host that refuses the connection cannot be told from one that does not answer.
bool RefusalLooksLikeTimeout();

}  // namespace receiver
