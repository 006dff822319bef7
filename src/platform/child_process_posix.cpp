#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>
#include <stdexcept>

// The header of glibc 2.36 does not say that its functions are C.
extern "C" {
#include <sys/pidfd.h>
}

#include "platform/child_process_handle.h"
#include "platform/parent_thread_posix.h"
#include "platform/poll_posix.h"
#include "platform/unique_fd_posix.h"

namespace receiver {
namespace {

struct Pipe {
    UniqueFd readEnd;
    UniqueFd writeEnd;
};

Pipe CreatePipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("No pipe");
    Pipe pipe{UniqueFd(ends[0]), AboveStandardStreams(UniqueFd(ends[1]))};
    if (!pipe.writeEnd.IsValid()) throw std::runtime_error("No pipe");
    return pipe;
}

UniqueFd OpenNull() {
    UniqueFd null = AboveStandardStreams(UniqueFd(open("/dev/null", O_RDWR | O_CLOEXEC)));
    if (!null.IsValid()) throw std::runtime_error("No null device");
    return null;
}

void ReadInto(ChildStream& stream, UniqueFd& fd) {
    std::array<char, 65536> bytes;
    const ssize_t moved = read(fd.Get(), bytes.data(), bytes.size());
    if (moved < 0 && errno == EINTR) return;
    if (moved > 0) {
        stream.unread.append(bytes.data(), static_cast<size_t>(moved));
    } else {
        stream.ended = true;
        fd.Reset();
    }
}

class PosixChildProcess final : public ChildProcessHandle {
public:
    PosixChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                      ChildProcess::ErrorStream errorStream) {
        Pipe output = CreatePipe();
        Pipe errors;
        const UniqueFd null = OpenNull();
        ChildStreams streams{null.Get(), output.writeEnd.Get(), -1};
        if (errorStream == ChildProcess::ErrorStream::kCapture) {
            errors = CreatePipe();
            streams.errors = errors.writeEnd.Get();
        } else if (errorStream == ChildProcess::ErrorStream::kNull) {
            streams.errors = null.Get();
        }
        parent_.emplace(program, arguments, streams);
        pid_ = parent_->Child();
        pidFd_.Reset(pidfd_open(pid_, 0));
        if (!pidFd_.IsValid()) {
            kill(pid_, SIGKILL);
            Reap();
            throw std::runtime_error("No process descriptor");
        }
        output_ = std::move(output.readEnd);
        errors_ = std::move(errors.readEnd);
    }

    ~PosixChildProcess() override {
        if (hasEnded_) return;
        Kill();
        Reap();
    }

    PosixChildProcess(const PosixChildProcess&) = delete;
    PosixChildProcess& operator=(const PosixChildProcess&) = delete;

    bool WaitForNews(ChildStream& output, ChildStream& errors, std::optional<int>& exitCode,
                     uint64_t deadlineTickMs) override {
        // poll leaves out what is negative: a stream that ended, a child that was reaped.
        std::array<pollfd, 3> fds{{{output_.Get(), POLLIN, 0},
                                   {errors_.Get(), POLLIN, 0},
                                   {hasEnded_ ? -1 : pidFd_.Get(), POLLIN, 0}}};
        if (PollUntil(fds, deadlineTickMs) <= 0) return false;
        if (fds[0].revents != 0) ReadInto(output, output_);
        if (fds[1].revents != 0) ReadInto(errors, errors_);
        if (fds[2].revents != 0) exitCode = Reap();
        return true;
    }

    void Interrupt() override { Send(SIGINT); }
    void AskToEnd() override { Send(SIGTERM); }
    void Terminate() override { Send(SIGTERM); }
    void Kill() override { Send(SIGKILL); }
    uint32_t Id() const override { return static_cast<uint32_t>(pid_); }

private:
    // Through the descriptor: the number may be another process's once the child is reaped.
    void Send(int signal) { pidfd_send_signal(pidFd_.Get(), signal, nullptr, 0); }

    int Reap() {
        int status = 0;
        while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
        hasEnded_ = true;
        parent_.reset();
        return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }

    std::optional<ParentThread> parent_;  // until the child has ended
    pid_t pid_ = -1;
    bool hasEnded_ = false;
    UniqueFd pidFd_;
    UniqueFd output_;
    UniqueFd errors_;
};

}  // namespace

std::unique_ptr<ChildProcessHandle> StartChildProcess(const std::string& program,
                                                      const std::vector<std::string>& arguments,
                                                      ChildProcess::ErrorStream errorStream) {
    try {
        return std::make_unique<PosixChildProcess>(program, arguments, errorStream);
    } catch (const std::runtime_error&) {
        throw std::runtime_error("Cannot start " + program);
    }
}

}  // namespace receiver
