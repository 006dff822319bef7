#include "receiver_client/receiver_process.h"

#include <gtest/gtest.h>

namespace receiver {

TEST(ReceiverProcess, AProgramThatDoesNotExistIsASystemError) {
    receiver::ReceiverProcess process{receiver::Cancellation()};
    EXPECT_FALSE(
        process.Start("no/such/program", "receiver.log", std::chrono::milliseconds(10000)));
    EXPECT_EQ(process.LastError().kind, receiver::ErrorKind::kSystem);
    EXPECT_FALSE(process.LastError().text.empty());
}

}  // namespace receiver
