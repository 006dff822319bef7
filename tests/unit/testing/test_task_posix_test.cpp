// How a program ends that waits in vain; elsewhere a program that aborts may ask its user first.
#include <gtest/gtest.h>

#include "platform/manual_reset_event.h"
#include "testing/test_task.h"

namespace receiver {
namespace {

class PatienceDeathTest : public testing::Test {
protected:
    PatienceDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(PatienceDeathTest, ATaskThatHangsEndsTheProgramWithItsName) {
    EXPECT_DEATH(
        {
            ManualResetEvent never;
            TestTask task("the sleeper", [&] { return never.Wait(kMaxHoldMs); });
            task.Get(10);
        },
        "Gave up after 10 ms: the sleeper has not ended");
}

TEST_F(PatienceDeathTest, AValueThatDoesNotComeEndsTheProgramWithItsName) {
    EXPECT_DEATH(
        {
            std::promise<int> promise;
            Await(promise.get_future(), "the value", 10);
        },
        "Gave up after 10 ms: the value has not come");
}

}  // namespace
}  // namespace receiver
