// What a buffer holds of the heap, as glibc counts it. The sanitizers have heaps of their own.
#include <cstdlib>  // defines __GLIBC__

#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

#include <gtest/gtest.h>
#include <malloc.h>

#include "unit/audio/rubber_buffer_fixture.h"

namespace receiver {
namespace {

size_t BytesInUse() {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

}  // namespace

TEST_F(RubberBufferTest, AShortBlockKeepsNoMemoryForWhatDidNotCome) {
    constexpr uint32_t kBlockBytes = 1048576;
    source_->mostBytesPerRead = 4;
    ASSERT_TRUE(OpenBuffer(kBlockBytes));
    ASSERT_TRUE(source_->WaitUntilBlocked());
    const size_t before = BytesInUse();
    Fill(400);
    ASSERT_EQ(buffer_->GetStats().blocks, 100u);
    EXPECT_LT(BytesInUse(), before + 10 * kBlockBytes);
}

}  // namespace receiver

#endif
