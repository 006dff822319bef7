#include <windows.h>

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

}  // namespace

void WriteStandardOutputLine(std::string_view text) {
    WriteLine(STD_OUTPUT_HANDLE, text);
}

void WriteStandardErrorLine(std::string_view text) {
    WriteLine(STD_ERROR_HANDLE, text);
}

}  // namespace receiver
