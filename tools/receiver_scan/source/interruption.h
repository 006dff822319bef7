// Ctrl+C, and what else asks a program to end, while a command works: the work is asked between
// its steps whether to go on, and what is half-written is taken away before the program ends.
//
//   Threads  constructed and destroyed on the main thread, one at a time; any may ask.
#pragma once

#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/console_control.h"
#include "platform/manual_reset_event.h"

namespace receiver {

// The work was given up.
class Interrupted : public std::exception {
public:
    const char* what() const noexcept override { return "interrupted"; }
};

// Asked between two steps; may be empty.
using StopRequested = std::function<bool()>;

inline bool IsStopRequested(const StopRequested& stop) {
    return stop && stop();
}

class Interruption final {
public:
    // Reading files and URLs is never blocked for long. Where one of the sources is something
    // else, standard input or a FIFO, which may stay silent for ever, nothing is changed:
    // there, Ctrl+C ends the program at once by itself.
    explicit Interruption(const std::vector<std::string>& sources);

    bool IsRequested() const { return event_.IsSignalled(); }
    void ThrowIfRequested() const;  // Interrupted
    // Valid as long as the object.
    StopRequested Asked() const {
        return [this] { return IsRequested(); };
    }

private:
    ManualResetEvent event_;
    std::optional<ConsoleControl> control_;
};

}  // namespace receiver
