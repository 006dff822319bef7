// From the address that people are given to those of the stream, one after another: that of a
// playlist is replaced by what the playlist names, and what does not open by the next. Pure but for
// what it asks.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "playlists/stream_address.h"

namespace receiver {

class StreamAddresses final {
public:
    static constexpr int kMaxPlaylists = 5;      // one in another
    static constexpr size_t kMaxAddresses = 10;  // tried in a round

    // As AskForPlaylist.
    using Ask = std::function<std::vector<std::string>(const std::string& url, PlaylistSign sign)>;

    StreamAddresses(std::string given, Ask ask);

    // The one to open. Asks for playlists that it has not asked for.
    const std::string& Current();
    // It did not open; isNoAudio: but answered with something else, which may be a playlist. True
    // when there is another one to open; false once all were tried, and begins with the given one
    // anew.
    bool Next(bool isNoAudio);

private:
    struct Address {
        std::string url;
        int playlists = 0;  // that led here
        bool isAskedFor = false;
    };

    bool Expand(PlaylistSign sign);
    void BeginRound();

    const std::string given_;
    const Ask ask_;
    std::deque<Address> left_;  // the current one first
    size_t tried_ = 0;
};

}  // namespace receiver
