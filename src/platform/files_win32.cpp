#include <windows.h>

#include <algorithm>

#include "platform/files.h"

namespace receiver {
namespace {

HANDLE FileHandle(std::intptr_t native) {
    return reinterpret_cast<HANDLE>(native);
}

}  // namespace

bool IsExistingFile(const std::string& path) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool AppendFile::Open(const std::string& path, Mode mode) {
    Close();
    const DWORD disposition = mode == Mode::kCreateAlways ? CREATE_ALWAYS : OPEN_ALWAYS;
    native_ = reinterpret_cast<std::intptr_t>(CreateFileA(
        path.c_str(), GENERIC_WRITE | SYNCHRONIZE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
        disposition, FILE_FLAG_WRITE_THROUGH | FILE_ATTRIBUTE_NORMAL, nullptr));
    if (IsOpen()) SetFilePointer(FileHandle(native_), 0, nullptr, FILE_END);
    return IsOpen();
}

void AppendFile::Close() {
    if (IsOpen()) CloseHandle(FileHandle(native_));
    native_ = kClosed;
}

uint64_t AppendFile::Size() const {
    LARGE_INTEGER size{};
    if (!IsOpen() || !GetFileSizeEx(FileHandle(native_), &size)) return 0;
    return static_cast<uint64_t>(size.QuadPart);
}

size_t AppendFile::Write(const void* data, size_t size) {
    size_t written = 0;
    while (IsOpen() && written < size) {
        const auto step = static_cast<DWORD>(std::min<size_t>(size - written, 0x40000000));
        DWORD moved = 0;
        if (!WriteFile(FileHandle(native_), static_cast<const char*>(data) + written, step, &moved,
                       nullptr) ||
            moved == 0) {
            break;
        }
        written += moved;
    }
    return written;
}

void AppendFile::Flush() {
    if (IsOpen()) FlushFileBuffers(FileHandle(native_));
}

}  // namespace receiver
