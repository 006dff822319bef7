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
// What the receiver says to the station is said, too, when a playlist is asked for.
NetworkRequest NetworkRequestOf(const HttpOptions& http);

}  // namespace receiver
