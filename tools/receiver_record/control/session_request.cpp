#include "receiver_record/control/session_request.h"

namespace receiver {
namespace {

// More than people need to see what a start was preceded by, and little memory.
constexpr uint32_t kLookBackMs = 60000;
// Before the start as it was heard, to find it to the sample.
constexpr uint32_t kPreRollMs = 500;

}  // namespace

PrepareRequest MakeSessionRequest(const RecordOptions& options, const std::string& sessionId) {
    PrepareRequest request;
    request.sessionId = sessionId;
    request.url = options.url;
    request.ioTimeoutMs = options.ioTimeoutMs;
    request.blockBytes = options.blockBytes;
    request.preRollMs = kPreRollMs;
    request.references = options.references;
    if (!options.schedule.startNow) request.lookBackMs = kLookBackMs;
    request.startNow = options.schedule.startNow;
    if (options.connection.reconnectMs > 0) {
        request.reconnectMs = options.connection.reconnectMs;
        request.reconnectLostOnly = true;
    }
    request.report = {.cause = true, .damage = true, .titles = true, .station = true};
    request.http = options.connection.http;
    return request;
}

PrepareRequest MakeContinuationRequest(const RecordOptions& options, const std::string& sessionId) {
    PrepareRequest request = MakeSessionRequest(options, sessionId);
    request.startNow = true;
    request.lookBackMs.reset();
    return request;
}

HttpOptions HttpFor(const std::string& url, const RecordOptions& options) {
    HttpOptions http = options.connection.http;
    if (!IsSameServer(url, options.url)) http.headers.clear();
    return http;
}

NetworkRequest NetworkRequestOf(const HttpOptions& http) {
    NetworkRequest request{.userAgent = http.userAgent, .headers = "", .caFile = http.caFile};
    for (const auto& [name, value] : http.headers) {
        request.headers.append(name).append(": ").append(value).append("\r\n");
    }
    return request;
}

}  // namespace receiver
