#include <windows.h>

#include <objbase.h>

#include <array>
#include <stdexcept>

#include "platform/ids.h"

namespace receiver {

uint32_t CurrentProcessId() {
    return GetCurrentProcessId();
}

uint32_t CurrentThreadId() {
    return GetCurrentThreadId();
}

std::string CreateInstanceId() {
    constexpr int kBracedLength = 38;
    GUID guid{};
    std::array<wchar_t, kBracedLength + 1> braced{};
    const bool created = SUCCEEDED(CoCreateGuid(&guid));
    if (!created || StringFromGUID2(guid, braced.data(), kBracedLength + 1) == 0) {
        throw std::runtime_error("Cannot create instance id");
    }
    std::string id;
    for (size_t i = 1; i + 1 < kBracedLength; ++i) id += static_cast<char>(braced[i]);
    return id;
}

}  // namespace receiver
