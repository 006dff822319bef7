#include "receiver_client/receiver_process.h"

#include <gtest/gtest.h>

TEST(ReceiverProcessTest, AProgramThatDoesNotExistIsASystemError) {
    receiver::CReceiverProcess process{receiver::CCancellation()};
    EXPECT_FALSE(
        process.Start("no/such/program", "receiver.log", std::chrono::milliseconds(10000)));
    EXPECT_EQ(process.LastError().kind, receiver::ErrorKind::kSystem);
    EXPECT_FALSE(process.LastError().text.empty());
}
