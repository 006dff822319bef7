// A host that runs on a thread of its own, with a session whose source is scripted.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "host/receiver_host.h"
#include "platform/ids.h"
#include "testing/raw_control_client.h"
#include "testing/scripted_source.h"
#include "testing/session_fixture.h"
#include "testing/temp_folder.h"
#include "testing/test_task.h"

namespace receiver {

class ReceiverHostTest : public testing::Test {
protected:
    ~ReceiverHostTest() override {
        if (run_.IsRunning()) run_.Get();
    }

    void Run() {
        host_ = std::make_unique<CReceiverHost>(uri_, log_, source_.Factory());
        run_ = TestTask("the host", [this] { return host_->Run(); });
    }
    int ExitCode() { return run_.Get(); }  // once, when the host has been stopped
    void Introduce() {
        ASSERT_TRUE(client_.Connect(uri_));
        ASSERT_EQ(Ask({{"type", "HELLO"}})["type"], "WELCOME");
    }
    nlohmann::json Ask(nlohmann::json command) {
        command["version"] = 1;
        command["requestId"] = "r" + std::to_string(++requests_);
        return client_.SendFrame(command.dump()) ? Receive() : nlohmann::json();
    }
    nlohmann::json Receive() {
        const auto body = client_.Receive();
        return body ? nlohmann::json::parse(*body) : nlohmann::json();
    }
    nlohmann::json Prepare() {
        return Ask({{"type", "PREPARE"},
                    {"sessionId", "s-1"},
                    {"url", "http://127.0.0.1/stream"},
                    {"references", nlohmann::json::array({{{"id", "the-start"},
                                                           {"role", "start"},
                                                           {"path", files_.Path("start")}}})}});
    }
    std::string LogText() const {
        std::string text;
        for (const auto& entry : std::filesystem::directory_iterator(folder_.Path())) {
            std::ifstream file(entry.path(), std::ios::binary);
            text.append(std::istreambuf_iterator<char>(file), {});
        }
        return text;
    }

    const TempFolder folder_;
    const ReferenceFiles files_;
    const std::string uri_ = "pcm-pipe://test-host-" + CreateInstanceId();
    const std::string log_ = folder_.File("receiver.log");
    ScriptedSource source_;
    RawControlClient client_;
    std::unique_ptr<CReceiverHost> host_;
    TestTask<int> run_;
    int requests_ = 0;
};

}  // namespace receiver
