#include "playlists/playlist.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <map>
#include <utility>

#include "platform/text.h"
#include "playlists/hls_master.h"
#include "playlists/playlist_text.h"
#include "playlists/playlist_xml.h"
#include "playlists/relative_url.h"

namespace receiver {
namespace {

enum class Format { kNone, kM3u, kPls, kXspf, kAsx, kAsxIni };

constexpr std::array<std::pair<std::string_view, Format>, 8> kExtensions = {
    {{"m3u", Format::kM3u},
     {"m3u8", Format::kM3u},
     {"pls", Format::kPls},
     {"xspf", Format::kXspf},
     {"asx", Format::kAsx},
     {"wax", Format::kAsx},
     {"wvx", Format::kAsx},
     {"wmx", Format::kAsx}}};

constexpr std::array<std::pair<std::string_view, Format>, 15> kContentTypes = {
    {{"audio/x-mpegurl", Format::kM3u},
     {"audio/mpegurl", Format::kM3u},
     {"audio/mpeg-url", Format::kM3u},
     {"application/x-mpegurl", Format::kM3u},
     {"application/mpegurl", Format::kM3u},
     {"application/vnd.apple.mpegurl", Format::kM3u},
     {"application/vnd.apple.mpegurl.audio", Format::kM3u},
     {"audio/x-scpls", Format::kPls},
     {"audio/scpls", Format::kPls},
     {"application/pls+xml", Format::kPls},
     {"application/xspf+xml", Format::kXspf},
     {"video/x-ms-asf", Format::kAsx},
     {"video/x-ms-asx", Format::kAsx},
     {"audio/x-ms-wax", Format::kAsx},
     {"video/x-ms-wvx", Format::kAsx}}};

template <size_t Count>
Format Find(const std::array<std::pair<std::string_view, Format>, Count>& table,
            std::string_view word) {
    const auto found = std::find_if(table.begin(), table.end(),
                                    [word](const auto& entry) { return entry.first == word; });
    return found == table.end() ? Format::kNone : found->second;
}

// Without parameters, in lower case.
std::string TypeOf(std::string_view contentType) {
    return ToLowerAscii(std::string(Trimmed(contentType.substr(0, contentType.find(';')))));
}

bool IsAudio(std::string_view type) {
    return type.starts_with("audio/") || type.starts_with("video/") || type == "application/ogg";
}

bool BeginsWithWord(std::string_view text, std::string_view lowerCaseWord) {
    return ToLowerAscii(std::string(text.substr(0, lowerCaseWord.size()))) == lowerCaseWord;
}

// Whether it is addresses, one a line, and remarks.
bool IsListOfAddresses(std::string_view text) {
    bool hasAny = false;
    for (std::string_view line; TakeLine(text, line);) {
        if (line.empty() || line.starts_with('#')) continue;
        if (!BeginsWithWord(line, "http://") && !BeginsWithWord(line, "https://")) return false;
        hasAny = true;
    }
    return hasAny;
}

// By what the text begins with; where that says nothing, by what it was called.
Format FormatOf(std::string_view text, std::string_view contentType, std::string_view url) {
    if (text.find('\0') != std::string_view::npos) return Format::kNone;
    if (BeginsWithWord(text, "#extm3u")) return Format::kM3u;
    if (BeginsWithWord(text, "[playlist]")) return Format::kPls;
    if (BeginsWithWord(text, "[reference]")) return Format::kAsxIni;
    if (text.starts_with('<')) {
        XmlTags tags(text);
        if (!tags.Next()) return Format::kNone;
        if (tags.Name() == "asx") return Format::kAsx;
        return tags.Name() == "playlist" ? Format::kXspf : Format::kNone;
    }
    const Format byType = Find(kContentTypes, TypeOf(contentType));
    const Format named = byType != Format::kNone ? byType : Find(kExtensions, ExtensionOfUrl(url));
    // The others begin as above.
    if (named == Format::kM3u || named == Format::kPls) return named;
    return IsListOfAddresses(text) ? Format::kM3u : Format::kNone;
}

std::vector<std::string> M3uEntries(std::string_view text) {
    std::vector<std::string> entries;
    for (std::string_view line; TakeLine(text, line);) {
        if (!line.empty() && !line.starts_with('#')) entries.emplace_back(line);
    }
    return entries;
}

// The values of key1, key2, ..., by their numbers.
std::vector<std::string> NumberedEntries(std::string_view text, std::string_view key) {
    std::multimap<uint64_t, std::string> numbered;
    for (std::string_view line; TakeLine(text, line);) {
        const size_t equals = line.find('=');
        if (equals == std::string_view::npos || !BeginsWithWord(line, key)) continue;
        const std::string_view digits = Trimmed(line.substr(0, equals)).substr(key.size());
        uint64_t number = 0;
        const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), number);
        if (parsed.ec != std::errc() || parsed.ptr != digits.data() + digits.size()) continue;
        numbered.emplace(number, Trimmed(line.substr(equals + 1)));
    }
    std::vector<std::string> entries;
    entries.reserve(numbered.size());
    for (auto& [number, value] : numbered) entries.push_back(std::move(value));
    return entries;
}

std::vector<std::string> XspfEntries(std::string_view text) {
    std::vector<std::string> entries;
    bool isInTrack = false;  // a list may have a location of its own
    for (XmlTags tags(text); tags.Next();) {
        isInTrack = isInTrack || tags.Name() == "track";
        if (isInTrack && tags.Name() == "location") entries.push_back(tags.Text());
    }
    return entries;
}

std::vector<std::string> AsxEntries(std::string_view text) {
    std::vector<std::string> entries;
    for (XmlTags tags(text); tags.Next();) {
        if (tags.Name() != "ref" && tags.Name() != "entryref") continue;
        if (auto address = tags.Attribute("href")) entries.push_back(std::move(*address));
    }
    return entries;
}

std::vector<std::string> EntriesOf(std::string_view text, Format format) {
    switch (format) {
        case Format::kM3u:
            return HlsKindOf(text) == HlsKind::kMaster ? HlsVariants(text) : M3uEntries(text);
        case Format::kPls:
            return NumberedEntries(text, "file");
        case Format::kAsxIni:
            return NumberedEntries(text, "ref");
        case Format::kXspf:
            return XspfEntries(text);
        case Format::kAsx:
            return AsxEntries(text);
        case Format::kNone:
            break;
    }
    return {};
}

}  // namespace

bool MayBePlaylist(std::string_view url, std::string_view contentType) {
    const std::string type = TypeOf(contentType);
    if (Find(kContentTypes, type) != Format::kNone) return true;
    return !IsAudio(type) && Find(kExtensions, ExtensionOfUrl(url)) != Format::kNone;
}

bool MayHoldPlaylist(std::string_view contentType) {
    const std::string type = TypeOf(contentType);
    return Find(kContentTypes, type) != Format::kNone || !IsAudio(type);
}

std::optional<std::vector<std::string>> ResolvePlaylist(std::string_view text,
                                                        std::string_view contentType,
                                                        std::string_view url) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    text = text.substr(0, kMaxPlaylistBytes);
    if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
    text = TrimmedLeft(text);
    const Format format = FormatOf(text, contentType, url);
    if (format == Format::kNone) return std::nullopt;
    if (format == Format::kM3u && HlsKindOf(text) == HlsKind::kMedia) return std::nullopt;
    std::vector<std::string> addresses;
    for (const std::string& entry : EntriesOf(text, format)) {
        if (addresses.size() == kMaxPlaylistAddresses) break;
        std::optional<std::string> address = entry.empty() ? std::nullopt : ResolveUrl(url, entry);
        const bool isNew =
            address && std::find(addresses.begin(), addresses.end(), *address) == addresses.end();
        if (isNew) addresses.push_back(std::move(*address));
    }
    return addresses;
}

}  // namespace receiver
