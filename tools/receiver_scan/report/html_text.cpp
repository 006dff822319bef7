#include "receiver_scan/report/html_text.h"

#include "platform/text.h"

namespace receiver {

std::string EscapeHtml(std::string_view text) {
    std::string escaped;
    for (const char c : ReplaceIllFormedUtf8(text)) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\'':
                escaped += "&#39;";
                break;
            default: {
                const auto byte = static_cast<unsigned char>(c);
                escaped += byte < 0x20 || byte == 0x7F ? '?' : c;
            }
        }
    }
    return escaped;
}

std::string EscapeHtmlLines(std::string_view text) {
    std::string escaped;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        escaped += EscapeHtml(text.substr(0, end)) + "\n";
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return escaped;
}

std::string EscapeScript(std::string_view json) {
    std::string escaped;
    for (const char c : json) {
        if (c == '<') {
            escaped += "\\u003c";
        } else if (c == '>') {
            escaped += "\\u003e";
        } else if (c == '&') {
            escaped += "\\u0026";
        } else {
            escaped += c;
        }
    }
    return escaped;
}

std::string Base64(const std::vector<uint8_t>& bytes) {
    static constexpr char kDigits[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve(bytes.size() / 3 * 4 + 4);
    for (size_t i = 0; i < bytes.size(); i += 3) {
        const size_t left = bytes.size() - i;
        const uint32_t group = static_cast<uint32_t>(bytes[i]) << 16 |
                               static_cast<uint32_t>(left > 1 ? bytes[i + 1] : 0) << 8 |
                               static_cast<uint32_t>(left > 2 ? bytes[i + 2] : 0);
        text += kDigits[group >> 18];
        text += kDigits[group >> 12 & 63];
        text += left > 1 ? kDigits[group >> 6 & 63] : '=';
        text += left > 2 ? kDigits[group & 63] : '=';
    }
    return text;
}

}  // namespace receiver
