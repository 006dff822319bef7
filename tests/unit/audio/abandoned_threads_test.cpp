#include "audio/abandoned_threads.h"

#include <gtest/gtest.h>

#include "platform/manual_reset_event.h"

namespace receiver {

// The system's limits are not reached by lookups that hang; the process's own is.
TEST(AbandonedThreads, ThereIsRoomForSoManyUntilOneHasEnded) {
    AbandonedThreads threads;
    std::vector<std::shared_ptr<std::atomic<bool>>> ended;
    ManualResetEvent first;
    ManualResetEvent others;
    for (size_t i = 0; i < AbandonedThreads::kMaxThreads; ++i) {
        EXPECT_TRUE(threads.HasRoom());
        ended.push_back(std::make_shared<std::atomic<bool>>(false));
        threads.Add(std::thread([&event = i == 0 ? first : others, over = ended.back()] {
                        event.Wait(UINT32_MAX - 1);
                        *over = true;
                        over->notify_all();
                    }),
                    ended.back());
    }
    EXPECT_FALSE(threads.HasRoom());
    first.Signal();
    ended.front()->wait(false);
    EXPECT_TRUE(threads.HasRoom());
    others.Signal();
    for (const auto& over : ended) over->wait(false);
    EXPECT_TRUE(threads.HasRoom());  // and joins them all
}

}  // namespace receiver
