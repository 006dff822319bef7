// Sole ownership of a kernel object's handle. For the *_win32 files.
#pragma once

#include <windows.h>

#include "platform/unique_resource.h"

namespace receiver {

struct HandleTraits {
    using Type = HANDLE;
    static Type Invalid() { return INVALID_HANDLE_VALUE; }
    static void Close(Type handle) { ::CloseHandle(handle); }
};
using UniqueHandle = UniqueResource<HandleTraits>;

// Files say INVALID_HANDLE_VALUE for failure, events and processes say null: here both are
// the one invalid value.
inline UniqueHandle OwnHandle(HANDLE handle) {
    return UniqueHandle(handle == nullptr ? INVALID_HANDLE_VALUE : handle);
}

}  // namespace receiver
