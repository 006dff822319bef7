#include "pipe/endpoint_lock_posix.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

#include "pipe/pipe_error_posix.h"
#include "platform/error_codes.h"

namespace receiver {

EndpointLock::~EndpointLock() {
    if (fd_.IsValid()) unlinkat(directory_, fileName_.c_str(), 0);
}

uint32_t EndpointLock::Take(int directory, const std::string& name) {
    directory_ = directory;
    fileName_ = "lock." + name;
    constexpr int kFlags = O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC;
    do {
        fd_.Reset(openat(directory, fileName_.c_str(), kFlags, S_IRUSR | S_IWUSR));
        if (!fd_.IsValid()) return TranslatePipeError(PipeOperation::kLock, errno);
        if (flock(fd_.Get(), LOCK_EX | LOCK_NB) != 0) {
            const int error = errno;
            fd_.Reset();  // without the lock the file is not ours to remove
            return TranslatePipeError(PipeOperation::kLock, error);
        }
        // The previous holder may have removed the file between our open and our lock; then
        // we hold a lock that nobody else will ever meet.
    } while (!IsAtItsPath());
    return kErrorNone;
}

bool EndpointLock::IsAtItsPath() {
    struct stat locked {};
    struct stat named {};
    if (fstat(fd_.Get(), &locked) != 0) return false;
    if (fstatat(directory_, fileName_.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0) return false;
    inode_ = locked.st_ino;
    return locked.st_ino == named.st_ino && locked.st_dev == named.st_dev;
}

}  // namespace receiver
