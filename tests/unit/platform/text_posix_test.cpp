#include <gtest/gtest.h>

#include "platform/text.h"

namespace receiver {
namespace {

TEST(TextPosix, BytesThatAreNoTextAreKept) {
    EXPECT_EQ(Utf8ToAnsi("a\xFF\xC3"), "a\xFF\xC3");
    EXPECT_EQ(AnsiToUtf8("a\xFF\xC3"), "a\xFF\xC3");
}

}  // namespace
}  // namespace receiver
