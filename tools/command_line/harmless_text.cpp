#include "command_line/harmless_text.h"

#include <cstddef>

namespace receiver {

std::string Harmless(std::string text) {
    for (size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const bool latin1 =
            i > 0 && static_cast<unsigned char>(text[i - 1]) == 0xC2 && byte >= 0x80 && byte < 0xA0;
        if (latin1) text[i - 1] = '?';
        if (latin1 || byte < 0x20 || byte == 0x7F) text[i] = '?';
    }
    return text;
}

}  // namespace receiver
