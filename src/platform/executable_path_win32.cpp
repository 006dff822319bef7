#include <windows.h>

#include <stdexcept>
#include <string>

#include "platform/executable_path.h"

std::filesystem::path ExecutableDirectory() {
    constexpr size_t kLongestPath = 32768;  // of the system, in characters
    std::wstring path(kLongestPath, L'\0');
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), kLongestPath);
    if (length == 0 || length == kLongestPath) {
        throw std::runtime_error("Cannot find the program's directory");
    }
    path.resize(length);
    return std::filesystem::path(path).parent_path();
}
