#include "platform/text.h"

namespace receiver {

std::string Utf8ToAnsi(std::string_view utf8) {
    return std::string(utf8);
}

std::optional<std::string> AnsiToUtf8(std::string_view ansi) {
    return std::string(ansi);
}

std::filesystem::path ToFilesystemPath(const std::string& path) {
    return std::filesystem::path(path);
}

}  // namespace receiver
