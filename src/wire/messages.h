// The words of the control protocol, as they stand on the pipe: what both ends write
// into their JSON and compare with. docs/protocol.md says what each means. Pure.
#pragma once

namespace receiver {

inline constexpr int kProtocolVersion = 1;

// A receiver's one line on its standard output once it can be reached: this and its URI.
inline constexpr const char* kListeningPrefix = "LISTENING ";

inline constexpr const char* kCommandHello = "HELLO";
inline constexpr const char* kCommandPrepare = "PREPARE";
inline constexpr const char* kCommandCancel = "CANCEL";
inline constexpr const char* kCommandShutdown = "SHUTDOWN";

inline constexpr const char* kReplyWelcome = "WELCOME";
inline constexpr const char* kReplyAck = "ACK";
inline constexpr const char* kReplyRejected = "REJECTED";

inline constexpr const char* kEventConnected = "CONNECTED";
inline constexpr const char* kEventDetected = "DETECTED";
inline constexpr const char* kEventProgramEnd = "PROGRAM_END";
inline constexpr const char* kEventReady = "READY";
inline constexpr const char* kEventSourceError = "SOURCE_ERROR";
inline constexpr const char* kEventFinished = "FINISHED";

// Only for those who asked, by a PREPARE's "reconnectMs" or "report".
inline constexpr const char* kEventResumed = "RESUMED";
inline constexpr const char* kEventDamaged = "DAMAGED";
inline constexpr const char* kEventTitle = "TITLE";
inline constexpr const char* kEventStation = "STATION";

// The "kind" of a "cause".
inline constexpr const char* kCauseNameLookup = "name_lookup";
inline constexpr const char* kCauseRefused = "refused";
inline constexpr const char* kCauseUnreachable = "unreachable";
inline constexpr const char* kCauseTls = "tls";
inline constexpr const char* kCauseHttp = "http";
inline constexpr const char* kCauseTimeout = "timeout";
inline constexpr const char* kCauseNotAudio = "not_audio";
inline constexpr const char* kCauseEnded = "ended";
inline constexpr const char* kCauseReset = "reset";
inline constexpr const char* kCauseReference = "reference";
inline constexpr const char* kCauseMemory = "memory";
inline constexpr const char* kCauseAudioPipe = "audio_pipe";
inline constexpr const char* kCauseOther = "other";

// The "kind" of a DAMAGED.
inline constexpr const char* kDamageUndecodable = "undecodable";
inline constexpr const char* kDamageDiscontinuity = "discontinuity";

// What "report" may ask for.
inline constexpr const char* kReportCause = "cause";
inline constexpr const char* kReportDamage = "damage";
inline constexpr const char* kReportTitles = "titles";
inline constexpr const char* kReportStation = "station";

inline constexpr const char* kStatePreparing = "PREPARING";
inline constexpr const char* kStateScanning = "SCANNING";
inline constexpr const char* kStateReady = "READY";
inline constexpr const char* kStateOpened = "OPENED";
inline constexpr const char* kStateCancelling = "CANCELLING";
inline constexpr const char* kStateStopping = "STOPPING";
inline constexpr const char* kStateFinished = "FINISHED";

// Why a session finished.
inline constexpr const char* kReasonEof = "eof";
inline constexpr const char* kReasonError = "error";
inline constexpr const char* kReasonCancelled = "cancelled";

// Why a programme ends where it does.
inline constexpr const char* kEndMaximum = "maximum";
inline constexpr const char* kEndOutro = "outro";
inline constexpr const char* kEndInterrupted = "interrupted";
inline constexpr const char* kEndSourceEnded = "source_ended";

inline constexpr const char* kRoleStart = "start";
inline constexpr const char* kRoleEnd = "end";
inline constexpr const char* kRoleOther = "other";

// The "message" of a FINISHED with reason "error".
inline constexpr const char* kFinishedReferenceOpen = "Reference Open failed";
inline constexpr const char* kFinishedReferenceDecode = "Reference decode failed";
inline constexpr const char* kFinishedReferenceShort = "Reference too short";
inline constexpr const char* kFinishedCancelledLoading = "Cancelled during reference loading";
inline constexpr const char* kFinishedCancelledBeforeOpen = "Cancelled before source Open";
inline constexpr const char* kFinishedSourceOpen = "Network source Open failed";
inline constexpr const char* kFinishedCancelledOpening = "Cancelled during source Open";
inline constexpr const char* kFinishedStoppedDetecting = "Session stopped during detection";
inline constexpr const char* kFinishedStartNotFound =
    "Start reference not found before source ended or failed";
inline constexpr const char* kFinishedPcmUnavailable = "Detected PCM is unavailable";
inline constexpr const char* kFinishedSeek = "Local sample Seek failed";
inline constexpr const char* kFinishedAudioListen = "Audio endpoint Listen failed";
inline constexpr const char* kFinishedStoppedBeforeReady = "Session stopped before READY";
inline constexpr const char* kFinishedProgramFormat = "Invalid prepared program format";
// Followed by the pipe's error number and ")".
inline constexpr const char* kFinishedAudioPrefix =
    "Audio connection or source ended with an error (pipe=";
inline constexpr const char* kFinishedForeignException = "MFC exception in receiver session";

}  // namespace receiver
