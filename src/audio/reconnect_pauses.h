// How long to wait before the next attempt to connect: not at all at first, then longer and
// longer, by chance within a growing bound, so that the listeners of a station that has come
// back do not all come at once.
//
//   Units    ms.
//   Threads  one at a time.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

namespace receiver {

class ReconnectPauses final {
public:
    static constexpr uint64_t kFirstMaxMs = 500;
    static constexpr uint64_t kMaxMs = 5000;
    static constexpr uint64_t kMinMs = 50;  // also where chance says 0

    // A connection has held: the next attempt is at once again.
    void Reset() { attempts_ = 0; }

    // `random` is in [0, 1); what a server asks for is respected, however long it is.
    uint64_t Next(double random, std::optional<uint32_t> retryAfterSeconds) {
        const uint64_t asked = 1000ULL * retryAfterSeconds.value_or(0);
        const uint32_t attempt = attempts_++;
        if (attempt == 0) return asked;
        const uint64_t most = std::min(kMaxMs, kFirstMaxMs << std::min(attempt - 1, 10U));
        const auto pause = static_cast<uint64_t>(random * static_cast<double>(most));
        return std::max({pause, kMinMs, asked});
    }

private:
    uint32_t attempts_ = 0;
};

}  // namespace receiver
