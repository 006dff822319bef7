#include "platform/parent_thread_posix.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <utility>

#include "platform/thread_name.h"
#include "platform/unique_fd_posix.h"

namespace receiver {
namespace {

constexpr int kNotStartedCode = 127;  // as a shell reports it

// All that the child needs, made before it exists: between fork and exec nothing may allocate.
struct ChildPlan {
    std::vector<char*> argv;
    ChildStreams streams;
    pid_t parent;
    int failurePipe;  // takes errno when there is no exec
};

// Exec itself turns handlers into the default action. Until then a handler of ours could still
// run, and signal the event that the parent waits for.
void ResetSignals() {
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        struct sigaction action {};
        if (sigaction(signal, nullptr, &action) != 0) continue;  // of the C library
        const bool isIgnored = action.sa_handler == SIG_IGN;
        const bool mustAct = signal == SIGINT || signal == SIGTERM || signal == SIGPIPE;
        if (isIgnored && !mustAct) continue;
        action = {};
        action.sa_handler = SIG_DFL;
        sigaction(signal, &action, nullptr);
    }
}

bool UseStreams(const ChildStreams& streams) {
    const auto use = [](int source, int target) {
        return source < 0 || dup2(source, target) == target;
    };
    return use(streams.input, STDIN_FILENO) && use(streams.output, STDOUT_FILENO) &&
           use(streams.errors, STDERR_FILENO);
}

[[noreturn]] void BecomeProgram(const ChildPlan& plan) {
    ResetSignals();
    setpgid(0, 0);
    // The parent may have ended before the system knew what to do then.
    if (prctl(PR_SET_PDEATHSIG, SIGTERM) == 0 && getppid() == plan.parent &&
        UseStreams(plan.streams)) {
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        execvp(plan.argv.front(), plan.argv.data());
    }
    const int error = errno;
    [[maybe_unused]] const ssize_t told = write(plan.failurePipe, &error, sizeof error);
    _exit(kNotStartedCode);
}

// -1 when there is no child, or it could not become the program.
pid_t Start(ChildPlan& plan) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return -1;
    const UniqueFd failure(ends[0]);
    UniqueFd failurePipe = AboveStandardStreams(UniqueFd(ends[1]));
    if (!failurePipe.IsValid()) return -1;
    plan.failurePipe = failurePipe.Get();
    const pid_t child = fork();
    if (child == 0) BecomeProgram(plan);
    failurePipe.Reset();
    if (child < 0) return -1;

    int error = 0;
    ssize_t told = 0;
    do {
        told = read(failure.Get(), &error, sizeof error);
    } while (told < 0 && errno == EINTR);
    if (told == 0) return child;  // closed by the exec
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    return -1;
}

}  // namespace

ParentThread::ParentThread(const std::string& program, const std::vector<std::string>& arguments,
                           const ChildStreams& streams) {
    std::vector<std::string> texts{program};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    ChildPlan plan{{}, streams, getpid(), -1};
    for (std::string& text : texts) plan.argv.push_back(text.data());
    plan.argv.push_back(nullptr);

    std::promise<pid_t> started;
    std::future<pid_t> child = started.get_future();
    thread_ = std::thread(
        [started = std::move(started), &plan, release = release_.get_future()]() mutable {
            sigset_t all;
            sigfillset(&all);
            pthread_sigmask(SIG_SETMASK, &all, nullptr);
            SetCurrentThreadName("parent");
            started.set_value(Start(plan));
            release.wait();
        });
    child_ = child.get();
    if (child_ >= 0) return;
    release_.set_value();
    thread_.join();
    throw std::runtime_error("No child process");
}

ParentThread::~ParentThread() {
    release_.set_value();
    thread_.join();
}

}  // namespace receiver
