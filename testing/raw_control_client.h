// The controlling end of a control pipe, down to the bytes: it frames bodies and
// takes frames apart with code of its own, so that both ends cannot share a fault.
//
//   Units    time-outs are ms.
//   Threads  one at a time.
//   Errors   Connect, Send and Receive answer by result; nothing throws.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "pipe/pcm_pipe.h"
#include "testing/patience.h"

namespace receiver {

class RawControlClient final {
public:
    // Called with each body, on the thread that sends or receives it.
    struct Observer {
        std::function<void(const std::string&)> sent;
        std::function<void(const std::string&)> received;
    };
    // Of all clients of the process, from now on. Only while none is in use.
    static void ObserveAll(Observer observer);

    RawControlClient();

    bool Connect(const std::string& uri, uint32_t timeoutMs = kPatienceMs);
    void Close() { pipe_.Close(); }

    bool Send(std::string_view bytes);
    bool SendFrame(std::string_view body);
    // The next body, or nothing when the receiver hung up or the time has passed.
    std::optional<std::string> Receive(uint32_t timeoutMs = kPatienceMs);
    // True once the receiver has closed its end; frames before that are an error.
    bool WaitForHangUp();

    // The pipe's code of the last failure.
    uint32_t LastError() const { return pipe_.LastError(); }

    static std::string Frame(std::string_view body);
    static std::string LengthField(uint32_t length);

private:
    bool Fill(size_t bytes, uint64_t deadline);

    CPcmPipe pipe_;
    std::string received_;  // a frame that a time-out cut short goes on here
};

}  // namespace receiver
