#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "platform/manual_reset_event.h"
#include "platform/poll_posix.h"

namespace receiver {

ManualResetEvent::ManualResetEvent() : native_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (native_ < 0) throw std::runtime_error("Could not create event");
}

ManualResetEvent::~ManualResetEvent() {
    close(static_cast<int>(native_));
}

// Runs in signal handlers too, so it leaves errno as the interrupted code had it. The
// counter is never read: once above zero the descriptor stays readable for every waiter.
void ManualResetEvent::Signal() noexcept {
    signalled_ = true;
    const int savedErrno = errno;
    const uint64_t one = 1;
    // The only possible failure is a counter at its maximum, which is signalled already.
    [[maybe_unused]] const ssize_t written = write(static_cast<int>(native_), &one, sizeof one);
    errno = savedErrno;
}

bool ManualResetEvent::Wait(uint32_t ms) const noexcept {
    std::array<pollfd, 1> fds{{{static_cast<int>(native_), POLLIN, 0}}};
    return PollUntil(fds, DeadlineTickMs(ms)) > 0;
}

}  // namespace receiver
