#include "receiver_scan/discover/repeat_groups.h"

#include <gtest/gtest.h>

#include "receiver_scan/discover/jingle_likeness.h"
#include "receiver_scan/discover/repeat_pairs.h"
#include "receiver_scan/discover/stretch_edges.h"
#include "unit/tools/receiver_scan/discover/made_words.h"

namespace receiver {
namespace {

Groups GroupsOf(const MadeWords& made, const GroupingLimits& limits = {}) {
    return GroupRepeats(made.words, made.levelsDb, FindRepeats(made.words, made.levelsDb, 1),
                        limits);
}

std::vector<double> TimesOf(const RepeatGroup& group) {
    std::vector<double> times;
    for (const Occurrence& occurrence : group.occurrences) times.push_back(occurrence.start);
    return times;
}

TEST(RepeatGroups, AllTimesOfOneJingleAreOneGroup) {
    MadeWords made(1, 60000);
    for (const size_t at : {20000u, 31000u, 47000u}) made.Copy(4000, at, 240, 2);
    const Groups groups = GroupsOf(made);
    ASSERT_EQ(groups.repeated.size(), 1u);
    const RepeatGroup& group = groups.repeated[0];
    EXPECT_NEAR(group.seconds, 3.0, 0.05);
    ASSERT_EQ(group.occurrences.size(), 4u);
    // A word tells of the middle of its frame.
    EXPECT_NEAR(group.occurrences[0].start, 4000 * 0.0125 + 0.18, 0.05);
    EXPECT_NEAR(group.occurrences[3].start, 47000 * 0.0125 + 0.18, 0.05);
}

TEST(RepeatGroups, TwoJinglesAreTwoGroupsThoughTheyOnceFollowEachOtherTwice) {
    MadeWords made(2, 80000);
    for (const size_t at : {20000u, 31000u, 47000u}) made.Copy(4000, at, 200, 2);
    for (const size_t at : {20200u, 31200u, 60000u, 70000u}) made.Copy(9000, at, 160, 2);
    const Groups groups = GroupsOf(made);
    ASSERT_EQ(groups.repeated.size(), 2u);
    EXPECT_EQ(groups.repeated[0].occurrences.size() + groups.repeated[1].occurrences.size(), 9u);
}

TEST(RepeatGroups, WhatIsShorterThanAskedForIsLeftOut) {
    MadeWords made(3, 30000);
    made.Copy(4000, 20000, 240, 0);
    GroupingLimits limits;
    limits.shortest = 5.0;
    EXPECT_TRUE(GroupsOf(made, limits).repeated.empty());
}

TEST(RepeatGroups, ASongThatIsRepeatedIsCountedApartAndItsPartsAreNotListed) {
    MadeWords made(4, 60000);
    // A chorus within the song, and the song twice.
    made.Copy(6000, 9000, 800, 3);
    made.Copy(5000, 40000, 8000, 1);
    const Groups groups = GroupsOf(made);
    EXPECT_EQ(groups.longer.size(), 1u);
    EXPECT_TRUE(groups.repeated.empty());
}

TEST(RepeatGroups, AJingleIsFoundInARecordingThatBeginsWithIt) {
    MadeWords made(5, 30000);
    made.Copy(0, 20000, 240, 0);
    const Groups groups = GroupsOf(made);
    ASSERT_EQ(groups.repeated.size(), 1u);
    EXPECT_EQ(groups.repeated[0].occurrences.size(), 2u);
}

TEST(RepeatGroups, WhatBeginsWithTheRecordingIsOneGroupThoughItsFirstWordsAreMissing) {
    MadeWords made(6, 60000);
    for (const size_t at : {12000u, 20000u, 31000u}) made.Copy(45000, at, 680, 1);
    made.Copy(45016, 0, 664, 1);
    const Groups groups = GroupsOf(made);
    ASSERT_EQ(groups.repeated.size(), 1u);
    EXPECT_GE(groups.repeated[0].occurrences.size(), 4u);
}

TEST(RepeatPairs, PiecesOnOneDiagonalAreJoinedWhenTheGapIsShorterThanThey) {
    const std::vector<Repeat> joined =
        JoinPieces({{1000, 9000, 200, 0.1F, 0.8F}, {1300, 9300, 200, 0.2F, 0.4F}});
    ASSERT_EQ(joined.size(), 1u);
    EXPECT_EQ(joined[0].words, 500u);
    EXPECT_NEAR(joined[0].ber, 0.15F, 1e-6F);
    EXPECT_EQ(JoinPieces({{1000, 9000, 50, 0, 1}, {1300, 9300, 50, 0, 1}}).size(), 2u);
    EXPECT_EQ(JoinPieces({{1000, 9000, 200, 0, 1}, {1300, 9310, 200, 0, 1}}).size(), 2u);
}

TEST(RepeatPairs, WhatMostAgreeOnIsBelievedFirst) {
    std::vector<Repeat> repeats = {
        {1000, 5000, 900, 0, 1}, {2000, 6000, 200, 0, 1}, {6000, 8000, 200, 0, 1}};
    SortByCredibility(repeats, 4800);
    EXPECT_EQ(repeats[0].words, 200u);
    EXPECT_EQ(repeats[2].words, 900u);
    repeats[2].words = 5000;
    SortByCredibility(repeats, 4800);
    EXPECT_EQ(repeats[0].words, 5000u);
}

TEST(StretchEdges, WhatCoversOneTimeDoesNotShortenAll) {
    MadeWords made(6, 60000);
    for (const size_t at : {20000u, 30000u, 40000u}) made.Copy(5000, at, 300, 1);
    made.Noise(20000, 60);
    const StretchEdges edges = FindEdges(made.words, {5080, 20080, 30080, 40080}, 200);
    EXPECT_NEAR(static_cast<double>(edges.begin), -80.0, 2.0);
    EXPECT_NEAR(static_cast<double>(edges.end), 220.0, 2.0);
}

TEST(JingleLikeness, ShortFrequentAndRegularComesFirst) {
    RepeatGroup jingle{3.0, {}, 0};
    RepeatGroup irregular{3.0, {}, 0};
    RepeatGroup advertisement{30.0, {}, 0};
    for (int i = 0; i < 6; ++i) {
        jingle.occurrences.push_back({i * 3600.0 + 5.0, 0.0});
        irregular.occurrences.push_back({i * 3600.0 + i * 500.0, 0.0});
        advertisement.occurrences.push_back({i * 3600.0, 0.0});
    }
    std::vector<RepeatGroup> groups = {advertisement, irregular, jingle};
    SortByJingleLikeness(groups);
    EXPECT_EQ(TimesOf(groups[0]), TimesOf(jingle));
    EXPECT_EQ(groups[2].seconds, 30.0);
    EXPECT_GT(Regularity(TimesOf(jingle)), 0.95);
    EXPECT_LT(Regularity(TimesOf(irregular)), 0.6);
}

TEST(JingleLikeness, WhatIsHeardWithinOneSongOnlyIsHardlyAJingle) {
    RepeatGroup chorus{3.0, {{100.0, 0.0}, {150.0, 0.0}, {200.0, 0.0}}, 0};
    RepeatGroup jingle{3.0, {{100.0, 0.0}, {1500.0, 0.0}}, 0};
    EXPECT_GT(JingleLikeness(jingle), JingleLikeness(chorus));
}

}  // namespace
}  // namespace receiver
