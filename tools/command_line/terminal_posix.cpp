#include "command_line/terminal.h"

#include <cstdlib>
#include <string_view>

#include <sys/ioctl.h>
#include <unistd.h>

namespace receiver {

size_t TerminalWidth() {
    constexpr size_t kUsualWidth = 80;  // of a terminal that does not say
    if (isatty(STDERR_FILENO) == 0) return 0;
    winsize size = {};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kUsualWidth;
    return size.ws_col;
}

bool EnableTerminalControl() {
    const char* const kind = std::getenv("TERM");
    return kind != nullptr && std::string_view(kind) != "dumb";
}

}  // namespace receiver
