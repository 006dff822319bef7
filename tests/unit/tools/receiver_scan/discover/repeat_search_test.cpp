#include "receiver_scan/discover/repeat_search.h"

#include <gtest/gtest.h>

#include "receiver_scan/discover/half_word_index.h"
#include "receiver_scan/discover/template_search.h"
#include "unit/tools/receiver_scan/discover/made_words.h"

namespace receiver {
namespace {

TEST(RepeatSearch, AStretchThatIsHeardAgainIsFoundWithItsPlaces) {
    MadeWords made(1, 20000);
    made.Copy(3000, 12000, 200, 2);
    const std::vector<Repeat> repeats = FindRepeats(made.words, made.levelsDb, 2);
    ASSERT_EQ(repeats.size(), 1u);
    EXPECT_NEAR(repeats[0].first, 3000, 3);
    EXPECT_NEAR(repeats[0].second, 12000, 3);
    EXPECT_NEAR(repeats[0].words, 200, 6);
    EXPECT_LT(repeats[0].ber, 0.12F);
    EXPECT_GT(repeats[0].clearShare, 0.5F);
}

TEST(RepeatSearch, NoiseHasNoRepeats) {
    const MadeWords made(2, 50000);
    EXPECT_TRUE(FindRepeats(made.words, made.levelsDb, 2).empty());
}

TEST(RepeatSearch, SilenceDoesNotRepeatItself) {
    MadeWords made(3, 20000);
    made.Silence(2000, 3000);
    made.Silence(9000, 3000);
    EXPECT_TRUE(FindRepeats(made.words, made.levelsDb, 2).empty());
}

TEST(RepeatSearch, ARhythmIsNoRepeat) {
    MadeWords made(4, 20000);
    made.Copy(3000, 3100, 100, 0);
    EXPECT_TRUE(FindRepeats(made.words, made.levelsDb, 2).empty());
}

TEST(RepeatSearch, AVoiceOverTheMiddleIsBridged) {
    MadeWords made(5, 20000);
    made.Copy(3000, 12000, 400, 2);
    made.Noise(12180, 40);
    const std::vector<Repeat> repeats = FindRepeats(made.words, made.levelsDb, 1);
    ASSERT_EQ(repeats.size(), 1u);
    EXPECT_NEAR(repeats[0].words, 400, 6);
}

TEST(RepeatSearch, TheResultDoesNotDependOnTheThreads) {
    MadeWords made(6, 40000);
    for (uint32_t i = 0; i < 5; ++i) made.Copy(1000, 6000 + 6000 * i, 120 + 10 * i, 3);
    const std::vector<Repeat> one = FindRepeats(made.words, made.levelsDb, 1);
    const std::vector<Repeat> four = FindRepeats(made.words, made.levelsDb, 4);
    ASSERT_GE(one.size(), 15u);
    ASSERT_EQ(one.size(), four.size());
    for (size_t i = 0; i < one.size(); ++i) {
        EXPECT_EQ(one[i].first, four[i].first);
        EXPECT_EQ(one[i].second, four[i].second);
        EXPECT_EQ(one[i].words, four[i].words);
    }
}

TEST(RepeatSearch, ItStopsWhenAskedTo) {
    MadeWords made(7, 20000);
    made.Copy(9000, 15000, 200, 0);
    EXPECT_TRUE(FindRepeats(made.words, made.levelsDb, 1, [] { return true; }).empty());
}

TEST(HalfWordIndex, VeryCommonHalfWordsHaveNoPlaces) {
    std::vector<uint32_t> words;
    for (uint32_t i = 0; i < 4000; ++i) words.push_back(i % 2 == 0 ? 5u : 0x10000u + i);
    const HalfWordIndex low(words, std::vector<bool>(words.size()), 0);
    EXPECT_TRUE(low.PlacesOf(5).empty());
    ASSERT_EQ(low.PlacesOf(1001).size(), 1u);
    EXPECT_EQ(low.PlacesOf(1001)[0], 1001u);
}

TEST(HalfWordIndex, WhatIsSkippedAndWhatStandsStillIsLeftOut) {
    const std::vector<uint32_t> words = {7, 7, 7, 9, 7};
    const HalfWordIndex index(words, {false, false, false, false, true}, 0);
    ASSERT_EQ(index.PlacesOf(7).size(), 1u);
    EXPECT_EQ(index.PlacesOf(7)[0], 0u);
}

TEST(TemplateSearch, EveryPlayingIsFoundOnce) {
    MadeWords made(8, 200000);
    for (const uint32_t at : {50000u, 120000u, 199000u}) made.Copy(1000, at, 300, 4);
    const std::span<const uint32_t> stretch = std::span(made.words).subspan(1000, 300);
    const std::vector<Place> places = FindPlaces(stretch, made.words, 2);
    ASSERT_EQ(places.size(), 4u);
    EXPECT_EQ(places[0].word, 1000u);
    EXPECT_EQ(places[0].ber, 0.0F);
    EXPECT_EQ(places[1].word, 50000u);
    EXPECT_EQ(places[2].word, 120000u);
    EXPECT_EQ(places[3].word, 199000u);
}

TEST(TemplateSearch, AStretchLongerThanAllHasNoPlace) {
    const MadeWords made(9, 100);
    EXPECT_TRUE(FindPlaces(MadeWords(10, 200).words, made.words, 1).empty());
}

}  // namespace
}  // namespace receiver
