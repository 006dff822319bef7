#include "pipe/pipe_uri.h"

#include <gtest/gtest.h>

namespace receiver {
namespace {

TEST(PipeUri, PrefixIsComparedWithoutRegardToCase) {
    EXPECT_EQ(PipeNameFromUri("PCM-PIPE://abc"), "abc");
    EXPECT_EQ(PipeNameFromUri("Pcm-pIpe://abc"), "abc");
}

TEST(PipeUri, NameKeepsItsCase) {
    EXPECT_EQ(PipeNameFromUri("pcm-pipe://AbC"), "AbC");
}

TEST(PipeUri, EveryAllowedCharacterIsAccepted) {
    const std::string name = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._";
    EXPECT_EQ(PipeNameFromUri("pcm-pipe://" + name), name);
}

TEST(PipeUri, EveryOtherByteIsRefused) {
    const std::string allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._";
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        if (allowed.find(c) != std::string::npos) continue;
        EXPECT_EQ(PipeNameFromUri(std::string("pcm-pipe://a") + c), std::nullopt) << byte;
    }
}

TEST(PipeUri, TheBarePrefixIsRefused) {
    EXPECT_EQ(PipeNameFromUri("pcm-pipe://"), std::nullopt);
}

TEST(PipeUri, ANameOf180CharactersIsTheLongest) {
    EXPECT_EQ(PipeNameFromUri("pcm-pipe://" + std::string(180, 'n')), std::string(180, 'n'));
    EXPECT_EQ(PipeNameFromUri("pcm-pipe://" + std::string(181, 'n')), std::nullopt);
}

TEST(PipeUri, AnotherSchemeIsRefused) {
    EXPECT_EQ(PipeNameFromUri(""), std::nullopt);
    EXPECT_EQ(PipeNameFromUri("abc"), std::nullopt);
    EXPECT_EQ(PipeNameFromUri("pcm-pipe:/abc"), std::nullopt);
    EXPECT_EQ(PipeNameFromUri("pcm-pipes://abc"), std::nullopt);
    EXPECT_EQ(PipeNameFromUri(" pcm-pipe://abc"), std::nullopt);
}

TEST(PipeUri, MappingEndsInThePrefixAndTheName) {
    const std::optional<std::string> path = MapPipeUri("PCM-PIPE://abc");
    ASSERT_TRUE(path);
    EXPECT_TRUE(path->ends_with("Corvadel.PCM.abc")) << *path;
}

TEST(PipeUri, ABadUriMapsToNothing) {
    EXPECT_EQ(MapPipeUri("pcm-pipe://a/b"), std::nullopt);
}

}  // namespace
}  // namespace receiver
