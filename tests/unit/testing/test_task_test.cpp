#include "testing/test_task.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "platform/manual_reset_event.h"

namespace receiver {
namespace {

TEST(TestTask, GivesWhatItsBodyReturned) {
    TestTask task("the sum", [] { return 2 + 3; });
    EXPECT_TRUE(task.IsRunning());
    EXPECT_EQ(task.Get(), 5);
    EXPECT_FALSE(task.IsRunning());
}

TEST(TestTask, ThrowsWhatItsBodyThrew) {
    TestTask task("the failure", []() -> int { throw std::runtime_error("scripted"); });
    EXPECT_THROW(task.Get(), std::runtime_error);
}

TEST(TestTask, IsWaitedForWhenNobodyAsksForIt) {
    bool ended = false;
    {
        ManualResetEvent go;
        const TestTask task("the waiter", [&] { ended = go.Wait(kPatienceMs); });
        go.Signal();
    }
    EXPECT_TRUE(ended);
}

TEST(Await, GivesTheValueOfAnotherThread) {
    std::promise<int> promise;
    TestTask task("the promiser", [&] { promise.set_value(7); });
    EXPECT_EQ(Await(promise.get_future(), "the value"), 7);
    task.Get();
}

TEST(Patience, EndsWithWhatWasAwaited) {
    EXPECT_NO_THROW(Patience("nothing").Check());
    try {
        Patience("the end", 0).Check();
        FAIL() << "endless";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "the end has not come within 0 ms");
    }
}

}  // namespace
}  // namespace receiver
