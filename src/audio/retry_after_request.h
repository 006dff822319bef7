// Asks a server that has just refused a request as being busy when to come again. FFmpeg before
// 7.1 does not read the head of such an answer beyond its first line, so that it has to be
// asked for once more, and read here. Private to audio/.
//
//   Units    seconds.
//   Threads  the connecting thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

struct AVIOInterruptCB;

namespace receiver {

struct RetryAfterRequest {
    std::string url;        // http:// or https://
    std::string userAgent;  // empty for FFmpeg's
    std::string headers;    // further ones, each with its line end
    std::string caFile;     // empty for the system's certificates
    uint64_t timeoutMs = 0;
};

// Nothing when the server does not say, says it by a date, or cannot be asked.
std::optional<uint32_t> AskForRetryAfter(const RetryAfterRequest& request,
                                         const AVIOInterruptCB& interrupt);

// Of a header's value: a whole number of seconds and nothing else.
std::optional<uint32_t> RetryAfterOf(std::string_view value);

}  // namespace receiver
