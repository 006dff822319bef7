// Sole ownership of a file descriptor. For the *_posix files.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include "platform/unique_resource.h"

namespace receiver {

struct FdTraits {
    using Type = int;
    static Type Invalid() { return -1; }
    static void Close(Type fd) { ::close(fd); }
};
using UniqueFd = UniqueResource<FdTraits>;

// The same above the standard descriptors, which a process that lacks them hands out first;
// closed on exec. Invalid where the system has none left.
inline UniqueFd AboveStandardStreams(UniqueFd fd) {
    if (fd.Get() > STDERR_FILENO) return fd;
    return UniqueFd(fcntl(fd.Get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

}  // namespace receiver
