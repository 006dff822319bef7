// How receiver-record ends; the numbers are part of its interface (--help lists them).
#pragma once

namespace receiver {

enum class ExitCode {
    kComplete = 0,
    kFailure = 1,  // the receiver could not be started or reached, refused the request, or broke
    kUsage = 2,
    kStartNotFound = 3,
    kSourceError = 4,  // the source failed, or ended before the programme did
    kInterrupted = 5,
    kOutputError = 6,
    kGaps = 7,  // the programme ended by itself, but parts of it are missing or damaged
};

}  // namespace receiver
