#include <cerrno>
#include <cstdio>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "audio_output/output_file.h"
#include "platform/unique_fd_posix.h"

namespace receiver {
namespace {

std::string SystemText() {
    return std::generic_category().message(errno);
}

// Where the file system cannot refuse a name by itself, a second name can; where it has none of
// those either (FAT), we look first.
int RenameToFreeName(const char* from, const char* to) {
    if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return -1;
    if (link(from, to) == 0) return unlink(from);
    if (errno != EPERM && errno != EOPNOTSUPP) return -1;
    struct stat status {};
    if (lstat(to, &status) != 0) return rename(from, to);
    errno = EEXIST;
    return -1;
}

// The name is in place by then; a file system that cannot do this does it in its own time.
void FlushFolderOf(const std::filesystem::path& path) {
    const std::filesystem::path folder = path.parent_path();
    const UniqueFd fd(
        open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.IsValid()) fsync(fd.Get());
}

}  // namespace

bool OutputFile::Create(const std::filesystem::path& path, bool overwrite) {
    Close();
    if (overwrite) {
        if (IsBeingWritten(path)) {
            failure_ = "another recording is writing it";
            return false;
        }
        if (unlink(path.c_str()) != 0 && errno != ENOENT) return Fail();
    }
    native_ = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (native_ == kClosed) return Fail();
    flock(static_cast<int>(native_), LOCK_EX | LOCK_NB);  // some folders know no locks
    return true;
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

bool IsBeingWritten(const std::filesystem::path& path) {
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    return file.IsValid() && flock(file.Get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

std::error_code RenameFile(const std::filesystem::path& from, const std::filesystem::path& to,
                           bool overwrite) {
    const int result =
        overwrite ? rename(from.c_str(), to.c_str()) : RenameToFreeName(from.c_str(), to.c_str());
    if (result != 0) return {errno, std::generic_category()};
    FlushFolderOf(to);
    return {};
}

}  // namespace receiver
