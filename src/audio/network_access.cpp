#include "audio/network_access.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "audio/abandoned_threads.h"
#include "audio/ffmpeg.h"
#include "audio/ffmpeg_log_listener.h"
#include "audio/retry_after_request.h"
#include "audio/source_policy.h"
#include "platform/clock.h"
#include "platform/thread_name.h"

namespace receiver {
namespace {

// FFmpeg looks at the interrupt every 100 ms where it can; a thread that does not end in
// this time is in a call that cannot be interrupted.
constexpr uint64_t kInterruptMs = 200;
constexpr uint64_t kMaxWaitMs = 3600000;
constexpr int kStatusTooManyRequests = 429;
constexpr int kStatusUnavailable = 503;

using StreamPtr = std::unique_ptr<AVIOContext, FfmpegDeleter<avio_closep>>;

// A connection in the making. Its thread and whoever waits for it hold it; of an abandoned
// one the thread is the last holder, and closes what nobody takes.
struct Connection {
    std::string url;
    int flags;
    DictionaryPtr options;  // afterwards what is left of them
    std::shared_ptr<NetworkAccess> access;
    int result = AVERROR_EXIT;
    StreamPtr stream = nullptr;
    ConnectionFailure heard = {};
    std::optional<RetryAfterRequest> retryAfter = {};  // to be asked when the server is busy
};

std::string ValueOf(const AVDictionary* options, const char* key) {
    const AVDictionaryEntry* entry = av_dict_get(options, key, nullptr, 0);
    return entry ? entry->value : "";
}

void Connect(Connection& connection, const AVIOInterruptCB& interrupt) {
    const FfmpegLogListener listener;
    AVIOContext* stream = nullptr;
    AVDictionary* options = connection.options.release();
    connection.result =
        avio_open2(&stream, connection.url.c_str(), connection.flags, &interrupt, &options);
    connection.options.reset(options);
    connection.stream.reset(stream);
    connection.heard = listener.Heard();
    connection.heard.averror = std::min(connection.result, 0);
    const bool busy = connection.heard.httpStatus == kStatusTooManyRequests ||
                      connection.heard.httpStatus == kStatusUnavailable;
    if (connection.result < 0 && busy && connection.retryAfter && !listener.HeardWholeAnswer()) {
        connection.heard.retryAfterSeconds = AskForRetryAfter(*connection.retryAfter, interrupt);
    }
}

}  // namespace

NetworkAccess::NetworkAccess(std::shared_ptr<CFFmpegNetworkCancellation> cancellation,
                             uint64_t timeoutMs, NetworkRequest request)
    : cancellation_(std::move(cancellation)), timeoutMs_(timeoutMs), request_(std::move(request)) {}

int NetworkAccess::Configure(AVFormatContext* context, AVDictionary** options) {
    context->interrupt_callback = {&NetworkAccess::InterruptCallback, this};
    context->io_open = &NetworkAccess::OpenHook;
    const int result = SetNetworkFormats(options);
    if (result < 0) return result;
    return ShouldStop() ? AVERROR_EXIT : 0;
}

void NetworkAccess::ArmDeadline() {
    deadline_ = TickMs() + timeoutMs_;
}

bool NetworkAccess::ShouldStop() {
    if (IsCancelled()) return true;
    const uint64_t deadline = deadline_;
    if (deadline == 0 || TickMs() < deadline) return false;
    timedOut_ = true;
    return true;
}

int NetworkAccess::InterruptCallback(void* access) {
    return static_cast<NetworkAccess*>(access)->ShouldStop() ? 1 : 0;
}

int NetworkAccess::OpenHook(AVFormatContext* context, AVIOContext** stream, const char* url,
                            int flags, AVDictionary** options) {
    auto* access = static_cast<NetworkAccess*>(context->interrupt_callback.opaque);
    try {
        return access->Open(stream, url, flags, options);
    } catch (const std::exception&) {  // no memory or no thread; FFmpeg knows no exceptions
        return AVERROR(ENOMEM);
    }
}

// FFmpeg looks names up in a call that waits for the resolver as long as it takes. On a
// thread of its own it delays nobody: whoever waits leaves it at the deadline.
int NetworkAccess::Open(AVIOContext** stream, const char* url, int flags, AVDictionary** options) {
    lastConnection_ = {};
    if (!IsNetworkUrl(url)) return AVERROR(EINVAL);
    if (sourceUrl_.empty()) sourceUrl_ = url;
    AVDictionary* made = nullptr;
    int result = options ? av_dict_copy(&made, *options, 0) : 0;
    if (result >= 0)
        result = SetConnectionOptions(&made, timeoutMs_, request_, IsSameServer(url, sourceUrl_));
    DictionaryPtr connectionOptions(made);
    if (result < 0) return result;
    AbandonedThreads& abandoned = AbandonedThreads::Instance();
    if (!abandoned.HasRoom()) return AVERROR(EAGAIN);

    auto connection = std::make_shared<Connection>(
        Connection{url, flags, std::move(connectionOptions), shared_from_this()});
    if (asksForRetryAfter_) {
        const AVDictionary* asked = connection->options.get();
        connection->retryAfter = RetryAfterRequest{.url = url,
                                                   .userAgent = ValueOf(asked, "user_agent"),
                                                   .headers = ValueOf(asked, "headers"),
                                                   .caFile = ValueOf(asked, "ca_file"),
                                                   .timeoutMs = timeoutMs_};
    }
    const auto ended = std::make_shared<std::atomic<bool>>(false);
    std::thread thread([connection, ended, cancellation = cancellation_]() mutable {
        SetCurrentThreadName("connect");
        Connect(*connection, {&NetworkAccess::InterruptCallback, connection->access.get()});
        connection.reset();
        *ended = true;
        cancellation->Wake();
    });
    if (!WaitForEnd(*ended)) {
        abandoned.Add(std::move(thread), ended);
        return AVERROR_EXIT;
    }
    thread.join();
    lastConnection_ = connection->heard;
    if (options) {
        av_dict_free(options);
        *options = connection->options.release();
    }
    *stream = connection->stream.release();
    return connection->result;
}

bool NetworkAccess::WaitForEnd(const std::atomic<bool>& ended) {
    while (!ShouldStop()) {
        const uint64_t deadline = deadline_;
        const uint64_t now = TickMs();
        const uint64_t rest = deadline == 0 ? kMaxWaitMs : deadline - std::min(deadline, now);
        if (cancellation_->WaitUntil(ended, DeadlineIn(std::max<uint64_t>(rest, 1)))) return true;
    }
    return cancellation_->WaitUntil(ended, DeadlineIn(kInterruptMs), /*ignoreCancellation=*/true);
}

}  // namespace receiver
