#include "detect/fft.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "testing/test_task.h"

namespace receiver {
namespace {

TEST(Fft, TransformsForwardInPlace) {
    constexpr uint32_t kSize = 64;
    Fft fft(kSize);
    std::fill_n(fft.Data(), kSize, 0.0);
    fft.Data()[1] = 1.0;

    fft.Execute();

    for (uint32_t k = 0; k < kSize; ++k) {
        const std::complex<double> expected = std::polar(1.0, -2.0 * std::numbers::pi * k / kSize);
        EXPECT_NEAR(std::abs(fft.Data()[k] - expected), 0.0, 1e-12) << "bin " << k;
    }
}

TEST(Fft, IsMadeAndDestroyedOnManyThreadsAtOnce) {
    std::vector<TestTask<void>> tasks;
    std::vector<double> sums(4);
    for (double& sum : sums) {
        tasks.emplace_back("a planner", [&sum] {
            for (uint32_t size = 2; size <= 1024; size *= 2) {
                Fft fft(size);
                std::fill_n(fft.Data(), size, 1.0);
                fft.Execute();
                sum += fft.Data()[0].real();
            }
        });
    }
    for (TestTask<void>& task : tasks) task.Get();
    for (const double sum : sums) EXPECT_DOUBLE_EQ(sum, 2046.0);
}

}  // namespace
}  // namespace receiver
