#include "platform/ids.h"

#include <gtest/gtest.h>

#include <regex>

#include "testing/test_task.h"

namespace receiver {
namespace {

TEST(Ids, AnInstanceIdIsAnUpperCaseVersion4Uuid) {
    const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    for (int i = 0; i < 100; ++i) {
        const std::string id = CreateInstanceId();
        EXPECT_TRUE(std::regex_match(id, form)) << id;
    }
}

TEST(Ids, EveryInstanceIdIsNew) {
    EXPECT_NE(CreateInstanceId(), CreateInstanceId());
}

TEST(Ids, ThreadsOfOneProcessHaveIdsOfTheirOwn) {
    uint32_t process = 0;
    uint32_t thread = 0;
    TestTask("the other thread", [&] {
        process = CurrentProcessId();
        thread = CurrentThreadId();
    }).Get();
    EXPECT_EQ(process, CurrentProcessId());
    EXPECT_NE(thread, CurrentThreadId());
    EXPECT_NE(thread, 0u);
}

}  // namespace
}  // namespace receiver
