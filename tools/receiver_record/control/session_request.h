// What a recording asks of the receiver. Pure.
#pragma once

#include <string>

#include "audio/text_request.h"
#include "receiver_client/messages.h"
#include "receiver_record/request/record_options.h"

namespace receiver {

PrepareRequest MakeSessionRequest(const RecordOptions& options, const std::string& sessionId);
// Of a recording that has begun, and goes on in another session: with the first sample.
PrepareRequest MakeContinuationRequest(const RecordOptions& options, const std::string& sessionId);
// What is said to the server of an address: further headers may be secrets, and are for the server
// of the given one alone.
HttpOptions HttpFor(const std::string& url, const RecordOptions& options);
// What the receiver says to the station is said, too, when a playlist is asked for.
NetworkRequest NetworkRequestOf(const HttpOptions& http);

}  // namespace receiver
