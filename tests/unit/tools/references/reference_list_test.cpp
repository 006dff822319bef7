#include "references/reference_list.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

namespace receiver {
namespace {

std::vector<std::string> Ids(const std::vector<Reference>& references) {
    std::vector<std::string> ids;
    for (const Reference& reference : references) ids.push_back(reference.id);
    return ids;
}

}  // namespace

TEST(ReferenceList, AFileIsCalledAfterItself) {
    const auto references = MakeReferences({"sounds/jingle.wav"}, {"outro.mp3"}, {"news.flac"});
    EXPECT_EQ(Ids(references), (std::vector<std::string>{"jingle", "outro", "news"}));
    EXPECT_EQ(references[0].role, Role::kStart);
    EXPECT_EQ(references[1].role, Role::kEnd);
    EXPECT_EQ(references[2].role, Role::kOther);
}

TEST(ReferenceList, ANameInFrontOfTheFileIsTaken) {
    const auto references = MakeReferences({"top_of-hour=a=b.wav"}, {}, {});
    EXPECT_EQ(references[0].id, "top_of-hour");
    EXPECT_EQ(std::filesystem::path(references[0].path).filename(), "a=b.wav");
}

TEST(ReferenceList, WhatIsNoNameBelongsToTheFile) {
    const auto references = MakeReferences({"./a=b.wav", "=c.wav"}, {}, {});
    EXPECT_EQ(std::filesystem::path(references[0].path).filename(), "a=b.wav");
    EXPECT_EQ(std::filesystem::path(references[1].path).filename(), "=c.wav");
}

TEST(ReferenceList, NamesThatWouldBeEqualAreNumbered) {
    const auto references =
        MakeReferences({"a/j.wav", "b/j.wav"}, {"c/j.wav"}, {"j-2=d/other.wav"});
    EXPECT_EQ(Ids(references), (std::vector<std::string>{"j", "j-3", "j-4", "j-2"}));
}

TEST(ReferenceList, OtherCharactersBecomeHyphens) {
    const auto references = MakeReferences({"my jingle (1).wav", "J\xC3\xBC.wav"}, {}, {});
    EXPECT_EQ(Ids(references), (std::vector<std::string>{"my-jingle--1-", "J--"}));
}

TEST(ReferenceList, ALongNameIsCutToWhatTheReceiverTakes) {
    std::string name(200, 'x');
    name += ".wav";
    const auto references = MakeReferences({name}, {}, {});
    EXPECT_LE(references[0].id.size(), 80u);
}

TEST(ReferenceList, ANameGivenTwiceIsRefused) {
    EXPECT_THROW(MakeReferences({"a=1.wav"}, {"a=2.wav"}, {}), std::invalid_argument);
}

TEST(ReferenceList, PathsAreAbsolute) {
    const auto references = MakeReferences({"x/../jingle.wav"}, {}, {});
    EXPECT_EQ(std::filesystem::path(references[0].path),
              std::filesystem::current_path() / "jingle.wav");
}

}  // namespace receiver
