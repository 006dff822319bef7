#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/files.h"

namespace receiver {

bool IsExistingFile(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
}

bool AppendFile::Open(const std::string& path, Mode mode) {
    Close();
    // O_DSYNC is write-through: each write ends as if with fdatasync, so that a line that was
    // written survives a power failure.
    int flags = O_WRONLY | O_CREAT | O_APPEND | O_DSYNC | O_CLOEXEC;
    if (mode == Mode::kCreateAlways) flags |= O_TRUNC;
    do {
        native_ = open(path.c_str(), flags, 0666);
    } while (native_ == kClosed && errno == EINTR);
    return IsOpen();
}

void AppendFile::Close() {
    if (IsOpen()) close(static_cast<int>(native_));
    native_ = kClosed;
}

uint64_t AppendFile::Size() const {
    struct stat status {};
    if (!IsOpen() || fstat(static_cast<int>(native_), &status) != 0) return 0;
    return static_cast<uint64_t>(status.st_size);
}

size_t AppendFile::Write(const void* data, size_t size) {
    size_t written = 0;
    while (IsOpen() && written < size) {
        const ssize_t moved = write(static_cast<int>(native_),
                                    static_cast<const char*>(data) + written, size - written);
        if (moved < 0 && errno == EINTR) continue;
        if (moved <= 0) break;
        written += static_cast<size_t>(moved);
    }
    return written;
}

// Every write has done it. Asked again, the disk empties its cache again, while the caller waits.
void AppendFile::Flush() {}

}  // namespace receiver
