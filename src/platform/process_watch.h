// Whether another process has ended: one that was not started here, but serves us.
//
//   Threads  one at a time.
#pragma once

#include <cstdint>
#include <memory>

namespace receiver {

class ProcessWatch {
public:
    ProcessWatch() = default;
    ProcessWatch(const ProcessWatch&) = delete;
    ProcessWatch& operator=(const ProcessWatch&) = delete;
    virtual ~ProcessWatch() = default;

    // True as soon as it has ended, false after `ms` without that.
    virtual bool WaitForEnd(uint32_t ms) const = 0;
};

// Of the process that has this number now. Where it cannot be watched (the system or its age
// does not allow it, or the number is 0) it counts as living.
std::unique_ptr<ProcessWatch> WatchProcess(uint32_t processId);

}  // namespace receiver
