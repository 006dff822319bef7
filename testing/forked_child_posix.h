// The child of a fork, for what a test can only see from another process or as another user.
// Every wait for it has an end. POSIX only.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <optional>
#include <stdexcept>

#include "platform/unique_fd_posix.h"
#include "testing/patience.h"

namespace receiver {

// Whether the descriptor can be read (a pidfd: whether its process has ended) in time.
inline bool WaitUntilReadable(int fd, uint32_t timeoutMs = kPatienceMs) {
    pollfd ready = {fd, POLLIN, 0};
    return poll(&ready, 1, static_cast<int>(timeoutMs)) > 0;
}

// Reaps a child process once it has ended; nothing, and no reaping, if it has not in time.
inline std::optional<int> WaitForChild(pid_t pid, uint32_t timeoutMs = kPatienceMs) {
    const UniqueFd process(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    int status = 0;
    if (!process.IsValid() || !WaitUntilReadable(process.Get(), timeoutMs) ||
        waitpid(pid, &status, WNOHANG) != pid) {
        return std::nullopt;
    }
    return status;
}

class ForkedChild final {
public:
    // The child's exit code is what `body` returns.
    template <typename Body>
    explicit ForkedChild(Body body) : pid_(fork()) {
        if (pid_ < 0) throw std::runtime_error("cannot fork");
        if (pid_ == 0) _exit(body());
    }
    ~ForkedChild() { Kill(); }
    ForkedChild(const ForkedChild&) = delete;
    ForkedChild& operator=(const ForkedChild&) = delete;

    void Kill() {
        if (pid_ <= 0) return;
        kill(pid_, SIGKILL);
        ExitCode();
    }
    // -1 for a child that a signal ended, or that does not end in time.
    int ExitCode() {
        const std::optional<int> status = WaitForChild(pid_);
        if (!status) return -1;  // the destructor kills it
        pid_ = -1;
        return WIFEXITED(*status) ? WEXITSTATUS(*status) : -1;
    }

private:
    pid_t pid_;
};

// A pipe by which a child tells that it has come so far: one byte.
class ChildSignal final {
public:
    ChildSignal() {
        int ends[2];
        if (pipe(ends) != 0) throw std::runtime_error("no pipe");
        readEnd_.Reset(ends[0]);
        writeEnd_.Reset(ends[1]);
    }
    // In the child.
    bool Give() { return write(writeEnd_.Get(), "x", 1) == 1; }
    // In the parent; false as well when the child ends without it.
    bool Wait() {
        writeEnd_.Reset();
        char byte = 0;
        return WaitUntilReadable(readEnd_.Get()) && read(readEnd_.Get(), &byte, 1) == 1;
    }

private:
    UniqueFd readEnd_;
    UniqueFd writeEnd_;
};

}  // namespace receiver
