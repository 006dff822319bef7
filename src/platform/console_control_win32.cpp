#include <windows.h>

#include <atomic>
#include <stdexcept>

#include "platform/console_control.h"

namespace {

// What the handler may reach: a handler takes no argument of ours.
std::atomic<CEvent*> signalledEvent{nullptr};

// TRUE for every kind of request: the default handler would end the process at once.
BOOL WINAPI SignalEvent(DWORD) {
    if (CEvent* event = signalledEvent.load()) event->Signal();
    return TRUE;
}

}  // namespace

class CConsoleControl::Registration {
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

CConsoleControl::CConsoleControl(CEvent& event) {
    signalledEvent = &event;
    registration_ = std::make_unique<Registration>();
}

CConsoleControl::~CConsoleControl() {
    registration_.reset();
    signalledEvent = nullptr;
}
