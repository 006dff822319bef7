// Who starts a receiver may leave.
#include <gtest/gtest.h>

#include "platform/child_process.h"
#include "platform/clock.h"
#include "testing/raw_control_client.h"
#include "testing/receiver_driver.h"
#include "testing/temp_folder.h"

namespace receiver {

TEST(Starter, AReceiverOutlivesTheProgramThatStartedIt) {
    const TempFolder folder;
    const std::string uri = ReceiverDriver::UniqueUri();
    {
        ChildProcess shell("/bin/sh",
                           {"-c", "\"$@\" >\"$0\" 2>&1 &", folder.File("listening"),
                            ReceiverDriver::ProgramPath(), uri, folder.File("receiver.log")});
        EXPECT_EQ(shell.WaitForExit(TickMs() + kPatienceMs), 0);
    }
    RawControlClient client;
    ASSERT_TRUE(client.Connect(uri));
    EXPECT_TRUE(client.SendFrame(R"({"type":"HELLO","version":1,"requestId":"a"})"));
    EXPECT_TRUE(client.Receive().value_or("").find("WELCOME") != std::string::npos);
    EXPECT_TRUE(client.SendFrame(R"({"type":"SHUTDOWN","version":1,"requestId":"b"})"));
    EXPECT_TRUE(client.Receive().value_or("").find("ACK") != std::string::npos);
    EXPECT_TRUE(client.WaitForHangUp());
}

}  // namespace receiver
