#include "pipe/endpoint_directory_posix.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "pipe/pipe_error_posix.h"
#include "platform/error_codes.h"

namespace receiver {

std::string EndpointDirectoryPath() {
    return "/tmp/corvadel-" + std::to_string(geteuid());
}

uint32_t EndpointDirectory::OpenOrCreate(const std::string& path) {
    if (mkdir(path.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
        return TranslatePipeError(PipeOperation::kOpenDirectory, errno);
    }
    return OpenExisting(path);
}

uint32_t EndpointDirectory::OpenExisting(const std::string& path) {
    UniqueFd fd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!fd.IsValid()) return TranslatePipeError(PipeOperation::kOpenDirectory, errno);

    struct stat status {};
    if (fstat(fd.Get(), &status) != 0) {
        return TranslatePipeError(PipeOperation::kOpenDirectory, errno);
    }
    // Whoever else could write here could put a socket of his own in our place.
    const bool isOurs = status.st_uid == geteuid();
    const bool isPrivate = (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
    if (!isOurs || !isPrivate) return kErrorAccessDenied;
    fd_ = std::move(fd);
    return kErrorNone;
}

bool EndpointDirectory::IsAt(const std::string& path) const {
    struct stat opened {};
    struct stat named {};
    return fstat(Fd(), &opened) == 0 && lstat(path.c_str(), &named) == 0 &&
           opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
}

std::string EndpointDirectory::ShortPath(const std::string& name) const {
    return "/proc/self/fd/" + std::to_string(Fd()) + "/" + name;
}

}  // namespace receiver
