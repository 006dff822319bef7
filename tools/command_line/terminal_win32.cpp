#include <windows.h>

#include "command_line/terminal.h"

namespace receiver {

size_t TerminalWidth() {
    CONSOLE_SCREEN_BUFFER_INFO info = {};
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &info)) return 0;
    return static_cast<size_t>(info.srWindow.Right - info.srWindow.Left + 1);
}

bool EnableTerminalControl() {
    const HANDLE output = GetStdHandle(STD_ERROR_HANDLE);
    DWORD mode = 0;
    return GetConsoleMode(output, &mode) &&
           SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

}  // namespace receiver
