#include "playlists/hls_master.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>

#include "platform/text.h"
#include "playlists/playlist_text.h"

namespace receiver {
namespace {

constexpr std::string_view kVariantTag = "#EXT-X-STREAM-INF:";
constexpr std::string_view kMediaTag = "#EXT-X-MEDIA:";
constexpr std::string_view kTargetTag = "#EXT-X-TARGETDURATION";

using Attributes = std::map<std::string, std::string, std::less<>>;

// NAME=value,NAME="value, with commas",...
Attributes AttributesOf(std::string_view list) {
    Attributes attributes;
    while (!list.empty()) {
        const size_t equals = list.find('=');
        if (equals == std::string_view::npos) break;
        const std::string name(Trimmed(list.substr(0, equals)));
        list.remove_prefix(equals + 1);
        size_t end = std::min(list.find(','), list.size());
        std::string_view value = list.substr(0, end);
        if (list.starts_with('"')) {
            const size_t quote = std::min(list.find('"', 1), list.size());
            value = list.substr(1, quote - 1);
            end = std::min(list.find(',', quote), list.size());
        }
        attributes.emplace(name, Trimmed(value));
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return attributes;
}

std::string ValueOf(const Attributes& attributes, std::string_view name) {
    const auto found = attributes.find(name);
    return found == attributes.end() ? "" : found->second;
}

uint64_t BandwidthOf(const Attributes& attributes) {
    const std::string text = ValueOf(attributes, "BANDWIDTH");
    uint64_t bandwidth = 0;
    std::from_chars(text.data(), text.data() + text.size(), bandwidth);
    return bandwidth;
}

bool HasPicture(const Attributes& attributes) {
    constexpr std::array<std::string_view, 8> kPictures = {"avc",  "hvc", "hev", "vp0",
                                                           "av01", "dvh", "vp8", "vp9"};
    if (attributes.contains("RESOLUTION")) return true;
    const std::string codecs = ToLowerAscii(ValueOf(attributes, "CODECS"));
    return std::any_of(kPictures.begin(), kPictures.end(), [&codecs](std::string_view picture) {
        return codecs.find(picture) != std::string::npos;
    });
}

struct Variant {
    std::string address;
    std::string audioGroup;
    uint64_t bandwidth = 0;
    bool hasPicture = false;
};

struct Rendition {
    std::string address;
    bool isDefault = false;
};

struct Master {
    std::vector<Variant> variants;
    std::map<std::string, Rendition, std::less<>> audio;  // the default one of each group
};

void AddRendition(const Attributes& attributes, Master& master) {
    const std::string address = ValueOf(attributes, "URI");
    if (ValueOf(attributes, "TYPE") != "AUDIO" || address.empty()) return;
    Rendition& rendition = master.audio[ValueOf(attributes, "GROUP-ID")];
    const bool isDefault = ValueOf(attributes, "DEFAULT") == "YES";
    if (rendition.address.empty() || (isDefault && !rendition.isDefault)) {
        rendition = {address, isDefault};
    }
}

Master Parse(std::string_view text) {
    Master master;
    std::optional<Attributes> announced;
    for (std::string_view line; TakeLine(text, line);) {
        if (line.starts_with(kMediaTag)) {
            AddRendition(AttributesOf(line.substr(kMediaTag.size())), master);
        } else if (line.starts_with(kVariantTag)) {
            announced = AttributesOf(line.substr(kVariantTag.size()));
        } else if (!line.empty() && !line.starts_with('#') && announced) {
            master.variants.push_back({std::string(line), ValueOf(*announced, "AUDIO"),
                                       BandwidthOf(*announced), HasPicture(*announced)});
            announced.reset();
        }
    }
    return master;
}

}  // namespace

HlsKind HlsKindOf(std::string_view text) {
    for (std::string_view line; TakeLine(text, line);) {
        if (line.starts_with(kVariantTag)) return HlsKind::kMaster;
        if (line.starts_with(kTargetTag)) return HlsKind::kMedia;
    }
    return HlsKind::kNone;
}

std::vector<std::string> HlsVariants(std::string_view text) {
    Master master = Parse(text);
    std::stable_sort(master.variants.begin(), master.variants.end(),
                     [](const Variant& one, const Variant& other) {
                         return one.hasPicture != other.hasPicture
                                    ? other.hasPicture
                                    : one.bandwidth > other.bandwidth;
                     });
    std::vector<std::string> addresses;
    addresses.reserve(master.variants.size());
    for (Variant& variant : master.variants) {
        const auto rendition = master.audio.find(variant.audioGroup);
        const bool hasAudioAlone = variant.hasPicture && rendition != master.audio.end();
        addresses.push_back(hasAudioAlone ? rendition->second.address : std::move(variant.address));
    }
    return addresses;
}

}  // namespace receiver
