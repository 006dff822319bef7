#include "receiver_scan/cut/cut_position.h"

#include <charconv>

#include "command_line/duration.h"

namespace receiver {

std::optional<uint64_t> ParsePosition(std::string_view text, uint32_t sampleRate) {
    constexpr std::string_view kSamples = "samples";
    if (!text.ends_with(kSamples)) {
        const std::optional<uint64_t> ms = ParseDuration(text);
        if (!ms) return {};
        return (*ms * sampleRate + 500) / 1000;
    }
    text.remove_suffix(kSamples.size());
    uint64_t samples = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), samples);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) return {};
    return samples;
}

}  // namespace receiver
