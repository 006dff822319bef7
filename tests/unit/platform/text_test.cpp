#include "platform/text.h"

#include <gtest/gtest.h>

namespace receiver {
namespace {

constexpr char kReplacement[] = "\xEF\xBF\xBD";

std::string Replacements(int count) {
    std::string text;
    for (int i = 0; i < count; ++i) text += kReplacement;
    return text;
}

TEST(Text, WellFormedTextIsKept) {
    for (const std::string text :
         {"", "plain", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
          "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF", "a\xC3\xA4\xE2\x82\xAC z"}) {
        EXPECT_EQ(ReplaceIllFormedUtf8(text), text);
    }
}

TEST(Text, ANulByteIsKept) {
    const std::string text("a\0b", 3);
    EXPECT_EQ(ReplaceIllFormedUtf8(text), text);
}

struct IllFormed {
    const char* name;
    std::string bytes;
};

class IllFormedTextTest : public testing::TestWithParam<IllFormed> {};

TEST_P(IllFormedTextTest, EachByteIsReplacedAndItsSurroundingsStay) {
    const std::string& bytes = GetParam().bytes;
    EXPECT_EQ(ReplaceIllFormedUtf8("a" + bytes + "z"),
              "a" + Replacements(static_cast<int>(bytes.size())) + "z");
    EXPECT_EQ(ReplaceIllFormedUtf8(bytes), Replacements(static_cast<int>(bytes.size())));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, IllFormedTextTest,
    testing::Values(IllFormed{"Continuation", "\x80"}, IllFormed{"LastContinuation", "\xBF"},
                    IllFormed{"OverlongSlash", "\xC0\xAF"}, IllFormed{"OverlongDel", "\xC1\xBF"},
                    IllFormed{"OverlongOf3", "\xE0\x9F\xBF"},
                    IllFormed{"OverlongOf4", "\xF0\x8F\xBF\xBF"},
                    IllFormed{"FirstSurrogate", "\xED\xA0\x80"},
                    IllFormed{"LastSurrogate", "\xED\xBF\xBF"},
                    IllFormed{"AboveTheLastCodePoint", "\xF4\x90\x80\x80"},
                    IllFormed{"LeadOf5", "\xF8\x88\x80\x80\x80"}, IllFormed{"Ff", "\xFF"},
                    IllFormed{"CutAfter1Of2", "\xC3"}, IllFormed{"CutAfter2Of3", "\xE2\x82"},
                    IllFormed{"CutAfter3Of4", "\xF0\x9F\x8E"}),
    [](const auto& instance) { return instance.param.name; });

TEST(Text, ASequenceAfterACutOneIsKept) {
    EXPECT_EQ(ReplaceIllFormedUtf8("\xE2\x82\xC3\xA4"), Replacements(2) + "\xC3\xA4");
}

TEST(Text, TextSurvivesTheCodePageAndBack) {
    const std::string text = "radio-1 (live).mp3";
    EXPECT_EQ(AnsiToUtf8(Utf8ToAnsi(text)), text);
    EXPECT_EQ(Utf8ToAnsi(""), "");
    EXPECT_EQ(AnsiToUtf8(""), "");
}

// Under our manifest the code page of Windows is UTF-8 too.
TEST(Text, NoCharacterIsLostToTheCodePage) {
    const std::string text = "J\xC3\xBCrgen \xE2\x82\xAC \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x8E\xB5";
    EXPECT_EQ(AnsiToUtf8(Utf8ToAnsi(text)), text);
}

TEST(Text, APathKeepsItsCharactersInTheStandardLibraryAndBack) {
    const std::string text = "f\xC3\xB6lder/\xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x8E\xB5.wav";
    const std::filesystem::path path = ToFilesystemPath(Utf8ToAnsi(text));
    EXPECT_EQ(ToUtf8(path.filename()), "\xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x8E\xB5.wav");
    EXPECT_EQ(ToUtf8(path.parent_path()), "f\xC3\xB6lder");
}

TEST(Text, OnlyTheLettersOfAsciiAreLowered) {
    EXPECT_EQ(ToLowerAscii("AMZ amz 019 @[`{ \xC3\x84"), "amz amz 019 @[`{ \xC3\x84");
    EXPECT_EQ(ToLowerAscii(""), "");
    EXPECT_EQ(ToLowerAscii('Z'), 'z');
    EXPECT_EQ(ToLowerAscii('['), '[');
}

}  // namespace
}  // namespace receiver
