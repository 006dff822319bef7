#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "audio_output/output_file.h"

namespace receiver {
namespace {

std::string SystemText() {
    return std::generic_category().message(errno);
}

}  // namespace

bool OutputFile::Create(const std::filesystem::path& path, bool overwrite) {
    Close();
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (overwrite ? O_TRUNC : O_EXCL);
    native_ = open(path.c_str(), flags, 0666);
    return native_ != kClosed || Fail();
}

bool OutputFile::WriteAt(uint64_t offset, const void* data, size_t size) {
    const char* at = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t written =
            pwrite(static_cast<int>(native_), at, size, static_cast<off_t>(offset));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return Fail();
        at += written;
        offset += static_cast<uint64_t>(written);
        size -= static_cast<size_t>(written);
    }
    return true;
}

bool OutputFile::Truncate(uint64_t size) {
    return ftruncate(static_cast<int>(native_), static_cast<off_t>(size)) == 0 || Fail();
}

bool OutputFile::Flush() {
    return fdatasync(static_cast<int>(native_)) == 0 || Fail();
}

void OutputFile::Close() {
    if (native_ != kClosed) close(static_cast<int>(native_));
    native_ = kClosed;
}

bool OutputFile::Fail() {
    failure_ = SystemText();
    return false;
}

bool StandardOutput::Write(const void* data, size_t size) {
    const char* at = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t written = write(STDOUT_FILENO, at, size);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) {
            failure_ = SystemText();
            return false;
        }
        at += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

}  // namespace receiver
