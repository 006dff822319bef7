#include <windows.h>

#include <stdexcept>
#include <string>

#include "platform/executable_path.h"

namespace receiver {

std::filesystem::path ExecutableDirectory() {
    constexpr size_t kMaxPathBytes = 32768;  // of the system, in characters
    std::wstring path(kMaxPathBytes, L'\0');
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), kMaxPathBytes);
    if (length == 0 || length == kMaxPathBytes) {
        throw std::runtime_error("Cannot find the program's directory");
    }
    path.resize(length);
    return std::filesystem::path(path).parent_path();
}

}  // namespace receiver
