#include "platform/text.h"
#include "platform/wide_text_win32.h"

namespace receiver {

std::string Utf8ToAnsi(std::string_view utf8) {
    return FromWide(CP_ACP, ToWide(CP_UTF8, utf8).value_or(std::wstring()));
}

std::optional<std::string> AnsiToUtf8(std::string_view ansi) {
    const std::optional<std::wstring> wide = ToWide(CP_ACP, ansi, MB_ERR_INVALID_CHARS);
    if (!wide) return std::nullopt;
    return FromWide(CP_UTF8, *wide);
}

// Through wide characters: the library would take the bytes for another code page.
std::filesystem::path ToFilesystemPath(const std::string& path) {
    return std::filesystem::path(ToWide(CP_ACP, path).value_or(std::wstring()));
}

}  // namespace receiver
