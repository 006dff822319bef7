#include "receiver_record/request/file_name.h"

#include <gtest/gtest.h>

#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

NameFacts Facts() {
    return {.start = {.year = 2026,
                      .month = 3,
                      .day = 4,
                      .hour = 5,
                      .minute = 6,
                      .second = 7,
                      .millisecond = 0},
            .id = "jingle",
            .title = "News",
            .number = 12};
}

std::string TitleIn(const std::string& title) {
    NameFacts facts = Facts();
    facts.title = title;
    return FillFields("{title}.wav", facts);
}

}  // namespace

TEST(FileName, EveryFieldHasItsValue) {
    EXPECT_EQ(FillFields("%Y %y %m %d %H %M %S %j %F %a %A %b %B {id} {title} {n}.flac", Facts()),
              "2026 26 03 04 05 06 07 063 2026-03-04 Wed Wednesday Mar March jingle News 12.flac");
    EXPECT_EQ(FillFields("%Y 100%%.wav", Facts()), "2026 100%.wav");
}

TEST(FileName, ANameWithoutFieldsStaysAsItIs) {
    for (const char* name :
         {"show.wav", "100%.wav", "50%%.wav", "%Q.wav", "{x}.wav", "{id.wav", "-"}) {
        EXPECT_FALSE(HasFields(name)) << name;
        EXPECT_EQ(FillFields(name, Facts()), name);
    }
    EXPECT_TRUE(HasFields("a{n}.wav"));
    EXPECT_TRUE(HasFields("%F/a.wav"));
}

TEST(FileName, WhatNoFileMayBeCalledIsReplaced) {
    EXPECT_EQ(TitleIn("AC/DC: \"Back\\in\" <Black>|?*\n"), "AC_DC_ _Back_in_ _Black_____.wav");
    EXPECT_EQ(TitleIn("../../etc"), "_.._etc.wav");
    EXPECT_EQ(TitleIn(""), "untitled.wav");
    EXPECT_EQ(TitleIn(" .. "), "untitled.wav");
    EXPECT_EQ(TitleIn("{n} %Y"), "{n} %Y.wav");
}

TEST(FileName, ALongTitleIsCutBetweenTwoCharacters) {
    std::string title(119, 'a');
    EXPECT_EQ(TitleIn(title + "\xC3\xA4\xC3\xA4"), title + ".wav");
    EXPECT_EQ(TitleIn(title + "ab"), title + "a.wav");
}

TEST(FileName, ANameThatIsTakenGetsANumber) {
    const TempFolder folder;
    const std::string name = folder.File("a.b.wav");
    EXPECT_EQ(FreeName(name), name);
    WriteFileBytes(name, "x");
    EXPECT_EQ(FreeName(name), folder.File("a.b-2.wav"));
    WriteFileBytes(folder.File("a.b-2.wav.json"), "x");
    WriteFileBytes(folder.File("a.b-3.wav.part"), "x");
    EXPECT_EQ(FreeName(name), folder.File("a.b-4.wav"));
    WriteFileBytes(folder.File("noextension"), "x");
    EXPECT_EQ(FreeName(folder.File("noextension")), folder.File("noextension-2"));
}

}  // namespace receiver
