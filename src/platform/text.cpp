#include "platform/text.h"

#include <cstddef>

namespace receiver {
namespace {

// Which second bytes a lead byte allows, and how long its sequence is. The narrowed
// ranges keep out overlong forms, surrogates and values above U+10FFFF.
struct LeadByte {
    size_t length;  // 0: no sequence starts with it
    unsigned char secondMin = 0x80;
    unsigned char secondMax = 0xBF;
};

LeadByte Classify(unsigned char lead) {
    if (lead <= 0x7F) return {1};
    if (lead >= 0xC2 && lead <= 0xDF) return {2};
    if (lead == 0xE0) return {3, 0xA0, 0xBF};
    if (lead == 0xED) return {3, 0x80, 0x9F};
    if (lead >= 0xE1 && lead <= 0xEF) return {3};
    if (lead == 0xF0) return {4, 0x90, 0xBF};
    if (lead >= 0xF1 && lead <= 0xF3) return {4};
    if (lead == 0xF4) return {4, 0x80, 0x8F};
    return {0};
}

// The bytes of the well-formed sequence that `bytes` starts with; 0 when it starts with none.
size_t WellFormedLength(std::string_view bytes) {
    const LeadByte lead = Classify(static_cast<unsigned char>(bytes[0]));
    if (lead.length > bytes.size()) return 0;
    for (size_t i = 1; i < lead.length; ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        if (byte < (i == 1 ? lead.secondMin : 0x80)) return 0;
        if (byte > (i == 1 ? lead.secondMax : 0xBF)) return 0;
    }
    return lead.length;
}

}  // namespace

std::string ReplaceIllFormedUtf8(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const size_t length = WellFormedLength(bytes);
        if (length == 0) {
            text += "\xEF\xBF\xBD";
            bytes.remove_prefix(1);
        } else {
            text += bytes.substr(0, length);
            bytes.remove_prefix(length);
        }
    }
    return text;
}

std::string ToUtf8(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

char ToLowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string ToLowerAscii(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) c = ToLowerAscii(c);
    return lower;
}

}  // namespace receiver
