#include <sys/eventfd.h>
#include <unistd.h>

#include <stdexcept>

#include "platform/poll_posix.h"
#include "platform/wake_up_event.h"

namespace receiver {

WakeUpEvent::WakeUpEvent() : native_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (native_ < 0) throw std::runtime_error("Could not create event");
}

WakeUpEvent::~WakeUpEvent() {
    close(static_cast<int>(native_));
}

// Neither call can fail in a way that matters: a counter at its maximum is signalled, and one
// at zero has nothing to take back.
void WakeUpEvent::Signal() noexcept {
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(static_cast<int>(native_), &one, sizeof one);
}

void WakeUpEvent::TakeBack() noexcept {
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t taken = read(static_cast<int>(native_), &count, sizeof count);
}

bool WakeUpEvent::Wait(uint32_t ms) const noexcept {
    std::array<pollfd, 1> fds{{{static_cast<int>(native_), POLLIN, 0}}};
    return PollUntil(fds, DeadlineTickMs(ms)) > 0;
}

}  // namespace receiver
