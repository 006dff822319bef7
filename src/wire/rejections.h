// The "message" of a REJECTED, where the receiver words it: other refusals carry the
// JSON library's text for a missing key or a wrong type. Pure.
#pragma once

namespace receiver {

// Of a frame and of any command.
inline constexpr const char* kRejectedFrameLength = "Invalid control frame length";
inline constexpr const char* kRejectedNoObject = "Expected JSON object";
inline constexpr const char* kRejectedRequestId = "Invalid requestId";
inline constexpr const char* kRejectedVersion = "Unsupported protocol version";
inline constexpr const char* kRejectedNoHello = "HELLO required";
inline constexpr const char* kRejectedRequestIdReused =
    "requestId was already used for a different command";
inline constexpr const char* kRejectedUnknownCommand = "Unknown command";

// Of a CANCEL.
inline constexpr const char* kRejectedUnknownSession = "Unknown sessionId";

// Of a PREPARE; prepare_limits.h holds the bounds that these name.
inline constexpr const char* kRejectedActiveSession = "Receiver already has an active session";
inline constexpr const char* kRejectedSessionId = "Invalid sessionId";
inline constexpr const char* kRejectedUrl = "Expected HTTP(S) source";
inline constexpr const char* kRejectedIoTimeout = "ioTimeoutMs outside 100..60000";
inline constexpr const char* kRejectedBlockBytes = "blockBytes outside 4..1048576";
inline constexpr const char* kRejectedMaximum = "Invalid program maximumMs";
inline constexpr const char* kRejectedFade = "Invalid program fadeMs";
inline constexpr const char* kRejectedReferenceCount = "Expected 1..32 references";
inline constexpr const char* kRejectedReferenceId = "Invalid or duplicate reference id";
inline constexpr const char* kRejectedReferenceRole = "Invalid reference role";
inline constexpr const char* kRejectedReferencePath = "Expected reference file path";
inline constexpr const char* kRejectedReferenceMissing = "Reference file does not exist";
inline constexpr const char* kRejectedNoStart = "A start reference is required";
// Of its additions, which are checked after all else.
inline constexpr const char* kRejectedLookBack = "lookBackMs outside 1000..3600000";
inline constexpr const char* kRejectedReconnect = "reconnectMs outside 0..86400000";
inline constexpr const char* kRejectedPreRoll = "preRollMs outside 0..60000";
inline constexpr const char* kRejectedReport = "Invalid report";
inline constexpr const char* kRejectedHttp = "Invalid http";
inline constexpr const char* kRejectedUserAgent = "Invalid http userAgent";
inline constexpr const char* kRejectedHttpHeader = "Invalid http header";
inline constexpr const char* kRejectedCaFile = "Invalid http caFile";
inline constexpr const char* kRejectedCaFileMissing = "http caFile does not exist";

}  // namespace receiver
