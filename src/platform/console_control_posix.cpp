#include <signal.h>

#include <array>
#include <atomic>
#include <stdexcept>

#include "platform/console_control.h"

namespace receiver {
namespace {

// What the handler may reach: a handler takes no argument of ours.
std::atomic<ManualResetEvent*> signalledEvent{nullptr};
static_assert(std::atomic<ManualResetEvent*>::is_always_lock_free);

void SignalEvent(int) {
    if (ManualResetEvent* event = signalledEvent.load()) event->Signal();
}

void SetAction(int signal, const struct sigaction* action, struct sigaction* previous) {
    if (sigaction(signal, action, previous) != 0) {
        throw std::runtime_error("Cannot register console control handler");
    }
}

// One signal's action, put back on destruction.
class SignalAction {
public:
    SignalAction(int signal, void (*handler)(int)) : signal_(signal) {
        struct sigaction action {};
        action.sa_handler = handler;
        action.sa_flags = SA_RESTART;
        sigemptyset(&action.sa_mask);
        SetAction(signal_, nullptr, &previous_);
        // Ignored by whoever started us (nohup, a shell for its background jobs): that is
        // not ours to undo.
        if (previous_.sa_handler != SIG_IGN) SetAction(signal_, &action, nullptr);
    }
    ~SignalAction() { sigaction(signal_, &previous_, nullptr); }
    SignalAction(const SignalAction&) = delete;
    SignalAction& operator=(const SignalAction&) = delete;

private:
    const int signal_;
    struct sigaction previous_ {};
};

}  // namespace

class ConsoleControl::Registration {
public:
    Registration() = default;
    ~Registration() = default;
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

private:
    SignalAction interrupt_{SIGINT, SignalEvent};
    SignalAction terminate_{SIGTERM, SignalEvent};
    SignalAction hangUp_{SIGHUP, SignalEvent};
    SignalAction brokenPipe_{SIGPIPE, SIG_IGN};
};

ConsoleControl::ConsoleControl(ManualResetEvent& event) {
    signalledEvent = &event;
    registration_ = std::make_unique<Registration>();
}

ConsoleControl::~ConsoleControl() {
    registration_.reset();
    signalledEvent = nullptr;
}

}  // namespace receiver
