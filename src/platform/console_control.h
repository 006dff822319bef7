// Ctrl+C, close and shut-down requests (SIGINT, SIGTERM, SIGHUP on Linux) as the
// signalling of one event, instead of the process's sudden end. A request that was
// ignored when the process started (nohup, background jobs; Ctrl+C for a process group
// of its own on Windows) stays ignored.
//
//   Threads  constructed and destroyed on the main thread; the handler runs on
//            a thread of the system, or as a signal handler, and only signals. On
//            Windows it then does not return from a request to close, log off or shut
//            down: the system ends the process as soon as it does, while the main thread
//            may take the time that the system grants to end by itself.
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
