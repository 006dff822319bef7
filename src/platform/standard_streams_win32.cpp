#include <windows.h>

#include <cstdio>
#include <stdexcept>
#include <string>

#include "platform/standard_streams.h"

namespace receiver {
namespace {

// Past the C runtime, whose text mode would write CR LF.
void WriteLine(DWORD stream, std::string_view text) {
    std::string line(text);
    line += '\n';
    const HANDLE handle = GetStdHandle(stream);
    std::string_view rest = line;
    while (!rest.empty()) {
        DWORD moved = 0;
        if (!WriteFile(handle, rest.data(), static_cast<DWORD>(rest.size()), &moved, nullptr) ||
            moved == 0) {
            return;
        }
        rest.remove_prefix(moved);
    }
}

// Also true for a value that the starter named but did not hand down: an event or file of
// ours may get that very value.
bool IsMissing(DWORD stream) {
    const HANDLE handle = GetStdHandle(stream);
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE) return true;
    SetLastError(NO_ERROR);
    return GetFileType(handle) == FILE_TYPE_UNKNOWN && GetLastError() != NO_ERROR;
}

// Open until the process ends, as the stream that it stands for would be. The C runtime has
// looked at the stream before main and keeps one of its own; where that cannot be opened anew,
// it stays without a file, and what is written to it goes nowhere all the same.
void UseNull(DWORD stream, std::FILE* file, const char* mode) {
    const HANDLE null =
        CreateFileA("NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, 0, nullptr);
    if (null == INVALID_HANDLE_VALUE || !SetStdHandle(stream, null)) {
        throw std::runtime_error("Cannot open the null device");
    }
    if (std::freopen("NUL", mode, file) == nullptr) SetStdHandle(stream, null);
}

}  // namespace

bool OpenMissingStandardStreams() {
    const bool isOutputMissing = IsMissing(STD_OUTPUT_HANDLE);
    if (IsMissing(STD_INPUT_HANDLE)) UseNull(STD_INPUT_HANDLE, stdin, "r");
    if (isOutputMissing) UseNull(STD_OUTPUT_HANDLE, stdout, "w");
    if (IsMissing(STD_ERROR_HANDLE)) UseNull(STD_ERROR_HANDLE, stderr, "w");
    return isOutputMissing;
}

void WriteStandardOutputLine(std::string_view text) {
    WriteLine(STD_OUTPUT_HANDLE, text);
}

void WriteStandardErrorLine(std::string_view text) {
    WriteLine(STD_ERROR_HANDLE, text);
}

}  // namespace receiver
