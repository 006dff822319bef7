// The control pipe as messages: frames in, frames out, one client at a time, and
// every sent message in the log. It listens again when a client is lost.
//
//   Threads  the main thread only.
//   Errors   Listen throws std::runtime_error "Control Listen failed". A read or
//            write that takes more than 200 ms loses the client.
#pragma once

#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "log/log.h"
#include "pipe/pcm_pipe.h"
#include "wire/control_frame.h"

class CControlChannel final {
public:
    // The log outlives the channel.
    CControlChannel(std::string uri, std::shared_ptr<CPcmPipeCancellation> cancellation, CLog& log);

    void Listen();
    // Waits for a client for at most `timeoutMs`; a failure other than a time-out
    // or a cancellation listens again.
    void AcceptClient(uint32_t timeoutMs);
    // Reads what is there, at most 4,096 bytes, and hands each complete message to
    // `handle` until it asks to stop by returning false. What `handle` or the parser
    // throws is answered with REJECTED and an empty requestId.
    void ReadMessages(const std::function<bool(nlohmann::json&)>& handle);

    // Adds "version", logs, and writes. False when there is no client or it was lost.
    bool Send(nlohmann::json message);
    void Reject(const std::string& requestId, const std::string& text);
    void LogMessage(nlohmann::json message);  // without sending

    bool IsConnected() const { return connected_; }
    bool IsIntroduced() const { return helloReceived_; }  // the client has sent HELLO
    void SetIntroduced() { helloReceived_ = true; }

private:
    void Disconnected();

    const std::string uri_;
    const std::shared_ptr<CPcmPipeCancellation> cancellation_;
    CLog& log_;
    CPcmPipe pipe_;
    CFrameAssembler received_;
    bool connected_ = false;
    bool helloReceived_ = false;
};
