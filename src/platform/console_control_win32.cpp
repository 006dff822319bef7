#include <windows.h>

#include <stdexcept>

#include "platform/console_control.h"
#include "platform/thread_safety.h"

namespace receiver {
namespace {

// What the handler may reach: a handler takes no argument of ours. It runs on a thread of the
// system, which may be slower than the object's end.
Mutex handlerMutex;
ManualResetEvent* signalledEvent GUARDED_BY(handlerMutex) = nullptr;

bool SignalEvent() EXCLUDES(handlerMutex) {
    const MutexLock lock(handlerMutex);
    if (signalledEvent == nullptr) return false;
    signalledEvent->Signal();
    return true;
}

// FALSE leaves the request to the handler before ours, in the end to the system's own, which
// ends the process at once. After the other requests TRUE does so too, and the process's end
// takes this thread along; the system puts a bound to it.
BOOL WINAPI HandleRequest(DWORD request) {
    if (!SignalEvent()) return FALSE;
    if (request != CTRL_C_EVENT && request != CTRL_BREAK_EVENT) {
        WaitForSingleObject(GetCurrentProcess(), INFINITE);
    }
    return TRUE;
}

}  // namespace

// The handler stays registered: the system holds its list of handlers while one of them runs,
// so that taking ours out would wait for one that waits for us.
class ConsoleControl::Registration {
public:
    explicit Registration(ManualResetEvent& event) {
        static const bool isRegistered = SetConsoleCtrlHandler(HandleRequest, TRUE) != FALSE;
        if (!isRegistered) throw std::runtime_error("Cannot register console control handler");
        const MutexLock lock(handlerMutex);
        signalledEvent = &event;
    }
    ~Registration() {
        const MutexLock lock(handlerMutex);
        signalledEvent = nullptr;
    }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;
};

ConsoleControl::ConsoleControl(ManualResetEvent& event)
    : registration_(std::make_unique<Registration>(event)) {}

ConsoleControl::~ConsoleControl() = default;

}  // namespace receiver
