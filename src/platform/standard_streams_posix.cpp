#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <string>

#include "platform/poll_posix.h"
#include "platform/standard_streams.h"

namespace receiver {
namespace {

// While it lives, a write to a broken pipe on this thread fails instead of raising
// SIGPIPE, whatever the process has set for that signal.
class BrokenPipeGuard {
public:
    BrokenPipeGuard() {
        sigemptyset(&brokenPipe_);
        sigaddset(&brokenPipe_, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        wasPending_ = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &brokenPipe_, &previous_);
    }
    ~BrokenPipeGuard() {
        const timespec noWait{};
        if (!wasPending_) sigtimedwait(&brokenPipe_, nullptr, &noWait);
        pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
    }
    BrokenPipeGuard(const BrokenPipeGuard&) = delete;
    BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

private:
    sigset_t brokenPipe_{};
    sigset_t previous_{};
    bool wasPending_ = false;
};

void WriteLine(int fd, std::string_view text) {
    std::string line(text);
    line += '\n';
    const BrokenPipeGuard guard;
    std::string_view rest = line;
    while (!rest.empty()) {
        const ssize_t moved = write(fd, rest.data(), rest.size());
        if (moved > 0) {
            rest.remove_prefix(static_cast<size_t>(moved));
        } else if (moved < 0 && errno == EAGAIN) {  // whoever shares the stream made it so
            std::array<pollfd, 1> fds{{{fd, POLLOUT, 0}}};
            if (PollUntil(fds, UINT64_MAX) < 0) return;
        } else if (moved == 0 || errno != EINTR) {
            return;
        }
    }
}

bool IsClosed(int fd) {
    return fcntl(fd, F_GETFD) < 0 && errno == EBADF;
}

}  // namespace

// The lowest free descriptor is the one that open gives, and all below it are open by then.
bool OpenMissingStandardStreams() {
    const bool isOutputMissing = IsClosed(STDOUT_FILENO);
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (!IsClosed(fd)) continue;
        if (open("/dev/null", O_RDWR) != fd)
            throw std::runtime_error("Cannot open the null device");
    }
    return isOutputMissing;
}

void WriteStandardOutputLine(std::string_view text) {
    WriteLine(STDOUT_FILENO, text);
}

void WriteStandardErrorLine(std::string_view text) {
    WriteLine(STDERR_FILENO, text);
}

}  // namespace receiver
