#include "playlists/stream_addresses.h"

#include <utility>

#include "playlists/playlist.h"

namespace receiver {

StreamAddresses::StreamAddresses(std::string given, Ask ask)
    : given_(std::move(given)), ask_(std::move(ask)) {
    BeginRound();
}

const std::string& StreamAddresses::Current() {
    while (!left_.front().isAskedFor && MayBePlaylist(left_.front().url, "")) {
        if (!Expand(PlaylistSign::kName)) break;
    }
    return left_.front().url;
}

bool StreamAddresses::Next(bool isNoAudio) {
    ++tried_;
    if (isNoAudio && !left_.front().isAskedFor && Expand(PlaylistSign::kNone)) return true;
    left_.pop_front();
    if (!left_.empty() && tried_ < kMaxAddresses) return true;
    BeginRound();
    return false;
}

// Puts what it names in the first one's place.
bool StreamAddresses::Expand(PlaylistSign sign) {
    Address& first = left_.front();
    first.isAskedFor = true;
    if (first.playlists >= kMaxPlaylists) return false;
    const std::vector<std::string> named = ask_(first.url, sign);
    if (named.empty()) return false;
    const int playlists = first.playlists + 1;
    left_.pop_front();
    for (auto url = named.rbegin(); url != named.rend(); ++url) {
        left_.push_front({.url = *url, .playlists = playlists});
    }
    return true;
}

void StreamAddresses::BeginRound() {
    left_.assign(1, Address{.url = given_});
    tried_ = 0;
}

}  // namespace receiver
