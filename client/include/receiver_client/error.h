// Why a call on a receiver failed.
#pragma once

#include <cstdint>
#include <string>

namespace receiver {

enum class ErrorKind {
    kNone,
    kTimedOut,         // nothing came in time; the connection is still good
    kCancelled,        // the cancellation was signalled; final
    kDisconnected,     // there is no connection, or it was lost; reconnecting may help
    kRejected,         // the receiver refused the command; text is its message
    kProtocol,         // the peer broke the protocol; the connection was closed
    kInvalidArgument,  // the request cannot be expressed; nothing was sent
    kSystem,           // the system or the receiver program failed; code, if any, says why
    kSessionFailed,    // the session ended with an error; text is its message
    kUnsupported,      // the receiver does not know what was asked for; text names it
};

struct Error {
    ErrorKind kind = ErrorKind::kNone;
    uint32_t code = 0;  // the pipe's error number (Win32 values on every platform), or 0
    std::string text;   // for people
};

}  // namespace receiver
