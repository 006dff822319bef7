// Why a connection of a source could not be made or has broken off, in the terms of the
// network. What is not known is left as it is here.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "audio/decoder_errors.h"

namespace receiver {

struct ConnectionFailure {
    bool cancelled = false;
    bool timedOut = false;
    bool lookupFailed = false;  // the host has no address
    int httpStatus = 0;         // of the last answer, whatever it was; 0 without one
    std::optional<uint32_t> retryAfterSeconds;  // what that answer asked for
    std::string tlsText;                        // what the TLS library found wrong
    bool toldLength = false;                    // where it ends was known from the beginning
    int averror = 0;                            // negative FFmpeg code of the last failed call
    uint32_t decoderError = kDecoderErrorNone;
};

}  // namespace receiver
