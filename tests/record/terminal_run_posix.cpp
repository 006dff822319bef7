#include "terminal_run_posix.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include "platform/clock.h"
#include "record_run.h"
#include "testing/forked_child_posix.h"

namespace receiver {
namespace {

winsize SizeOf(unsigned short columns) {
    winsize size = {};
    size.ws_col = columns;
    size.ws_row = 24;
    return size;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

TerminalRun::TerminalRun(const std::vector<std::string>& arguments, unsigned short columns,
                         const std::vector<std::string>& environment)
    : screen_(columns) {
    std::vector<std::string> command = {RecordProgram()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables = environment;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        if (text.rfind("TERM=", 0) != 0 && text.rfind("NO_COLOR=", 0) != 0) {
            variables.push_back(text);
        }
    }
    const std::vector<char*> argv = Pointers(command);
    const std::vector<char*> envp = Pointers(variables);
    const winsize size = SizeOf(columns);
    child_ = forkpty(&terminal_, nullptr, nullptr, &size);
    if (child_ < 0) throw std::runtime_error("there is no terminal");
    if (child_ == 0) {
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
}

TerminalRun::~TerminalRun() {
    if (child_ > 0) {
        kill(child_, SIGKILL);
        if (!WaitForChild(child_)) ADD_FAILURE() << "the killed program stays";
    }
    close(terminal_);
}

void TerminalRun::Resize(unsigned short columns) {
    const winsize size = SizeOf(columns);
    if (ioctl(terminal_, TIOCSWINSZ, &size) != 0) throw std::runtime_error("it keeps its size");
    screen_.Resize(columns);
}

bool TerminalRun::ShowUntil(const std::function<bool(const TerminalScreen&)>& wanted) {
    const uint64_t deadline = TickMs() + kRunPatienceMs;
    while (!wanted(screen_)) {
        if (!ShowMore(deadline)) return false;
    }
    return true;
}

std::optional<int> TerminalRun::Finish() {
    const uint64_t deadline = TickMs() + kRunPatienceMs;
    while (ShowMore(deadline)) {
    }
    const std::optional<int> status = WaitForChild(child_);
    if (!status) return {};
    child_ = -1;
    if (!WIFEXITED(*status)) return {};
    return WEXITSTATUS(*status);
}

double TerminalRun::Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

bool TerminalRun::ShowMore(uint64_t deadlineTickMs) {
    const uint64_t now = TickMs();
    if (now >= deadlineTickMs ||
        !WaitUntilReadable(terminal_, static_cast<uint32_t>(deadlineTickMs - now))) {
        return false;
    }
    char bytes[4096];
    const ssize_t count = read(terminal_, bytes, sizeof(bytes));
    if (count > 0) screen_.Write(std::string(bytes, static_cast<size_t>(count)));
    return count > 0;
}

}  // namespace receiver
