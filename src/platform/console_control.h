// Ctrl+C, close and shut-down requests (SIGINT, SIGTERM, SIGHUP on Linux) as the
// signalling of one event, instead of the process's sudden end.
//
//   Threads  constructed and destroyed on the main thread; the handler runs on
//            a thread of the system, or as a signal handler, and only signals.
//   Errors   the constructor throws std::runtime_error if a handler is refused.
#pragma once

#include <memory>

#include "platform/manual_reset_event.h"

namespace receiver {

// At most one object at a time. The event outlives it. While it lives SIGPIPE is
// ignored; its destructor puts back what was set before.
class ConsoleControl final {
public:
    explicit ConsoleControl(ManualResetEvent& event);
    ~ConsoleControl();
    ConsoleControl(const ConsoleControl&) = delete;
    ConsoleControl& operator=(const ConsoleControl&) = delete;

private:
    class Registration;  // the platform's handlers

    std::unique_ptr<Registration> registration_;
};

}  // namespace receiver
