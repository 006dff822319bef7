// What makes a waiting thread look again: others signal it, the waiter takes the signal back
// before it looks, so that whatever comes after that wakes it once more.
//
//   Threads  Signal: any. All else: the waiter alone.
//   Errors   the constructor throws std::runtime_error when the system refuses.
#pragma once

#include <cstdint>

namespace receiver {

class WakeUpEvent final {
public:
    // An eventfd on Linux, an event HANDLE on Windows, for the platform files' waits.
    using NativeHandle = std::intptr_t;

    WakeUpEvent();
    ~WakeUpEvent();
    WakeUpEvent(const WakeUpEvent&) = delete;
    WakeUpEvent& operator=(const WakeUpEvent&) = delete;

    void Signal() noexcept;
    void TakeBack() noexcept;
    // True as soon as the event is signalled, false after `ms` without it. Takes nothing back.
    bool Wait(uint32_t ms) const noexcept;
    NativeHandle Native() const noexcept { return native_; }

private:
    const NativeHandle native_;
};

}  // namespace receiver
