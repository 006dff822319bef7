#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>

// The header of glibc 2.36 does not say that its functions are C.
extern "C" {
#include <sys/pidfd.h>
}

#include "platform/child_process_handle.h"
#include "platform/poll_posix.h"
#include "platform/unique_fd_posix.h"

namespace receiver {
namespace {

struct Pipe {
    UniqueFd readEnd;
    UniqueFd writeEnd;
};

Pipe CreatePipe(const std::string& failure) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error(failure);
    return {UniqueFd(ends[0]), UniqueFd(ends[1])};
}

// What the child's descriptors 0, 1 and 2 become. All others of ours are close-on-exec.
class FileActions {
public:
    FileActions() { posix_spawn_file_actions_init(&actions_); }
    ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    void Null(int target, int flags) {
        posix_spawn_file_actions_addopen(&actions_, target, "/dev/null", flags, 0);
    }
    void Use(int target, int source) {
        posix_spawn_file_actions_adddup2(&actions_, source, target);
    }
    const posix_spawn_file_actions_t* Get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

// A process group of its own, and the signals as a fresh program expects them: an ignored
// signal would stay ignored in the child.
class Attributes {
public:
    Attributes() {
        posix_spawnattr_init(&attributes_);
        posix_spawnattr_setflags(
            &attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
        posix_spawnattr_setpgroup(&attributes_, 0);
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&attributes_, &signals);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) sigaddset(&signals, signal);
        posix_spawnattr_setsigdefault(&attributes_, &signals);
    }
    ~Attributes() { posix_spawnattr_destroy(&attributes_); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    const posix_spawnattr_t* Get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_{};
};

pid_t Spawn(const std::string& program, const std::vector<std::string>& arguments,
            const FileActions& actions) {
    std::vector<std::string> texts{program};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    argv.reserve(texts.size() + 1);
    for (std::string& text : texts) argv.push_back(text.data());
    argv.push_back(nullptr);
    const Attributes attributes;
    pid_t pid = -1;
    const int error =
        posix_spawnp(&pid, program.c_str(), actions.Get(), attributes.Get(), argv.data(), environ);
    return error == 0 ? pid : -1;
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
        const std::string failure = "Cannot start " + program;
        Pipe output = CreatePipe(failure);
        Pipe errors;
        FileActions actions;
        actions.Null(STDIN_FILENO, O_RDONLY);
        actions.Use(STDOUT_FILENO, output.writeEnd.Get());
        if (errorStream == ChildProcess::ErrorStream::kCapture) {
            errors = CreatePipe(failure);
            actions.Use(STDERR_FILENO, errors.writeEnd.Get());
        } else if (errorStream == ChildProcess::ErrorStream::kNull) {
            actions.Null(STDERR_FILENO, O_WRONLY);
        }
        pid_ = Spawn(program, arguments, actions);
        if (pid_ < 0) throw std::runtime_error(failure);
        pidFd_.Reset(pidfd_open(pid_, 0));
        if (!pidFd_.IsValid()) {
            kill(pid_, SIGKILL);
            Reap();
            throw std::runtime_error(failure);
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
        return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }

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
    return std::make_unique<PosixChildProcess>(program, arguments, errorStream);
}

}  // namespace receiver
