// The beginning of what a server answers, as text: a playlist, before there is a source.
//
//   Units    ms, bytes.
//   Threads  any; the cancellation ends it from any other.
//   Errors   by result. Throws std::bad_alloc alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "audio/ffmpeg_network_cancellation.h"
#include "audio/source_policy.h"

namespace receiver {

struct TextLimits {
    uint64_t timeoutMs = 0;  // for all of it
    size_t maxBytes = 0;
};

struct TextAnswer {
    std::string url;  // where it came from in the end
    std::string contentType;
    std::string text;  // as much as came within the limits; empty when it was not wanted
};

// Nothing without an answer of success. `isWanted` is asked once the answer's head is there, with
// the url and the content type: what it refuses is left unread at once.
std::optional<TextAnswer> RequestText(
    const std::string& url, const NetworkRequest& request, const TextLimits& limits,
    const std::function<bool(const std::string& url, const std::string& contentType)>& isWanted,
    const std::shared_ptr<CFFmpegNetworkCancellation>& cancellation);

}  // namespace receiver
