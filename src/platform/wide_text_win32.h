// Text between a code page and the wide characters of the system. For the *_win32 files.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>

namespace receiver {

// Nothing when `flags` asks for MB_ERR_INVALID_CHARS and the bytes are no text of the page.
inline std::optional<std::wstring> ToWide(UINT codePage, std::string_view text, DWORD flags = 0) {
    if (text.empty()) return std::wstring();
    const int bytes = static_cast<int>(text.size());
    const int length = MultiByteToWideChar(codePage, flags, text.data(), bytes, nullptr, 0);
    if (length <= 0) return std::nullopt;
    std::wstring wide(static_cast<size_t>(length), L'\0');
    MultiByteToWideChar(codePage, flags, text.data(), bytes, wide.data(), length);
    return wide;
}

// Characters that the page lacks become its replacement character.
inline std::string FromWide(UINT codePage, std::wstring_view wide) {
    if (wide.empty()) return {};
    const int units = static_cast<int>(wide.size());
    const int length =
        WideCharToMultiByte(codePage, 0, wide.data(), units, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<size_t>(length), '\0');
    WideCharToMultiByte(codePage, 0, wide.data(), units, text.data(), length, nullptr, nullptr);
    return text;
}

}  // namespace receiver
