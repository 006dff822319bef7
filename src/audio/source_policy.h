// What FFmpeg may open on behalf of a source, the same on every platform. What a
// station sends is not trusted: many of the formats and protocols that FFmpeg knows
// open files, sockets and further addresses that the bytes name.
//
//   Threads  any; nothing here has a state.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

struct AVDictionary;
struct AVFormatContext;

namespace receiver {

// What an HTTP body may be, in FFmpeg's short names: the formats of radio, each read from
// the one body, and HLS, which opens further bodies through the context's io_open. The
// FFmpeg of the Windows programs is built with these demuxers and no others.
inline constexpr std::array kNetworkDemuxers = {
    "mp3",    "aac",   "loas",     "ogg",   "flac",  "wav",   "w64",   "aiff",  "au",    "caf",
    "mpegts", "mov",   "matroska", "hls",   "s8",    "u8",    "s16le", "s16be", "s24le", "s24be",
    "s32le",  "s32be", "f32le",    "f32be", "f64le", "f64be", "alaw",  "mulaw",
};

// What carries HTTP and HTTPS, and what decrypts the segments of a playlist.
inline constexpr const char* kNetworkProtocols = "http,https,tls,tcp,crypto";

// What a source's requests say besides what every request does.
struct NetworkRequest {
    std::string userAgent;  // empty: FFmpeg's
    std::string headers;    // whole lines, each with its line end
    std::string caFile;     // certificates to trust, UTF-8; empty: the system's
};

// True for what a source, its playlists, keys and segments may lie at.
bool IsNetworkUrl(std::string_view url);

// For the context and dictionary of an input that is about to be opened over the network;
// negative FFmpeg codes on failure.
int SetNetworkFormats(AVDictionary** options);
// For every single connection, as no option of the first one reaches the next: certificates
// are verified, reads and writes keep to the time-out, no proxy is asked for (FFmpeg would
// take one from the environment), and redirects cannot leave HTTP. The request's headers may
// hold what only the source's own server is to know: others are not sent them.
int SetConnectionOptions(AVDictionary** options, uint64_t timeoutMs, const NetworkRequest& request,
                         bool isSourcesServer);
// True when both lie on one server: scheme, host and port are the same.
bool IsSameServer(std::string_view url, std::string_view other);

// Restricts the context to the file whose name it is opened with, whatever that name looks
// like: nothing that the file names is opened, neither other files nor the network.
int RestrictToOneFile(AVFormatContext* context, AVDictionary** options);

}  // namespace receiver
