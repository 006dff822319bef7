#include <gtest/gtest.h>
#include <pthread.h>

#include <string>

#include "platform/thread_name.h"
#include "testing/test_task.h"

namespace receiver {
namespace {

std::string NameAfterSetting(const char* name) {
    char current[16] = "";
    TestTask("the named thread", [&] {
        SetCurrentThreadName(name);
        pthread_getname_np(pthread_self(), current, sizeof current);
    }).Get();
    return current;
}

TEST(ThreadNamePosix, NamesTheCallingThread) {
    EXPECT_EQ(NameAfterSetting("filler"), "filler");
}

TEST(ThreadNamePosix, ALongNameKeepsItsFirst15Characters) {
    EXPECT_EQ(NameAfterSetting("0123456789abcdefgh"), "0123456789abcde");
}

}  // namespace
}  // namespace receiver
