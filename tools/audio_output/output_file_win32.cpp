#include <windows.h>

#include <algorithm>
#include <system_error>

#include "audio_output/output_file.h"

namespace receiver {
namespace {

HANDLE HandleOf(std::intptr_t native) {
    return reinterpret_cast<HANDLE>(native);
}

std::string SystemText() {
    return std::system_category().message(static_cast<int>(GetLastError()));
}

// One call of the system takes a 32-bit size.
DWORD Piece(size_t size) {
    return static_cast<DWORD>(std::min<size_t>(size, 1U << 30));
}

}  // namespace

bool OutputFile::Create(const std::filesystem::path& path, bool overwrite) {
    Close();
    // A file that somebody writes is not shared for deletion.
    if (overwrite && !DeleteFileW(path.c_str()) && GetLastError() != ERROR_FILE_NOT_FOUND) {
        return Fail();
    }
    const HANDLE handle = CreateFileW(path.c_str(), GENERIC_WRITE | DELETE, FILE_SHARE_READ,
                                      nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    native_ = reinterpret_cast<std::intptr_t>(handle);
    return native_ != kClosed || Fail();
}

bool OutputFile::WriteAt(uint64_t offset, const void* data, size_t size) {
    const char* at = static_cast<const char*>(data);
    while (size > 0) {
        OVERLAPPED position = {};
        position.Offset = static_cast<DWORD>(offset);
        position.OffsetHigh = static_cast<DWORD>(offset >> 32);
        DWORD written = 0;
        if (!WriteFile(HandleOf(native_), at, Piece(size), &written, &position) || written == 0) {
            return Fail();
        }
        at += written;
        offset += written;
        size -= written;
    }
    return true;
}

bool OutputFile::Truncate(uint64_t size) {
    FILE_END_OF_FILE_INFO end = {};
    end.EndOfFile.QuadPart = static_cast<LONGLONG>(size);
    return SetFileInformationByHandle(HandleOf(native_), FileEndOfFileInfo, &end, sizeof(end)) ||
           Fail();
}

bool OutputFile::Flush() {
    return FlushFileBuffers(HandleOf(native_)) || Fail();
}

void OutputFile::Close() {
    if (native_ != kClosed) CloseHandle(HandleOf(native_));
    native_ = kClosed;
}

bool OutputFile::Fail() {
    failure_ = SystemText();
    return false;
}

bool IsBeingWritten(const std::filesystem::path& path) {
    // A file that somebody writes is not shared for deletion.
    const HANDLE handle =
        CreateFileW(path.c_str(), DELETE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return GetLastError() == ERROR_SHARING_VIOLATION;
    CloseHandle(handle);
    return false;
}

std::error_code RenameFile(const std::filesystem::path& from, const std::filesystem::path& to,
                           bool overwrite) {
    const DWORD flags = MOVEFILE_WRITE_THROUGH | (overwrite ? MOVEFILE_REPLACE_EXISTING : 0);
    if (MoveFileExW(from.c_str(), to.c_str(), flags)) return {};
    const DWORD error = GetLastError();
    if (error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS) {
        return std::make_error_code(std::errc::file_exists);
    }
    return {static_cast<int>(error), std::system_category()};
}

}  // namespace receiver
