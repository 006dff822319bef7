#include <windows.h>

#include <atomic>
#include <stdexcept>

#include "platform/console_control.h"

namespace receiver {
namespace {

// What the handler may reach: a handler takes no argument of ours.
std::atomic<ManualResetEvent*> signalledEvent{nullptr};

// TRUE for every kind of request: the default handler would end the process at once.
BOOL WINAPI SignalEvent(DWORD) {
    if (ManualResetEvent* event = signalledEvent.load()) event->Signal();
    return TRUE;
}

}  // namespace

class ConsoleControl::Registration {
public:
    Registration() {
        if (!SetConsoleCtrlHandler(SignalEvent, TRUE)) {
            throw std::runtime_error("Cannot register console control handler");
        }
    }
    ~Registration() { SetConsoleCtrlHandler(SignalEvent, FALSE); }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;
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
