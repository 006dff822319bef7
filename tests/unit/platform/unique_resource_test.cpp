#include "platform/unique_resource.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace receiver {
namespace {

std::vector<int> closed;

struct NumberTraits {
    using Type = int;
    static Type Invalid() { return -1; }
    static void Close(Type number) { closed.push_back(number); }
};
using Number = UniqueResource<NumberTraits>;

class UniqueResourceTest : public testing::Test {
protected:
    void SetUp() override { closed.clear(); }
};

TEST_F(UniqueResourceTest, ItsEndClosesItOnce) {
    { const Number number(7); }
    EXPECT_EQ(closed, std::vector<int>{7});
}

TEST_F(UniqueResourceTest, AnInvalidOneIsNotClosed) {
    { const Number number; }
    EXPECT_TRUE(closed.empty());
}

TEST_F(UniqueResourceTest, MovingPassesItOn) {
    {
        Number first(7);
        const Number second(std::move(first));
        EXPECT_EQ(second.Get(), 7);
        EXPECT_TRUE(closed.empty());
    }
    EXPECT_EQ(closed, std::vector<int>{7});
}

TEST_F(UniqueResourceTest, AssigningClosesTheOldOne) {
    Number number(7);
    number = Number(8);
    EXPECT_EQ(closed, std::vector<int>{7});
    EXPECT_EQ(number.Get(), 8);
}

TEST_F(UniqueResourceTest, ReleasingLeavesItOpen) {
    Number number(7);
    EXPECT_EQ(number.Release(), 7);
    EXPECT_FALSE(number.IsValid());
    EXPECT_TRUE(closed.empty());
}

TEST_F(UniqueResourceTest, ResettingToItselfKeepsItOpen) {
    Number number(7);
    number.Reset(7);
    EXPECT_TRUE(closed.empty());
    EXPECT_TRUE(number.IsValid());
}

}  // namespace
}  // namespace receiver
