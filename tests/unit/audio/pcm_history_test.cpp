#include "audio/pcm_history.h"

#include <gtest/gtest.h>

#include "testing/audio_generator.h"

namespace receiver {

TEST(PcmHistory, KeepsTheNewestAndAtMostHalfAsMuchAgain) {
    const TestPcm noise = MakeNoise(1, 1000, 2, 20000);
    PcmHistory history(2, 1000);
    for (size_t at = 0; at < noise.Frames(); at += 250) {
        history.Append(noise.samples.data() + at * 2, 250);
        const size_t heard = at + 250;
        ASSERT_GE(history.Frames(), std::min<size_t>(heard, 1000));
        ASSERT_LE(history.Frames(), 1500U);
        const PcmView view = history.View();
        ASSERT_TRUE(std::equal(
            view.samples, view.samples + view.frames * 2,
            noise.samples.begin() + static_cast<std::ptrdiff_t>((heard - view.frames) * 2)));
    }
}

TEST(PcmHistory, ForgetsWhatIsDroppedAtEitherEnd) {
    const TestPcm noise = MakeNoise(2, 1000, 1, 500);
    PcmHistory history(1, 1000);
    history.Append(noise.samples.data(), 500);
    history.DropLast(100);
    history.DropFirst(50);
    ASSERT_EQ(history.Frames(), 350U);
    EXPECT_EQ(history.View().samples[0], noise.samples[50]);
    EXPECT_EQ(history.View().samples[349], noise.samples[399]);
    history.DropFirst(1000);
    EXPECT_EQ(history.Frames(), 0U);
    history.Append(noise.samples.data(), 5);
    history.Clear();
    EXPECT_EQ(history.View().frames, 0U);
}

}  // namespace receiver
