#include "playlists/playlist_xml.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <utility>

#include "platform/text.h"
#include "playlists/playlist_text.h"

namespace receiver {
namespace {

constexpr std::string_view kCdata = "<![CDATA[";
constexpr std::string_view kCdataEnd = "]]>";
// Longer than any that is known here.
constexpr size_t kMaxEntityBytes = 10;

void AppendUtf8(std::string& text, uint32_t code) {
    const auto byte = [&text](uint32_t value) { text += static_cast<char>(value); };
    if (code < 0x80) {
        byte(code);
    } else if (code < 0x800) {
        byte(0xC0 | (code >> 6));
        byte(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        byte(0xE0 | (code >> 12));
        byte(0x80 | ((code >> 6) & 0x3F));
        byte(0x80 | (code & 0x3F));
    } else {
        byte(0xF0 | (code >> 18));
        byte(0x80 | ((code >> 12) & 0x3F));
        byte(0x80 | ((code >> 6) & 0x3F));
        byte(0x80 | (code & 0x3F));
    }
}

// Of what stands between "&" and ";".
bool AppendEntity(std::string& text, std::string_view name) {
    constexpr std::array<std::pair<std::string_view, char>, 5> kNamed = {
        {{"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}}};
    for (const auto& [known, character] : kNamed) {
        if (name != known) continue;
        text += character;
        return true;
    }
    if (!name.starts_with('#')) return false;
    name.remove_prefix(1);
    const bool isHex = name.starts_with('x') || name.starts_with('X');
    if (isHex) name.remove_prefix(1);
    uint32_t code = 0;
    const auto parsed =
        std::from_chars(name.data(), name.data() + name.size(), code, isHex ? 16 : 10);
    const bool isWhole = parsed.ec == std::errc() && parsed.ptr == name.data() + name.size();
    if (!isWhole || code == 0 || code > 0x10FFFF) return false;
    AppendUtf8(text, code);
    return true;
}

// An ampersand that begins nothing known is one: addresses are often written so.
std::string Decoded(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '&') {
            const size_t end = text.substr(at, kMaxEntityBytes + 2).find(';');
            if (end != std::string_view::npos &&
                AppendEntity(result, text.substr(at + 1, end - 1))) {
                at += end;
                continue;
            }
        }
        result += text[at];
    }
    return result;
}

// Behind the tag's name: up to its ">" outside of quotes, at most up to the text's end.
size_t EndOfTag(std::string_view text) {
    char quote = '\0';
    for (size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        if (quote != '\0') {
            if (c == quote) quote = '\0';
        } else if (c == '>') {
            return at;
        } else if (c == '"' || c == '\'') {
            quote = c;
        }
    }
    return text.size();
}

}  // namespace

bool XmlTags::SkipPast(std::string_view end) {
    const size_t found = text_.find(end);
    text_.remove_prefix(found == std::string_view::npos ? text_.size() : found + end.size());
    return found != std::string_view::npos;
}

bool XmlTags::Next() {
    for (;;) {
        const size_t open = text_.find('<');
        if (open == std::string_view::npos) return false;
        text_.remove_prefix(open);
        if (text_.starts_with("<!--")) {
            if (!SkipPast("-->")) return false;
        } else if (text_.starts_with(kCdata)) {
            if (!SkipPast(kCdataEnd)) return false;
        } else if (text_.size() > 1 && (text_[1] == '!' || text_[1] == '?' || text_[1] == '/')) {
            if (!SkipPast(">")) return false;
        } else {
            text_.remove_prefix(1);
            const size_t end = EndOfTag(text_);
            if (end == text_.size()) return false;
            std::string_view tag = text_.substr(0, end);
            text_.remove_prefix(end + 1);
            const size_t nameEnd = std::min(tag.find_first_of(" \t\r\n/"), tag.size());
            std::string_view name = tag.substr(0, nameEnd);
            name.remove_prefix(name.find(':') + 1);  // npos + 1 is 0
            name_ = ToLowerAscii(std::string(name));
            attributes_ = tag.substr(nameEnd);
            return true;
        }
    }
}

std::optional<std::string> XmlTags::Attribute(std::string_view name) const {
    std::string_view rest = attributes_;
    for (;;) {
        const size_t begin = rest.find_first_not_of(" \t\r\n/");
        if (begin == std::string_view::npos) return std::nullopt;
        rest.remove_prefix(begin);
        const size_t nameEnd = std::min(rest.find_first_of("= \t\r\n"), rest.size());
        const std::string key = ToLowerAscii(std::string(rest.substr(0, nameEnd)));
        rest = TrimmedLeft(rest.substr(nameEnd));
        if (!rest.starts_with('=')) continue;  // without a value
        rest = TrimmedLeft(rest.substr(1));
        std::string_view value;
        if (rest.starts_with('"') || rest.starts_with('\'')) {
            const char quote = rest.front();
            rest.remove_prefix(1);
            const size_t end = std::min(rest.find(quote), rest.size());
            value = rest.substr(0, end);
            rest.remove_prefix(std::min(end + 1, rest.size()));
        } else {
            const size_t end = std::min(rest.find_first_of(" \t\r\n"), rest.size());
            value = rest.substr(0, end);
            rest.remove_prefix(end);
        }
        if (key == name) return Decoded(value);
    }
}

std::string XmlTags::Text() const {
    std::string_view rest = TrimmedLeft(text_);
    if (rest.starts_with(kCdata)) {
        rest.remove_prefix(kCdata.size());
        return std::string(Trimmed(rest.substr(0, rest.find(kCdataEnd))));
    }
    return Decoded(Trimmed(rest.substr(0, rest.find('<'))));
}

}  // namespace receiver
