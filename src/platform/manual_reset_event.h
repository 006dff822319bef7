// A manual-reset event: once signalled it stays so until its owner is destroyed.
// It is what every blocking wait of the receiver also waits on, so that a stop
// ends the wait at once.
//
//   Threads  any; Signal is also async-signal-safe.
//   Errors   the constructor throws std::runtime_error when the system refuses.
#pragma once

#include <atomic>
#include <cstdint>

namespace receiver {

class ManualResetEvent final {
public:
    // An eventfd on Linux, an event HANDLE on Windows, for the platform files' waits.
    using NativeHandle = std::intptr_t;

    ManualResetEvent();
    ~ManualResetEvent();
    ManualResetEvent(const ManualResetEvent&) = delete;
    ManualResetEvent& operator=(const ManualResetEvent&) = delete;

    void Signal() noexcept;
    // What Wait(0) tells, without a call of the system: it is asked at every step of a transfer.
    bool IsSignalled() const noexcept { return signalled_; }
    // True as soon as the event is signalled, false after `ms` without it.
    bool Wait(uint32_t ms) const noexcept;
    NativeHandle Native() const noexcept { return native_; }

private:
    NativeHandle native_;
    std::atomic<bool> signalled_{false};  // set before the system's event, so no wait sees less
    static_assert(std::atomic<bool>::is_always_lock_free);
};

}  // namespace receiver
