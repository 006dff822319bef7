#include "receiver_scan/source/progress_bar.h"

#include <gtest/gtest.h>

#include <sstream>

namespace receiver {

TEST(ProgressBar, ItFillsTheLineAsFarAsItMay) {
    EXPECT_EQ(RenderProgress(25, 100, "text", 40), "[######                     ]  25%  text");
    EXPECT_EQ(RenderProgress(200, 100, "text", 24), "[###########] 100%  text");
    EXPECT_EQ(RenderProgress(25, 100, "text", 20), " 25%  text");
    for (size_t columns = 20; columns < 120; ++columns) {
        EXPECT_LE(RenderProgress(1, 3, "00:10:00 heard", columns).size(), columns);
    }
}

TEST(ProgressBar, WithoutATotalThereIsTheTextAlone) {
    EXPECT_EQ(RenderProgress(25, 0, "00:10:00 heard", 40), "00:10:00 heard");
    EXPECT_EQ(RenderProgress(25, 0, "00:10:00 heard", 5), "00:10");
}

TEST(ProgressBar, WithoutATerminalNothingIsWritten) {
    std::ostringstream out;
    {
        ProgressBar bar(out, [] { return size_t{0}; });
        bar.Show(1, 2, "text");
    }
    EXPECT_EQ(out.str(), "");
}

TEST(ProgressBar, ItIsRedrawnNotTooOftenAndTakenAway) {
    std::ostringstream out;
    const ProgressBar::Clock::time_point now(std::chrono::hours(1));
    {
        ProgressBar bar(out, [] { return size_t{30}; });
        bar.Show(0, 0, "one", now);
        bar.Show(0, 0, "two", now + std::chrono::milliseconds(99));
        bar.Show(0, 0, "three", now + std::chrono::milliseconds(100));
    }
    EXPECT_EQ(out.str(), "\r\x1b[Kone\r\x1b[Kthree\r\x1b[K");
}

}  // namespace receiver
