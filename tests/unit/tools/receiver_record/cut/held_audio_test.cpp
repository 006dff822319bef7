#include "receiver_record/cut/held_audio.h"

#include <gtest/gtest.h>

#include <numeric>

namespace receiver {
namespace {

// Each frame's samples are its number, the same in both channels.
HeldAudio Counting(uint64_t first, int16_t frames) {
    HeldAudio audio(first, 2);
    std::vector<int16_t> pcm;
    for (int16_t i = 0; i < frames; ++i) pcm.insert(pcm.end(), 2, i);
    audio.Append(pcm);
    return audio;
}

}  // namespace

TEST(HeldAudio, FramesAreFoundByTheirPlaceInTheStream) {
    HeldAudio audio = Counting(1000, 100);
    EXPECT_EQ(audio.End(), 1100U);
    EXPECT_EQ(audio.Bytes(), 400U);
    for (const uint64_t dropped : {1010U, 1060U, 1061U, 1005U}) {
        audio.DropBefore(dropped);
        EXPECT_EQ(audio.End(), 1100U);
        const auto found = audio.Between(1070, 1072);
        ASSERT_EQ(found.size(), 4U);
        EXPECT_EQ(found[0], 70);
        EXPECT_EQ(found[3], 71);
    }
    EXPECT_EQ(audio.Bytes(), 4 * 39U);
    audio.DropBefore(5000);
    EXPECT_EQ(audio.End(), 1100U);
    EXPECT_EQ(audio.Bytes(), 0U);
}

TEST(HeldAudio, WhereNothingIsHeldThereIsSilence) {
    const HeldAudio audio = Counting(3, 4);
    EXPECT_EQ(audio.MonoAt(-2, 12), (std::vector<float>{0, 0, 0, 0, 0, 0, 1, 2, 3, 0, 0, 0}));
    EXPECT_EQ(audio.MonoAt(4, 2), (std::vector<float>{1, 2}));
    EXPECT_EQ(audio.MonoAt(-9, 3), std::vector<float>(3));
    EXPECT_EQ(audio.MonoAt(20, 3), std::vector<float>(3));
}

}  // namespace receiver
