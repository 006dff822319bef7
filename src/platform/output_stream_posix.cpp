#include "platform/output_stream.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "platform/manual_reset_event.h"
#include "platform/poll_posix.h"
#include "platform/unique_fd_posix.h"

namespace receiver {
namespace {

// A write may still block in a pipe or a terminal that is said to have room, when it has less
// than was asked for or somebody else takes it. So the stream is opened once more, where that is
// possible, without blocking: to change what we share with others is not ours. Where it is not
// possible, a piece that fits whenever there is room is written at a time.
class DescriptorStream final : public OutputStream {
public:
    explicit DescriptorStream(int standard) : fd_(standard) {
        struct stat status {};
        if (fstat(standard, &status) != 0) return;
        isFile_ = S_ISREG(status.st_mode);
        isSocket_ = S_ISSOCK(status.st_mode);
        if (!S_ISFIFO(status.st_mode) && !S_ISCHR(status.st_mode)) return;
        const std::string path = "/proc/self/fd/" + std::to_string(standard);
        own_.Reset(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
        if (own_.IsValid()) fd_ = own_.Get();
    }

    bool Write(const void* data, size_t size) override {
        const char* at = static_cast<const char*>(data);
        while (size > 0) {
            std::array<pollfd, 2> fds{
                {{static_cast<int>(stopped_.Native()), POLLIN, 0}, {fd_, POLLOUT, 0}}};
            if (PollUntil(fds, UINT64_MAX) < 0) return Fail(errno);
            if (fds[0].revents != 0) {
                failure_ = "Its reader has taken nothing for too long";
                return false;
            }
            const ssize_t written = WriteSome(at, size);
            if (written < 0 && (errno == EINTR || errno == EAGAIN)) continue;
            if (written <= 0) return Fail(errno);
            at += written;
            size -= static_cast<size_t>(written);
        }
        return true;
    }

    void Stop() noexcept override { stopped_.Signal(); }
    const std::string& FailureText() const override { return failure_; }

private:
    ssize_t WriteSome(const char* at, size_t size) const {
        if (isFile_) return write(fd_, at, size);
        const size_t piece = std::min<size_t>(size, PIPE_BUF);
        return isSocket_ ? send(fd_, at, piece, MSG_DONTWAIT | MSG_NOSIGNAL)
                         : write(fd_, at, piece);
    }

    bool Fail(int error) {
        failure_ = std::generic_category().message(error);
        return false;
    }

    ManualResetEvent stopped_;
    UniqueFd own_;
    int fd_;
    bool isFile_ = false;
    bool isSocket_ = false;
    std::string failure_;
};

}  // namespace

std::unique_ptr<OutputStream> OpenStandardOutput() {
    return std::make_unique<DescriptorStream>(STDOUT_FILENO);
}

std::unique_ptr<OutputStream> OpenStandardError() {
    return std::make_unique<DescriptorStream>(STDERR_FILENO);
}

}  // namespace receiver
