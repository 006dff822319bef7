#include <windows.h>

#include <algorithm>
#include <stdexcept>

#include "platform/manual_reset_event.h"

namespace receiver {
namespace {

HANDLE ToHandle(ManualResetEvent::NativeHandle native) {
    return reinterpret_cast<HANDLE>(native);
}

}  // namespace

ManualResetEvent::ManualResetEvent()
    : native_(reinterpret_cast<NativeHandle>(CreateEventA(nullptr, TRUE, FALSE, nullptr))) {
    if (ToHandle(native_) == nullptr) throw std::runtime_error("Could not create event");
}

ManualResetEvent::~ManualResetEvent() {
    CloseHandle(ToHandle(native_));
}

void ManualResetEvent::Signal() noexcept {
    signalled_ = true;
    SetEvent(ToHandle(native_));
}

bool ManualResetEvent::Wait(uint32_t ms) const noexcept {
    const DWORD bounded = std::min<DWORD>(ms, INFINITE - 1);
    return WaitForSingleObject(ToHandle(native_), bounded) == WAIT_OBJECT_0;
}

}  // namespace receiver
