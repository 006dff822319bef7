#include "pipe/pipe_error_posix.h"

#include <cerrno>

#include "platform/error_codes.h"

namespace receiver {

uint32_t TranslatePipeError(PipeOperation operation, int error) {
    switch (error) {
        case ENOENT:
            return kErrorFileNotFound;
        case EMFILE:
        case ENFILE:
            return kErrorTooManyOpenFiles;
        case EACCES:
        case EPERM:
            return kErrorAccessDenied;
        case ENOMEM:
            return kErrorOutOfMemory;
        case ENAMETOOLONG:
            return kErrorNameTooLong;
        case ECONNRESET:
            return kErrorBrokenPipe;
        case EPIPE:
            return kErrorNoData;
        case ELOOP:  // a symbolic link in the directory's place
        case ENOTDIR:
            if (operation == PipeOperation::kOpenDirectory) return kErrorAccessDenied;
            break;
        case EAGAIN:  // the queue of the listening socket is full
            if (operation == PipeOperation::kConnect) return kErrorPipeBusy;
            if (operation == PipeOperation::kLock) return kErrorAccessDenied;
            break;
        case ECONNREFUSED:  // a socket that nobody listens on (any more)
            if (operation == PipeOperation::kConnect) return kErrorPipeBusy;
            break;
        default:
            break;
    }
    return kErrorGeneralFailure;
}

}  // namespace receiver
