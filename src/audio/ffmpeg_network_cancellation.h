// Stops a network source from another thread. Shared; set once, never cleared.
#pragma once

#include <atomic>

struct CFFmpegNetworkCancellation {
    std::atomic<bool> cancelled{false};
};
