// The control pipe as messages: frames in, frames out, one client at a time, and
// every sent message in the log. It listens again when a client is lost.
//
//   Threads  the main thread only.
//   Errors   whatever has to listen again throws ControlListenError when it cannot.
//            A read or write that takes more than 200 ms loses the client.
#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "log/log.h"
#include "pipe/pcm_pipe.h"
#include "platform/wake_up_event.h"
#include "wire/control_frame.h"

namespace receiver {

// The receiver cannot be reached any more: unlike the failures of single commands it
// ends the process. Its text is "Control Listen failed".
class ControlListenError final : public std::runtime_error {
public:
    ControlListenError() : std::runtime_error("Control Listen failed") {}
};

class ControlChannel final {
public:
    // Pipe and log outlive the channel's use.
    ControlChannel(std::string uri, CPcmPipe& pipe, CLog& log);

    void Listen();
    // Waits for a client for at most `timeoutMs`; a failure other than a time-out
    // or a cancellation listens again.
    void AcceptClient(uint32_t timeoutMs);
    // Returns when AcceptClient or ReadMessages may find something, when `other` is signalled,
    // at a stop, and after `timeoutMs` at the latest.
    void WaitForNews(const WakeUpEvent& other, uint64_t timeoutMs);
    // Reads what is there, at most 4,096 bytes, and hands each complete message to
    // `handle` until it asks to stop by returning false. What `handle` or the parser
    // throws is answered with REJECTED and an empty requestId.
    void ReadMessages(const std::function<bool(const nlohmann::json&)>& handle);

    // Adds "version", logs, and writes. False when there is no client or it was lost.
    bool Send(nlohmann::json message);
    void Reject(const std::string& requestId, const std::string& text);
    void LogMessage(nlohmann::json message);  // without sending

    // From here on no client is needed any more: a Listen that fails is no error. A
    // cancelled pipe implies it.
    void ExpectStop() { stopExpected_ = true; }

    // Ends the connection, which tells the client to ask anew how things stand, and listens.
    void Disconnect();
    bool IsConnected() const { return connected_; }
    bool IsIntroduced() const { return helloReceived_; }  // the client has sent HELLO
    void SetIntroduced() { helloReceived_ = true; }

private:
    bool HandleBody(const std::string& body,
                    const std::function<bool(const nlohmann::json&)>& handle);

    const std::string uri_;
    CPcmPipe& pipe_;
    CLog& log_;
    FrameAssembler received_;
    bool connected_ = false;
    bool helloReceived_ = false;
    bool stopExpected_ = false;
};

}  // namespace receiver
