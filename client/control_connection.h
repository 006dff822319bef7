// JSON messages over one control pipe, as the client sees them: framing, limits on
// what a peer may send, and the kept error of the last operation.
//
//   Units    deadlines are TickMs() values.
//   Threads  one at a time.
//   Errors   by result; Failure() tells why. Everything but a time-out and a message
//            that cannot be sent closes the pipe.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "pipe/pcm_pipe.h"
#include "receiver_client/cancellation.h"
#include "receiver_client/error.h"
#include "wire/control_frame.h"

namespace receiver {

class ControlConnection final {
public:
    explicit ControlConnection(const Cancellation& cancellation);

    bool Open(const std::string& uri, uint64_t deadline);
    void Close();
    bool IsOpen() const { return open_; }
    uint32_t ServerProcessId() const { return pipe_.ServerProcessId(); }

    bool Send(const nlohmann::json& message, uint64_t deadline);
    // The next message, always an object with a "type" text. One that has arrived is
    // returned even when the deadline has passed.
    std::optional<nlohmann::json> Receive(uint64_t deadline);

    const Error& Failure() const { return failure_; }
    bool Fail(ErrorKind kind, std::string text, uint32_t code = 0);  // false

private:
    bool ReceiveBytes(uint64_t deadline);
    bool FailPipe(const char* doing);
    std::optional<nlohmann::json> Parse(const std::string& body);

    CPcmPipe pipe_;
    FrameAssembler frames_;
    bool open_ = false;
    Error failure_;
};

}  // namespace receiver
