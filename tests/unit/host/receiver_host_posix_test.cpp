// A console control event is a signal here, so the test process can send it to itself.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <thread>

#include "host/receiver_host.h"
#include "platform/ids.h"
#include "support/raw_control_client.h"
#include "support/temp_folder.h"
#include "unit/session/scripted_source.h"
#include "unit/session/session_fixture.h"

using nlohmann::json;

namespace {

class HostSignalTest : public testing::TestWithParam<int> {
protected:
    void Run() {
        runner_ = std::thread([this] { exitCode_ = host_.Run(); });
    }
    void StopBySignal() {
        std::raise(GetParam());
        runner_.join();
    }
    std::string LogText() const {
        std::string text;
        for (const auto& entry : std::filesystem::directory_iterator(folder_.Path())) {
            std::ifstream file(entry.path(), std::ios::binary);
            text.append(std::istreambuf_iterator<char>(file), {});
        }
        return text;
    }

    const CTempFolder folder_;
    const CReferenceFiles files_;
    const std::string uri_ = "pcm-pipe://test-host-" + CreateInstanceId();
    CScriptedSource source_;
    CReceiverHost host_{uri_, folder_.File("receiver.log"), source_.Factory()};
    CRawControlClient client_;
    std::thread runner_;
    int exitCode_ = -1;
};

}  // namespace

TEST_P(HostSignalTest, EndsTheWaitForAClientCleanly) {
    Run();
    StopBySignal();
    EXPECT_EQ(exitCode_, 0);
    EXPECT_NE(LogText().find("RECEIVER HOST_STOPPED"), std::string::npos);
}

TEST_P(HostSignalTest, StopsARunningSessionWhoseEndIsOnlyLogged) {
    Run();
    ASSERT_TRUE(client_.Connect(uri_));
    ASSERT_TRUE(client_.SendFrame(R"({"type":"HELLO","requestId":"h","version":1})"));
    ASSERT_TRUE(client_.Receive());
    const json prepare = {
        {"type", "PREPARE"},
        {"requestId", "p"},
        {"version", 1},
        {"sessionId", "s"},
        {"url", "http://127.0.0.1/stream"},
        {"references",
         json::array({{{"id", "the-start"}, {"role", "start"}, {"path", files_.Path("start")}}})}};
    ASSERT_TRUE(client_.SendFrame(prepare.dump()));
    ASSERT_TRUE(client_.Receive());
    ASSERT_TRUE(source_.WaitUntilOpening());
    StopBySignal();
    EXPECT_EQ(exitCode_, 0);
    const std::string log = LogText();
    const size_t finished = log.find("RECEIVER FINISHED");
    ASSERT_NE(finished, std::string::npos);
    EXPECT_NE(log.find("reason=cancelled", finished), std::string::npos);
    EXPECT_NE(log.find("RECEIVER HOST_STOPPED", finished), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Signals, HostSignalTest, testing::Values(SIGINT, SIGTERM, SIGHUP),
                         [](const auto& signal) {
                             return std::string(signal.param == SIGINT    ? "Interrupt"
                                                : signal.param == SIGTERM ? "Terminate"
                                                                          : "HangUp");
                         });
