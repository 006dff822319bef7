#include "receiver_scan/cut/cut_position.h"

#include <gtest/gtest.h>

namespace receiver {
namespace {

TEST(CutPosition, ATimeIsItsNearestSample) {
    EXPECT_EQ(ParsePosition("00:00:01.001", 44100), 44144u);  // 44144.1
    EXPECT_EQ(ParsePosition("2m3.5s", 48000), 5928000u);
    EXPECT_EQ(ParsePosition("90", 8000), 720000u);
}

TEST(CutPosition, ANumberOfSamplesIsTakenAsItIs) {
    EXPECT_EQ(ParsePosition("5292001samples", 44100), 5292001u);
    EXPECT_EQ(ParsePosition("0samples", 44100), 0u);
}

TEST(CutPosition, AnythingElseIsNone) {
    for (const char* text : {"", "samples", "-1samples", "1.5samples", "1 samples", "soon",
                             "99999999999999999999samples"}) {
        EXPECT_FALSE(ParsePosition(text, 44100)) << text;
    }
}

}  // namespace
}  // namespace receiver
