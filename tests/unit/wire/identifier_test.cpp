#include "wire/identifier.h"

#include <gtest/gtest.h>

#include <string>

namespace receiver {

TEST(Identifier, EightyAllowedCharactersPass) {
    EXPECT_TRUE(IsValidSessionId(std::string(80, 'x')));
    EXPECT_TRUE(IsValidSessionId("AZaz09-_"));
}

TEST(Identifier, EightyOneCharactersAreRefused) {
    EXPECT_FALSE(IsValidSessionId(std::string(81, 'x')));
}

TEST(Identifier, AnEmptyTextIsRefused) {
    EXPECT_FALSE(IsValidSessionId(""));
}

TEST(Identifier, EveryOtherByteIsRefused) {
    const std::string allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    for (int byte = 0; byte < 256; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        EXPECT_EQ(IsValidSessionId(text), allowed.find(text) != std::string::npos) << byte;
    }
}

}  // namespace receiver
