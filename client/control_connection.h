// JSON messages over one control pipe, as the client sees them: framing, limits on
// what a peer may send, and the kept error of the last operation.
//
//   Units    deadlines are TickMs() values.
//   Threads  one at a time, but for SendBeside, which any other may call meanwhile.
//   Lock     sendMutex_ keeps frames whole: it is held while one is written, which the deadline
//            bounds, and while the pipe is opened or closed. A leaf.
//   Errors   by result; Failure() tells why. Everything but a time-out and a message
//            that cannot be sent closes the pipe.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "pipe/pcm_pipe.h"
#include "platform/thread_safety.h"
#include "receiver_client/cancellation.h"
#include "receiver_client/error.h"
#include "wire/control_frame.h"

namespace receiver {

class ControlConnection final {
public:
    explicit ControlConnection(const Cancellation& cancellation);

    bool Open(const std::string& uri, uint64_t deadline) EXCLUDES(sendMutex_);
    void Close() EXCLUDES(sendMutex_);
    bool IsOpen() const { return open_; }
    uint32_t ServerProcessId() const { return pipe_.ServerProcessId(); }

    bool Send(const nlohmann::json& message, uint64_t deadline) EXCLUDES(sendMutex_);
    // As Send, for a thread beside the one that uses the object. After a frame that was cut
    // short nothing more can be sent; what the peer sends can still be received.
    Error SendBeside(const nlohmann::json& message, uint64_t deadline) EXCLUDES(sendMutex_);
    // The next message, always an object with a "type" text. One that has arrived is
    // returned even when the deadline has passed.
    std::optional<nlohmann::json> Receive(uint64_t deadline);
    std::intptr_t Readiness() { return open_ ? pipe_.Readiness() : -1; }  // as CPcmPipe's

    const Error& Failure() const { return failure_; }
    bool Fail(ErrorKind kind, std::string text, uint32_t code = 0);  // false

private:
    bool ReceiveBytes(uint64_t deadline);
    bool FailPipe(const char* doing);
    std::optional<nlohmann::json> Parse(const std::string& body);

    FrameAssembler frames_;
    bool open_ = false;
    Error failure_;

    CPcmPipe pipe_;
    Mutex sendMutex_;
    bool canSend_ GUARDED_BY(sendMutex_) = false;
};

}  // namespace receiver
