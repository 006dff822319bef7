// Sole ownership of a file descriptor. For the *_posix files.
#pragma once

#include <unistd.h>

#include "platform/unique_resource.h"

namespace receiver {

struct FdTraits {
    using Type = int;
    static Type Invalid() { return -1; }
    static void Close(Type fd) { ::close(fd); }
};
using UniqueFd = UniqueResource<FdTraits>;

}  // namespace receiver
