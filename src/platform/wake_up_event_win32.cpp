#include <windows.h>

#include <algorithm>
#include <stdexcept>

#include "platform/wake_up_event.h"

namespace receiver {
namespace {

HANDLE ToHandle(WakeUpEvent::NativeHandle native) {
    return reinterpret_cast<HANDLE>(native);
}

}  // namespace

// Reset by hand: a wait on several objects that ends for another one would take the signal, too.
WakeUpEvent::WakeUpEvent()
    : native_(reinterpret_cast<NativeHandle>(CreateEventA(nullptr, TRUE, FALSE, nullptr))) {
    if (ToHandle(native_) == nullptr) throw std::runtime_error("Could not create event");
}

WakeUpEvent::~WakeUpEvent() {
    CloseHandle(ToHandle(native_));
}

void WakeUpEvent::Signal() noexcept {
    SetEvent(ToHandle(native_));
}

void WakeUpEvent::TakeBack() noexcept {
    ResetEvent(ToHandle(native_));
}

bool WakeUpEvent::Wait(uint32_t ms) const noexcept {
    const DWORD bounded = std::min<DWORD>(ms, INFINITE - 1);
    return WaitForSingleObject(ToHandle(native_), bounded) == WAIT_OBJECT_0;
}

}  // namespace receiver
