#include <windows.h>

#include <algorithm>
#include <stdexcept>

#include "platform/event.h"

namespace {

HANDLE ToHandle(CEvent::NativeHandle native) {
    return reinterpret_cast<HANDLE>(native);
}

}  // namespace

CEvent::CEvent()
    : native_(reinterpret_cast<NativeHandle>(CreateEventA(nullptr, TRUE, FALSE, nullptr))) {
    if (ToHandle(native_) == nullptr) throw std::runtime_error("Could not create event");
}

CEvent::~CEvent() {
    CloseHandle(ToHandle(native_));
}

void CEvent::Signal() noexcept {
    signalled_ = true;
    SetEvent(ToHandle(native_));
}

bool CEvent::Wait(uint32_t ms) const noexcept {
    const DWORD bounded = std::min<DWORD>(ms, INFINITE - 1);
    return WaitForSingleObject(ToHandle(native_), bounded) == WAIT_OBJECT_0;
}
