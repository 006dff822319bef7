// A playlist's text as a server sends it, under each name and type: whatever is named is a whole
// address of the web that a receiver takes, and is no longer than the bounds.
#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <string_view>

#include "fuzz.h"
#include "playlists/playlist.h"
#include "playlists/relative_url.h"
#include "wire/prepare_limits.h"

namespace receiver {
namespace {

void ExpectRecordable(const std::string& url) {
    Expect(url.starts_with("http://") || url.starts_with("https://"));
    Expect(url.size() <= kMaxUrlBytes);
    Expect(std::none_of(url.begin(), url.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte <= 0x20 || byte == 0x7F;
    }));
    Expect(ResolveUrl(url, url) == url);  // whole already
}

}  // namespace
}  // namespace receiver

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace receiver;
    constexpr std::array<std::string_view, 4> kUrls = {
        "http://radio.example/a/list.m3u8", "https://radio.example/list.pls?x=1",
        "http://radio.example/list.xspf", "http://radio.example"};
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    for (const std::string_view url : kUrls) {
        const auto addresses = ResolvePlaylist(text, "", url);
        if (!addresses) continue;
        Expect(addresses->size() <= kMaxPlaylistAddresses);
        for (const std::string& address : *addresses) ExpectRecordable(address);
        Expect(std::set<std::string>(addresses->begin(), addresses->end()).size() ==
               addresses->size());
    }
    if (const auto url = ResolveUrl(kUrls[0], text)) ExpectRecordable(*url);
    return 0;
}
