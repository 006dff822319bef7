#include "platform/wake_up_event.h"

#include <gtest/gtest.h>

#include "testing/test_task.h"

namespace receiver {
namespace {

TEST(WakeUpEvent, StartsUnsignalled) {
    const WakeUpEvent event;
    EXPECT_FALSE(event.Wait(0));
}

TEST(WakeUpEvent, StaysSignalledUntilTheSignalIsTakenBack) {
    WakeUpEvent event;
    event.Signal();
    EXPECT_TRUE(event.Wait(0));
    EXPECT_TRUE(event.Wait(UINT32_MAX));
    event.TakeBack();
    EXPECT_FALSE(event.Wait(0));
}

TEST(WakeUpEvent, TwoSignalsAreTakenBackAtOnce) {
    WakeUpEvent event;
    event.Signal();
    event.Signal();
    event.TakeBack();
    EXPECT_FALSE(event.Wait(0));
}

TEST(WakeUpEvent, WithoutASignalThereIsNothingToTakeBackAndTheNextOneCounts) {
    WakeUpEvent event;
    event.TakeBack();
    EXPECT_FALSE(event.Wait(0));
    event.Signal();
    EXPECT_TRUE(event.Wait(0));
}

TEST(WakeUpEvent, ASignalFromAnotherThreadEndsAWait) {
    WakeUpEvent event;
    TestTask signaller("the signaller", [&event] { event.Signal(); });
    EXPECT_TRUE(event.Wait(UINT32_MAX));
    signaller.Get();
}

}  // namespace
}  // namespace receiver
