// Whether another process has ended: one that was not started here, but serves us.
//
//   Threads  one at a time.
#pragma once

#include <cstdint>
#include <memory>

namespace receiver {

class ProcessWatch final {
public:
    // Of the process that has this number now. Where it cannot be watched (the system or its
    // age does not allow it, or the number is 0) it counts as living.
    explicit ProcessWatch(uint32_t processId);
    ~ProcessWatch();
    ProcessWatch(const ProcessWatch&) = delete;
    ProcessWatch& operator=(const ProcessWatch&) = delete;

    // True as soon as it has ended, false after `ms` without that.
    bool WaitForEnd(uint32_t ms) const;

private:
    class Process;
    const std::unique_ptr<Process> process_;
};

}  // namespace receiver
