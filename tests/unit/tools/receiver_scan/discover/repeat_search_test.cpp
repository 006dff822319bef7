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

// As the words of real audio: each differs from the one before in few bits.
std::vector<uint32_t> SlowWords(uint64_t seed, size_t count) {
    TestRandom random(seed);
    std::vector<uint32_t> words = {static_cast<uint32_t>(random.Next())};
    while (words.size() < count) {
        words.push_back(words.back() ^ (1u << random.Below(32)) ^ (1u << random.Below(32)));
    }
    return words;
}

TEST(TemplateSearch, NoPlaceIsPassedOverWhereWordsChangeSlowly) {
    for (const size_t length : {60u, 400u}) {
        std::vector<uint32_t> words = SlowWords(11, 40000);
        const std::vector<uint32_t> stretch(words.begin() + 1000,
                                            words.begin() + 1000 + static_cast<int>(length));
        std::vector<uint32_t> wanted = {1000};
        for (uint32_t at = 5000; at + length < words.size(); at += 1511) {
            // Each differs more than the one before, up to three in sixteen of the bits.
            const uint32_t step = (at - 5000) / 1511;
            for (size_t i = 0; i < length; ++i) {
                words[at + i] = stretch[i] ^ (i % 2 == 0 ? (1u << (step / 2)) - 1 : 0u);
            }
            wanted.push_back(at);
        }
        std::vector<uint32_t> found;
        for (const Place& place : FindPlaces(stretch, words, 1)) found.push_back(place.word);
        EXPECT_EQ(found, wanted) << length;
    }
}

TEST(TemplateSearch, AStretchLongerThanAllHasNoPlace) {
    const MadeWords made(9, 100);
    EXPECT_TRUE(FindPlaces(MadeWords(10, 200).words, made.words, 1).empty());
}

}  // namespace
}  // namespace receiver
