#include "pipe/pcm_pipe_cancellation.h"

#include <gtest/gtest.h>

namespace receiver {
namespace {

TEST(PcmPipeCancellation, StartsUncancelled) {
    const CPcmPipeCancellation cancellation;
    EXPECT_FALSE(cancellation.IsCancelled());
}

TEST(PcmPipeCancellation, StaysCancelled) {
    CPcmPipeCancellation cancellation;
    cancellation.Cancel();
    cancellation.Cancel();
    EXPECT_TRUE(cancellation.IsCancelled());
    EXPECT_TRUE(cancellation.IsCancelled());
    EXPECT_TRUE(cancellation.Event().Wait(0));
}

}  // namespace
}  // namespace receiver
