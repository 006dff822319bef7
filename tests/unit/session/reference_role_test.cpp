#include "session/reference_role.h"

#include <gtest/gtest.h>

namespace receiver {

TEST(ReferenceRole, EveryRoleHasItsWord) {
    EXPECT_STREQ(NameOf(ReferenceRole::kStart), "start");
    EXPECT_STREQ(NameOf(ReferenceRole::kEnd), "end");
    EXPECT_STREQ(NameOf(ReferenceRole::kOther), "other");
}

TEST(ReferenceRole, AWordNamesItsRole) {
    EXPECT_EQ(ReferenceRoleNamed("start"), ReferenceRole::kStart);
    EXPECT_EQ(ReferenceRoleNamed("end"), ReferenceRole::kEnd);
    EXPECT_EQ(ReferenceRoleNamed("other"), ReferenceRole::kOther);
}

TEST(ReferenceRole, AnyOtherWordNamesNone) {
    for (const char* word : {"", "Start", "END", "starts", "star", " end"}) {
        EXPECT_EQ(ReferenceRoleNamed(word), std::nullopt) << word;
    }
}

}  // namespace receiver
