// How long tests wait for what must come, and what becomes of a test in which it does not.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/thread_safety.h"

namespace receiver {

// For what the tested code does: long, because it only costs time in a failure.
inline constexpr uint32_t kPatienceMs = 30000;
// For what only the test itself ends, as a stalled station or a held read: longer than any test
// has reason to hold it, and less than ctest gives a test.
inline constexpr uint32_t kMaxHoldMs = 100000;

// For a loop that waits turn by turn: Check, called in each turn, throws std::runtime_error once
// the time is over.
class Patience final {
public:
    explicit Patience(std::string what, uint32_t ms = kPatienceMs)
        : what_(std::move(what)), ms_(ms), end_(DeadlineIn(ms)) {}

    void Check() const {
        if (std::chrono::steady_clock::now() < end_) return;
        throw std::runtime_error(what_ + " has not come within " + std::to_string(ms_) + " ms");
    }

private:
    const std::string what_;
    const uint32_t ms_;
    const SteadyTime end_;
};

// Ends the program with a sentence: for a wait whose thread, once it hangs, cannot be taken down
// in order.
[[noreturn]] inline void GiveUp(const std::string& what, uint32_t waitedMs) {
    std::fprintf(stderr, "Gave up after %u ms: %s\n", waitedMs, what.c_str());
    std::fflush(stderr);
    std::abort();
}

}  // namespace receiver
