// The receiver's end of a pipe, played by the test: a script runs on a thread of its
// own while the test uses the client.
#pragma once

#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "pipe/pcm_pipe.h"
#include "platform/clock.h"
#include "platform/ids.h"
#include "testing/test_task.h"
#include "wire/control_frame.h"

namespace receiver {

class FakePeer final {
public:
    using Script = std::function<void(FakePeer&)>;

    // Listens before it returns. A script that fails ends; the client then sees the loss.
    explicit FakePeer(Script script, bool accept = true)
        : uri_("pcm-pipe://fake-" + CreateInstanceId()),
          cancellation_(std::make_shared<CPcmPipeCancellation>()),
          pipe_(cancellation_) {
        if (!pipe_.Listen(uri_)) throw std::runtime_error("the fake peer cannot listen");
        thread_ = TestTask("the fake peer", [this, accept, script = std::move(script)] {
            try {
                if (accept) Accept();
                script(*this);
            } catch (const std::exception&) {
            }
            pipe_.Close();
        });
    }
    ~FakePeer() {
        cancellation_->Cancel();
        Join();
    }
    FakePeer(const FakePeer&) = delete;
    FakePeer& operator=(const FakePeer&) = delete;

    const std::string& Uri() const { return uri_; }
    // Waits for the script's end.
    void Join() {
        if (thread_.IsRunning()) thread_.Get(kMaxHoldMs);
    }

    void Accept() {
        if (!pipe_.Accept(kPatienceMs)) throw std::runtime_error("nobody came");
    }
    // Closes the connection and takes the next one.
    void AcceptAgain() {
        if (!pipe_.Listen(uri_)) throw std::runtime_error("cannot listen again");
        Accept();
    }
    void Send(const void* bytes, size_t count) {
        if (!pipe_.Write(bytes, count, TickMs() + kPatienceMs)) throw std::runtime_error("write");
    }
    void Send(const std::string& bytes) { Send(bytes.data(), bytes.size()); }
    void SendMessage(const nlohmann::json& message) { Send(EncodeFrame(message.dump())); }
    void Receive(void* bytes, size_t count) {
        if (!pipe_.Read(bytes, count, TickMs() + kPatienceMs)) throw std::runtime_error("read");
    }
    nlohmann::json ReceiveMessage() {
        uint32_t length = 0;
        Receive(&length, sizeof(length));
        std::string body(length, '\0');
        Receive(body.data(), body.size());
        return nlohmann::json::parse(body);
    }
    // Takes HELLO and answers it.
    void Welcome(const nlohmann::json& active = nullptr) {
        const nlohmann::json hello = ReceiveMessage();
        SendMessage({{"type", "WELCOME"},
                     {"version", 1},
                     {"requestId", hello.at("requestId")},
                     {"instanceId", "INSTANCE"},
                     {"active", active}});
    }
    // Returns once the client has gone, or the test ends.
    void WaitForHangUp() {
        char byte;
        pipe_.Read(&byte, 1, TickMs() + kPatienceMs);
    }

private:
    const std::string uri_;
    const std::shared_ptr<CPcmPipeCancellation> cancellation_;
    CPcmPipe pipe_;
    TestTask<void> thread_;
};

}  // namespace receiver
