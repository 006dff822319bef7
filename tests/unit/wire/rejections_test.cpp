#include "wire/rejections.h"

#include <gtest/gtest.h>

#include <string>

#include "wire/prepare_limits.h"

namespace receiver {
namespace {

std::string Range(uint64_t least, uint64_t most) {
    return std::to_string(least) + ".." + std::to_string(most);
}

}  // namespace

TEST(Rejections, ThoseOfARangeNameTheBoundsThatAreChecked) {
    EXPECT_EQ(kRejectedIoTimeout, "ioTimeoutMs outside " + Range(kMinIoTimeoutMs, kMaxIoTimeoutMs));
    EXPECT_EQ(kRejectedBlockBytes, "blockBytes outside " + Range(kMinBlockBytes, kMaxBlockBytes));
    EXPECT_EQ(kRejectedReferenceCount, "Expected " + Range(1, kMaxReferences) + " references");
}

}  // namespace receiver
