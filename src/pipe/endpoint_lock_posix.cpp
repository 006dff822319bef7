#include "pipe/endpoint_lock_posix.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <cerrno>

#include "pipe/endpoint_names_posix.h"
#include "pipe/pipe_error_posix.h"
#include "platform/error_codes.h"
#include "platform/poll_posix.h"

namespace receiver {

EndpointLock::~EndpointLock() {
    if (fd_.IsValid() && IsAtItsPath()) unlinkat(directory_, fileName_.c_str(), 0);
}

uint32_t EndpointLock::Take(int directory, const std::string& name, uint64_t deadlineTickMs) {
    directory_ = directory;
    fileName_ = LockFileName(name);
    constexpr int kFlags = O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC;
    while (true) {
        fd_.Reset(openat(directory, fileName_.c_str(), kFlags, S_IRUSR | S_IWUSR));
        if (!fd_.IsValid()) return TranslatePipeError(PipeOperation::kLock, errno);
        if (TryLock()) {
            // The previous holder may have removed the file between our open and our lock;
            // then we hold a lock that nobody else will ever meet.
            if (IsAtItsPath()) return kErrorNone;
            continue;
        }
        const int error = errno;
        if (error == EWOULDBLOCK && WaitForRelease(deadlineTickMs)) continue;
        fd_.Reset();  // without the lock the file is not ours to remove
        return TranslatePipeError(PipeOperation::kLock, error);
    }
}

bool EndpointLock::TryLock() {
    struct stat locked {};
    if (flock(fd_.Get(), LOCK_EX | LOCK_NB) != 0) return false;
    if (fstat(fd_.Get(), &locked) == 0) inode_ = locked.st_ino;
    return true;
}

// Whoever gives the name up removes the file and then closes it. Where the system cannot tell
// of that, there is no waiting.
bool EndpointLock::WaitForRelease(uint64_t deadlineTickMs) const {
    if (TickMs() >= deadlineTickMs) return false;
    const UniqueFd watch(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    const std::string path = "/proc/self/fd/" + std::to_string(fd_.Get());
    if (inotify_add_watch(watch.Get(), path.c_str(), IN_ATTRIB | IN_CLOSE) < 0) return false;
    if (!IsAtItsPath()) return true;  // gone before we looked
    std::array<pollfd, 1> fds{{{watch.Get(), POLLIN, 0}}};
    return PollUntil(fds, deadlineTickMs) > 0;
}

bool EndpointLock::IsAtItsPath() const {
    struct stat locked {};
    struct stat named {};
    if (fstat(fd_.Get(), &locked) != 0) return false;
    if (fstatat(directory_, fileName_.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0) return false;
    return locked.st_ino == named.st_ino && locked.st_dev == named.st_dev;
}

}  // namespace receiver
