// A control channel on a pipe of its own, with a raw client on the other end and
// the log's lines in memory.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "host/control_channel.h"
#include "log/log.h"
#include "pipe/pcm_pipe.h"
#include "platform/ids.h"
#include "testing/memory_log.h"
#include "testing/raw_control_client.h"

namespace receiver {

inline std::string UniqueControlUri() {
    return "pcm-pipe://test-control-" + CreateInstanceId();
}

class ChannelTest : public testing::Test {
protected:
    ChannelTest()
        : log_(std::make_unique<MemoryLog>(lines_), CLog::Options{}), channel_(uri_, pipe_, log_) {
        channel_.Listen();
    }

    void Connect() {
        ASSERT_TRUE(client_.Connect(uri_));
        channel_.AcceptClient(kPatienceMs);
        ASSERT_TRUE(channel_.IsConnected());
    }
    // A frame that may be larger than what a pipe holds: `pass` is the host's turn to read,
    // taken whenever what it reads at once has been sent.
    template <typename Pass>
    [[nodiscard]] bool SendFrameWhile(const std::string& body, Pass pass) {
        constexpr size_t kPassBytes = 4096;
        const std::string frame = RawControlClient::Frame(body);
        for (size_t sent = 0; sent < frame.size(); sent += kPassBytes) {
            if (!client_.Send(std::string_view(frame).substr(sent, kPassBytes))) return false;
            pass();
        }
        return true;
    }
    // The next message of the receiver.
    nlohmann::json Reply() {
        const auto body = client_.Receive();
        return body ? nlohmann::json::parse(*body) : nlohmann::json();
    }
    static nlohmann::json Rejected(const std::string& requestId, const std::string& text) {
        return {{"type", "REJECTED"}, {"requestId", requestId}, {"message", text}, {"version", 1}};
    }
    bool Logged(const std::string& text) const {
        for (const auto& line : lines_) {
            if (line.find(text) != std::string::npos) return true;
        }
        return false;
    }

    const std::string uri_ = UniqueControlUri();
    const std::shared_ptr<CPcmPipeCancellation> cancellation_ =
        std::make_shared<CPcmPipeCancellation>();
    CPcmPipe pipe_{cancellation_};
    std::vector<std::string> lines_;
    CLog log_;
    ControlChannel channel_;
    RawControlClient client_;
};

}  // namespace receiver
