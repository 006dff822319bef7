#include "detect/fade_out.h"

#include <gtest/gtest.h>

#include <vector>

namespace receiver {

TEST(FadeOut, IsLinearAndSilentInItsLastFrame) {
    std::vector<int16_t> pcm(10, 100);
    FadeOut(pcm.data(), 10, 1, 10, 4);
    EXPECT_EQ(pcm, (std::vector<int16_t>{100, 100, 100, 100, 100, 100, 75, 50, 25, 0}));
}

TEST(FadeOut, APieceOfAProgrammeIsFadedAsTheWholeIs) {
    std::vector<int16_t> whole(12, -1000), pieces(12, -1000);
    FadeOut(whole.data(), 6, 2, 6, 5);
    FadeOut(pieces.data(), 2, 2, 6, 5);
    FadeOut(pieces.data() + 4, 4, 2, 4, 5);
    EXPECT_EQ(pieces, whole);
}

TEST(FadeOut, WithoutAFadeNothingChanges) {
    std::vector<int16_t> pcm(4, 7);
    FadeOut(pcm.data(), 4, 1, 4, 0);
    EXPECT_EQ(pcm, std::vector<int16_t>(4, 7));
}

}  // namespace receiver
