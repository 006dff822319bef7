// HLS playlists and their encrypted segments, as a station would serve them.
#pragma once

#include <string>
#include <vector>

namespace receiver {

// 16 bytes, for AES-128; the initialisation vector is zero.
inline constexpr char kTestKey[] = "0123456789abcdef";

// A finished one of 2-second segments; with a key, the address at which it is said to lie.
std::string MakePlaylist(const std::vector<std::string>& segments, const std::string& keyUrl = {});
std::string EncryptSegment(std::string bytes);  // with kTestKey

}  // namespace receiver
