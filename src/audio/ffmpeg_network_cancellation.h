// Stops a network source from another thread. Shared; set once, never cleared.
#pragma once

#include <atomic>

namespace receiver {

struct CFFmpegNetworkCancellation {
    std::atomic<bool> cancelled{false};
};

}  // namespace receiver
