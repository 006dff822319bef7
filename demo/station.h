// A small radio station: broadcasts one MP3 file round and round, in real time, over HTTP.
// Whoever tunes in joins in mid-stream, with the last two seconds in advance, as live servers
// do.
#pragma once

#include <filesystem>

namespace receiver {

// Prints its URL as one line once it is on the air, then serves until its standard input ends.
// What the newest listener was sent is kept in `tape`, byte for byte. Throws std::runtime_error
// with a text for the user.
void RunStation(const std::filesystem::path& mp3, double secondsPerRound,
                const std::filesystem::path& tape);

}  // namespace receiver
