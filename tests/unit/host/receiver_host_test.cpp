#include "host/receiver_host.h"

#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "pipe/pcm_pipe.h"
#include "running_host.h"

namespace receiver {

using nlohmann::json;

TEST_F(ReceiverHostTest, ALogInAFolderThatDoesNotExistIsRefused) {
    try {
        CReceiverHost host(uri_, folder_.File("absent/receiver.log"));
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "Cannot open receiver log");
    }
}

TEST_F(ReceiverHostTest, ABadControlUriFailsToListen) {
    CReceiverHost host("pcm-pipe://", log_);
    EXPECT_THROW(host.Run(), ControlListenError);
}

TEST_F(ReceiverHostTest, ShutdownEndsTheRunAndIsLogged) {
    Run();
    Introduce();
    EXPECT_EQ(Ask({{"type", "SHUTDOWN"}})["command"], "SHUTDOWN");
    EXPECT_EQ(ExitCode(), 0);
    EXPECT_NE(LogText().find("RECEIVER HOST_STOPPED processId="), std::string::npos);
}

TEST_F(ReceiverHostTest, ShutdownStopsTheSessionAndStillSendsFinished) {
    Run();
    Introduce();
    ASSERT_EQ(Prepare()["command"], "PREPARE");
    ASSERT_EQ(Receive()["type"], "CONNECTED");
    EXPECT_EQ(Ask({{"type", "SHUTDOWN"}})["command"], "SHUTDOWN");
    const json finished = Receive();
    EXPECT_EQ(finished["type"], "FINISHED");
    EXPECT_EQ(finished["reason"], "cancelled");
    EXPECT_EQ(ExitCode(), 0);
}

TEST_F(ReceiverHostTest, AFinishedSessionMakesRoomForTheNext) {
    Run();
    Introduce();
    for (int session = 0; session < 3; ++session) {
        source_.End();
        ASSERT_EQ(Prepare()["command"], "PREPARE");
        ASSERT_EQ(Receive()["type"], "CONNECTED");
        ASSERT_EQ(Receive()["type"], "FINISHED");
    }
    EXPECT_EQ(Ask({{"type", "HELLO"}})["active"], nullptr);
    Ask({{"type", "SHUTDOWN"}});
}

TEST_F(ReceiverHostTest, ANewClientGetsTheLaterEventsOfARunningSession) {
    Run();
    Introduce();
    ASSERT_EQ(Prepare()["command"], "PREPARE");
    ASSERT_EQ(Receive()["type"], "CONNECTED");
    client_.Close();
    Introduce();
    source_.Match(MatchAt(kStartReference, 0));
    source_.Deliver(10);
    EXPECT_EQ(Receive()["type"], "DETECTED");
    EXPECT_EQ(Receive()["type"], "READY");
    Ask({{"type", "SHUTDOWN"}});
}

TEST_F(ReceiverHostTest, TheAudioUriCarriesTheInstanceId) {
    Run();
    ASSERT_TRUE(client_.Connect(uri_));
    const std::string instance = Ask({{"type", "HELLO"}})["instanceId"];
    EXPECT_EQ(instance.size(), 36u);
    source_.Match(MatchAt(kStartReference, 0));
    source_.Deliver(10);
    ASSERT_EQ(Prepare()["command"], "PREPARE");
    json event = Receive();
    while (!event.is_null() && event["type"] != "READY") event = Receive();
    ASSERT_FALSE(event.is_null());
    EXPECT_EQ(event["uri"], "pcm-pipe://receiver-audio-" + instance + "-1");
    client_.SendFrame(R"({"type":"SHUTDOWN","requestId":"end","version":1})");
}

TEST_F(ReceiverHostTest, AnotherReceiverOnTheSameNameIsRefused) {
    Run();
    Introduce();
    CPcmPipe other(std::make_shared<CPcmPipeCancellation>());
    EXPECT_FALSE(other.Listen(uri_));
    Ask({{"type", "SHUTDOWN"}});
}

}  // namespace receiver
