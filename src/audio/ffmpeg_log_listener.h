// What FFmpeg says in its log alone while it makes a connection: how the server answered and
// why a certificate was refused. It listens on its own thread for as long as it lives; what
// other threads log goes nowhere, as without it.
//
//   Threads  one: made, asked and destroyed on the thread that connects.
#pragma once

#include <cstdarg>

#include "audio/connection_failure.h"

namespace receiver {

class FfmpegLogListener final {
public:
    FfmpegLogListener();
    ~FfmpegLogListener();
    FfmpegLogListener(const FfmpegLogListener&) = delete;
    FfmpegLogListener& operator=(const FfmpegLogListener&) = delete;

    // Of the last answer; earlier ones were redirects.
    const ConnectionFailure& Heard() const { return heard_; }
    // Whether the head of that answer was read to its end.
    bool HeardWholeAnswer() const { return wholeAnswer_; }

    // The callback for FFmpeg's log; any thread.
    static void Take(void* context, int level, const char* format, va_list arguments);

private:
    void TakeHeaderLine(const char* line);

    ConnectionFailure heard_;
    bool wholeAnswer_ = false;
    FfmpegLogListener* const outer_;  // which was listening before, on the same thread
};

}  // namespace receiver
