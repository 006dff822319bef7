// Playlists as stations hand them out in place of their stream: M3U and HLS masters, PLS, XSPF and
// ASX. Pure; whatever a text holds, reading it takes time in proportion to its length.
//
//   Units  bytes.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace receiver {

inline constexpr size_t kMaxPlaylistBytes = 65536;  // what lies behind is not looked at
inline constexpr size_t kMaxPlaylistAddresses = 256;

// Whether what such an address answers with such a content type ("" if there is none yet) may be a
// playlist: by the type where it says so, by the address's extension where it does not say what the
// body is. Audio is none, whatever it is called.
bool MayBePlaylist(std::string_view url, std::string_view contentType);

// Whether what answers with such a content type may be a playlist whatever its address is called:
// not only by a playlist's type, but by that of any text, or by one that says nothing.
bool MayHoldPlaylist(std::string_view contentType);

// The addresses that the playlist names, in its order, of an HLS master the best first: whole, http
// or https, each once. `url` is where it came from. Empty when it names none of use; nothing when
// the text is no playlist, or the media playlist of HLS, which is the stream itself.
std::optional<std::vector<std::string>> ResolvePlaylist(std::string_view text,
                                                        std::string_view contentType,
                                                        std::string_view url);

}  // namespace receiver
