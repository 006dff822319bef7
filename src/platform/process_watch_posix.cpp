#include "platform/process_watch.h"

#include <cerrno>

// The header of glibc 2.36 does not say that its functions are C.
extern "C" {
#include <sys/pidfd.h>
}

#include "platform/poll_posix.h"
#include "platform/unique_fd_posix.h"

namespace receiver {
namespace {

class DescriptorWatch final : public ProcessWatch {
public:
    explicit DescriptorWatch(uint32_t id) {
        if (id == 0) return;  // of another namespace
        descriptor_.Reset(pidfd_open(static_cast<pid_t>(id), 0));
        isGone_ = !descriptor_.IsValid() && errno == ESRCH;
    }

    bool WaitForEnd(uint32_t ms) const override {
        if (isGone_ || !descriptor_.IsValid()) return isGone_;
        std::array<pollfd, 1> fds{{{descriptor_.Get(), POLLIN, 0}}};
        return PollUntil(fds, DeadlineTickMs(ms)) > 0;
    }

private:
    UniqueFd descriptor_;
    bool isGone_ = false;
};

}  // namespace

std::unique_ptr<ProcessWatch> WatchProcess(uint32_t processId) {
    return std::make_unique<DescriptorWatch>(processId);
}

}  // namespace receiver
