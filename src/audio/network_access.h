// One source's way to the network: the deadline and the cancellation that end its
// operations, and the hook through which FFmpeg opens every connection of the source.
//
//   Units    ms; deadlines are TickMs() values.
//   Threads  the source's thread; the cancellation and the connecting threads ask
//            ShouldStop from theirs.
//   Errors   negative FFmpeg codes.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "audio/connection_failure.h"
#include "audio/ffmpeg_network_cancellation.h"
#include "audio/source_policy.h"

struct AVDictionary;
struct AVFormatContext;
struct AVIOContext;

namespace receiver {

// Always under a shared_ptr: a connection that is still being made when its source has
// given up holds on to it.
class NetworkAccess final : public std::enable_shared_from_this<NetworkAccess> {
public:
    NetworkAccess(std::shared_ptr<CFFmpegNetworkCancellation> cancellation, uint64_t timeoutMs,
                  NetworkRequest request);

    // For the context that is about to be opened, which this object must outlive.
    int Configure(AVFormatContext* context, AVDictionary** options);

    // One connection, by itself; `options` may be null. The stream is the caller's to close, and
    // ends at the deadline.
    int Open(AVIOContext** stream, const char* url, int flags, AVDictionary** options);

    // Before Open: whether a busy server is asked, with a second request where it takes one,
    // when to come again. Default false.
    void SetAsksForRetryAfter(bool asks) { asksForRetryAfter_ = asks; }
    void ArmDeadline();
    bool ShouldStop();
    bool HasTimedOut() const { return timedOut_; }
    bool IsCancelled() const { return cancellation_->IsCancelled(); }
    // Of the last connection that was made or failed to be, on the source's thread.
    const ConnectionFailure& LastConnection() const { return lastConnection_; }

private:
    static int InterruptCallback(void* access);
    static int OpenHook(AVFormatContext* context, AVIOContext** stream, const char* url, int flags,
                        AVDictionary** options);
    bool WaitForEnd(const std::atomic<bool>& ended);

    const std::shared_ptr<CFFmpegNetworkCancellation> cancellation_;
    const uint64_t timeoutMs_;
    const NetworkRequest request_;
    std::string sourceUrl_;  // the first that is opened; the source thread's
    bool asksForRetryAfter_ = false;
    ConnectionFailure lastConnection_;   // the source's thread alone
    std::atomic<uint64_t> deadline_{0};  // 0 for none
    std::atomic<bool> timedOut_{false};
};

}  // namespace receiver
