// Linked in the place of four system calls: every other call is interrupted by a signal,
// and no transfer moves more than a few hundred bytes.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <utility>

namespace receiver {
namespace {

constexpr size_t kMaxBytes = 611;

std::atomic<unsigned> shortenedTransfers{0};
std::atomic<unsigned> interruptedCalls{0};

// Fails the first of each two calls of a function, so that a loop that tries again gets
// through.
bool IsInterrupted(bool& isSecond) {
    if (std::exchange(isSecond, !isSecond)) return false;
    ++interruptedCalls;
    errno = EINTR;
    return true;
}

size_t Shorten(size_t count) {
    if (count > kMaxBytes) ++shortenedTransfers;
    return std::min(count, kMaxBytes);
}

// The suite means nothing if the linker let the real calls through.
class FaultsHappened : public testing::Environment {
public:
    void TearDown() override {
        EXPECT_GT(shortenedTransfers, 0u);
        EXPECT_GT(interruptedCalls, 0u);
    }
};

testing::Environment* const faultsHappened = testing::AddGlobalTestEnvironment(new FaultsHappened);

}  // namespace

extern "C" {

ssize_t __real_recv(int fd, void* buffer, size_t count, int flags);
ssize_t __real_send(int fd, const void* buffer, size_t count, int flags);
int __real_poll(pollfd* fds, nfds_t count, int timeoutMs);
int __real_accept4(int fd, sockaddr* address, socklen_t* size, int flags);

ssize_t __wrap_recv(int fd, void* buffer, size_t count, int flags) {
    thread_local bool isSecond = false;
    if (IsInterrupted(isSecond)) return -1;
    return __real_recv(fd, buffer, Shorten(count), flags);
}

ssize_t __wrap_send(int fd, const void* buffer, size_t count, int flags) {
    thread_local bool isSecond = false;
    if (IsInterrupted(isSecond)) return -1;
    return __real_send(fd, buffer, Shorten(count), flags);
}

int __wrap_poll(pollfd* fds, nfds_t count, int timeoutMs) {
    thread_local bool isSecond = false;
    if (IsInterrupted(isSecond)) return -1;
    return __real_poll(fds, count, timeoutMs);
}

int __wrap_accept4(int fd, sockaddr* address, socklen_t* size, int flags) {
    thread_local bool isSecond = false;
    if (IsInterrupted(isSecond)) return -1;
    return __real_accept4(fd, address, size, flags);
}

}  // extern "C"

}  // namespace receiver
