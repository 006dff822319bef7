#include "receiver_scan/discover/same_recording.h"

#include <gtest/gtest.h>

#include "unit/tools/receiver_scan/discover/made_words.h"

namespace receiver {
namespace {

constexpr size_t kLength = 80;

TEST(SameRecording, TwoPlayingsInOtherSurroundingsAreASurePair) {
    MadeWords made(1, 20000);
    made.Copy(3000, 12000, kLength, 2);
    EXPECT_TRUE(HasSurePair(made.words, {3000, 12000}, kLength));
}

TEST(SameRecording, OneSurePairAmongManyIsEnough) {
    MadeWords made(2, 20000);
    made.Copy(3000, 12000, kLength, 2);
    EXPECT_TRUE(HasSurePair(made.words, {500, 3000, 7000, 12000}, kLength));
    EXPECT_FALSE(HasSurePair(made.words, {500, 3000, 7000}, kLength));
}

TEST(SameRecording, WhatDiffersALittleEverywhereIsNoRecordingHeardAgain) {
    MadeWords made(3, 20000);
    made.Copy(3000, 12000, kLength, 0);
    // A sixth of the bits of each word, as two bars of a song may.
    for (size_t i = 0; i < kLength; ++i) made.words[12000 + i] ^= 0x1Fu << (i % 24);
    EXPECT_FALSE(HasSurePair(made.words, {3000, 12000}, kLength));
}

TEST(SameRecording, APartOfALongerRepeatProvesNothing) {
    MadeWords made(4, 20000);
    made.Copy(3000, 12000, 400, 2);
    EXPECT_FALSE(HasSurePair(made.words, {3100, 12100}, kLength));
    // At its edge it has other surroundings on one side.
    EXPECT_TRUE(HasSurePair(made.words, {3000, 12000}, kLength));
    EXPECT_TRUE(HasSurePair(made.words, {3320, 12320}, kLength));
}

TEST(SameRecording, NothingIsAroundTheFirstAndTheLastWords) {
    MadeWords made(5, 2000);
    made.Copy(0, 1920, kLength, 2);
    EXPECT_TRUE(HasSurePair(made.words, {0, 1920}, kLength));
}

}  // namespace
}  // namespace receiver
