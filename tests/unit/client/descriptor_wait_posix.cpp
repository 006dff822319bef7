#include <array>

#include "platform/poll_posix.h"
#include "unit/client/descriptor_wait.h"

namespace receiver {

bool WaitForDescriptor(std::intptr_t descriptor, uint32_t ms) {
    std::array<pollfd, 1> fds{{{static_cast<int>(descriptor), POLLIN, 0}}};
    return PollUntil(fds, DeadlineTickMs(ms)) > 0;
}

}  // namespace receiver
