// The master playlist of HLS: variants of one broadcast, of which one is to be heard. Pure.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace receiver {

enum class HlsKind {
    kNone,    // no playlist of HLS
    kMedia,   // segments: the stream itself
    kMaster,  // variants
};

HlsKind HlsKindOf(std::string_view text);

// As they stand in a master, the best first: those of audio alone before those with a picture,
// whose rendition of audio alone is taken where they have one; then by their bandwidth.
std::vector<std::string> HlsVariants(std::string_view text);

}  // namespace receiver
