// receiver-record on a terminal of its own, whose screen the test looks at. POSIX only.
//
//   Threads  one.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "terminal_screen.h"

namespace receiver {

class TerminalRun final {
public:
    // `environment` holds NAME=VALUE, added to the test's own.
    TerminalRun(const std::vector<std::string>& arguments, unsigned short columns,
                const std::vector<std::string>& environment = {});
    ~TerminalRun();
    TerminalRun(const TerminalRun&) = delete;
    TerminalRun& operator=(const TerminalRun&) = delete;

    void Resize(unsigned short columns);
    // Shows what the program writes until the screen is as wanted; false at its end, and when
    // that does not come in time.
    bool ShowUntil(const std::function<bool(const TerminalScreen&)>& wanted);
    // Shows all until the program ends; its exit code.
    std::optional<int> Finish();

    long ProcessId() const { return child_; }
    const TerminalScreen& Screen() const { return screen_; }
    double Seconds() const;  // since the start

private:
    bool ShowMore(uint64_t deadlineTickMs);

    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    TerminalScreen screen_;
    int terminal_ = -1;
    pid_t child_ = -1;
};

}  // namespace receiver
