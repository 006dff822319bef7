// Which edge is believed.
#include "receiver_scan/discover/edge_votes.h"

#include <gtest/gtest.h>

namespace receiver {

TEST(EdgeVotes, OnePairDecidesWhereThereIsNoOther) {
    EdgeVotes votes(EdgeVotes::Edge::kEnd, 2);
    EXPECT_TRUE(votes.IsEmpty());
    votes.Add(0, 1, -7);
    EXPECT_FALSE(votes.IsEmpty());
    EXPECT_EQ(votes.Agreed(), -7);
}

TEST(EdgeVotes, WhatLiesOverOnePlayingMakesNoneShorter) {
    // The third playing is covered from 60 on, so that every pair with it ends there.
    EdgeVotes ends(EdgeVotes::Edge::kEnd, 3);
    ends.Add(0, 1, 100);
    ends.Add(0, 2, 60);
    ends.Add(1, 2, 60);
    EXPECT_EQ(ends.Agreed(), 100);
    EdgeVotes begins(EdgeVotes::Edge::kBegin, 3);
    begins.Add(0, 1, 10);
    begins.Add(0, 2, 60);
    begins.Add(1, 2, 60);
    EXPECT_EQ(begins.Agreed(), 10);
}

TEST(EdgeVotes, OnePairThatGoesOnAlikeMakesNoneLonger) {
    EdgeVotes votes(EdgeVotes::Edge::kEnd, 4);
    for (size_t a = 0; a < 4; ++a) {
        for (size_t b = a + 1; b < 4; ++b) votes.Add(a, b, a == 0 && b == 1 ? 300 : 100);
    }
    EXPECT_EQ(votes.Agreed(), 100);
}

TEST(EdgeVotes, APlayingThatNothingIsKnownOfHasNoVote) {
    EdgeVotes votes(EdgeVotes::Edge::kBegin, 5);
    votes.Add(1, 3, 42);
    EXPECT_EQ(votes.Agreed(), 42);
}

}  // namespace receiver
