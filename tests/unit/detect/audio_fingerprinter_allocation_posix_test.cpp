// Counts what is allocated, in C or in C++, by standing before glibc's allocator. The
// sanitizers stand there themselves.
#include <cstdlib>  // defines __GLIBC__

#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>
#include <vector>

#include "detect/audio_fingerprinter.h"
#include "detect/detector_audio_file.h"
#include "detect/fft.h"
#include "detect/fft_wisdom.h"
#include "detect/kernels.h"
#include "detect/reference_matcher.h"
#include "testing/audio_generator.h"
#include "testing/memory_audio_file.h"

namespace {
thread_local size_t allocations = 0;
}

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

void* malloc(size_t size) {
    ++allocations;
    return __libc_malloc(size);
}
void* calloc(size_t count, size_t size) {
    ++allocations;
    return __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) {
    ++allocations;
    return __libc_realloc(block, size);
}
void* memalign(size_t alignment, size_t size) {
    ++allocations;
    return __libc_memalign(alignment, size);
}
void* aligned_alloc(size_t alignment, size_t size) {
    return memalign(alignment, size);
}
int posix_memalign(void** block, size_t alignment, size_t size) {
    void* made = memalign(alignment, size);
    if (!made) return ENOMEM;
    *block = made;
    return 0;
}
}

namespace receiver {
namespace {

TEST(AllocationCount, SeesWhatIsAllocated) {
    const size_t before = allocations;
    const std::vector<int> vector(100);
    std::unique_ptr<void, decltype(&std::free)> block(std::malloc(vector.size()), &std::free);
    ASSERT_TRUE(block);
    void* aligned = nullptr;
    ASSERT_EQ(posix_memalign(&aligned, 64, 100), 0);
    std::free(aligned);
    EXPECT_EQ(allocations - before, 3u);
}

TEST(AudioFingerprinter, AllocatesNothingForAWord) {
    if (!ImportFftWisdom(FftWisdom())) GTEST_SKIP() << "FFTW's own plan may use a buffer";
    const TestPcm music = MakeMusic(1, kAnalysisRate, 1, 2 * kAnalysisRate);
    const auto count = static_cast<int64_t>(music.samples.size());
    for (const Kernels& kernels : AvailableKernels()) {
        CAudioFingerprinter fingerprinter(kernels);
        fingerprinter.SetUp(kAnalysisRate, kFrameSeconds, kHopSeconds);
        const size_t before = allocations;
        for (int64_t start = 0; start < count; start += 276) {
            fingerprinter.ComputeWord(music.samples.data(), count, start);
        }
        EXPECT_EQ(allocations - before, 0u) << kernels.name;
    }
}

TEST(ReferenceMatcher, AllocatesNothingForAWord) {
    TestRandom random(2);
    std::vector<ReferenceFingerprint> references(3);
    for (ReferenceFingerprint& reference : references) {
        for (int i = 0; i < 100; ++i) {
            reference.words.push_back(static_cast<uint32_t>(random.Next()));
        }
    }
    size_t matches = 0;
    const std::vector<uint32_t> heard = references[1].words;
    ReferenceMatcher matcher(references, 0.14, [&](const DetectorMatch&) { ++matches; });
    const size_t before = allocations;
    for (int round = 0; round < 10; ++round) {
        for (const uint32_t word : heard) matcher.Push(word, 0, 0);
    }
    EXPECT_EQ(allocations - before, 0u);
    EXPECT_GT(matches, 0u);
}

// All that a session does with the audio between the decoder and the buffer's blocks.
TEST(CDetectorAudioFile, AllocatesNothingForARead) {
    if (!ImportFftWisdom(FftWisdom())) GTEST_SKIP() << "FFTW's own plan may use a buffer";
    constexpr uint32_t kBytes = 4096 * 4;
    std::vector<ReferenceFingerprint> references(2);
    for (ReferenceFingerprint& reference : references) reference.words.assign(800, 0x5A5A5A5A);
    CDetectorAudioFile detector(
        std::make_unique<MemoryAudioFile>(MakeMusic(3, 44100, 2, 20 * 44100)),
        std::move(references), [](const DetectorMatch&) {}, 0.14);
    ASSERT_TRUE(detector.Open("memory"));
    std::vector<std::byte> pcm(kBytes);
    for (int i = 0; i < 20; ++i) ASSERT_GT(detector.Read(pcm.data(), kBytes), 0);  // it settles
    const size_t before = allocations;
    size_t frames = 0;
    for (int read = 1; read > 0 && frames < 15 * 44100;) {
        read = detector.Read(pcm.data(), kBytes);
        frames += static_cast<size_t>(std::max(read, 0)) / 4;
    }
    EXPECT_GE(frames, 15u * 44100);
    EXPECT_EQ(allocations - before, 0u);
}

}  // namespace
}  // namespace receiver

#endif
