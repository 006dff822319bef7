// What a failed system call of a pipe endpoint is called outside: the one table from
// errno to the numbers of platform/error_codes.h.
#pragma once

#include <cstdint>

namespace receiver {

enum class PipeOperation {
    kOpenDirectory,  // the directory of the endpoints
    kLock,           // the claim of a server to its name
    kListen,
    kAccept,
    kConnect,
    kTransfer,  // read, write, peek
};

uint32_t TranslatePipeError(PipeOperation operation, int error);

}  // namespace receiver
