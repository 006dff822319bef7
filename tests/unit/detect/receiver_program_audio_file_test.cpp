#include "detect/receiver_program_audio_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <vector>

#include "testing/memory_audio_file.h"

namespace receiver {
namespace {

constexpr uint64_t kForever = UINT64_MAX;

TestPcm Pcm(int channels, std::vector<int16_t> samples) {
    return {44100, channels, samples};
}

TestPcm Counting(int channels, size_t frames) {
    TestPcm pcm{44100, channels, std::vector<int16_t>(frames * static_cast<size_t>(channels))};
    for (size_t i = 0; i < pcm.samples.size(); ++i) {
        pcm.samples[i] = static_cast<int16_t>(1000 + i);
    }
    return pcm;
}

// Reads what one call gives, at most `frames` of `channels`.
std::vector<int16_t> ReadFrames(CAudioFile& file, int channels, size_t frames, int32_t* result) {
    std::vector<int16_t> samples(frames * static_cast<size_t>(channels), 0x7E7E);
    *result = file.Read(samples.data(), static_cast<uint32_t>(samples.size() * sizeof(int16_t)));
    samples.resize(*result > 0 ? static_cast<size_t>(*result) / sizeof(int16_t) : 0);
    return samples;
}

class ReceiverProgramTest : public testing::Test {
protected:
    CReceiverProgramAudioFile& Make(const TestPcm& pcm, uint64_t start) {
        source_ = std::make_unique<MemoryAudioFile>(pcm);
        source_->Open("source");
        channels_ = pcm.channels;
        program_ = std::make_unique<CReceiverProgramAudioFile>(*source_, start, [this] {
            ++boundaryRequests_;
            if (onBoundary_) onBoundary_(boundaryRequests_);
            return boundary_;
        });
        return *program_;
    }
    std::vector<int16_t> Read(size_t frames) {
        return ReadFrames(*program_, channels_, frames, &result_);
    }

    std::unique_ptr<MemoryAudioFile> source_;
    std::unique_ptr<CReceiverProgramAudioFile> program_;
    ReceiverProgramBoundary boundary_{kForever, 0};
    std::function<void(int)> onBoundary_;
    int boundaryRequests_ = 0;
    int channels_ = 1;
    int32_t result_ = 0;
};

TEST_F(ReceiverProgramTest, DeliversNothingWhenItEndsWhereItStarts) {
    boundary_ = {44100, 0};
    Make(Counting(2, 10), 44100);
    Read(10);
    EXPECT_EQ(result_, 0);
    EXPECT_EQ(source_->reads, 0u);
}

TEST_F(ReceiverProgramTest, DeliversUpToTheEndAndThenNothingMore) {
    boundary_ = {107, 0};
    const TestPcm pcm = Counting(2, 10);
    Make(pcm, 100);
    EXPECT_EQ(Read(5), std::vector<int16_t>(pcm.samples.begin(), pcm.samples.begin() + 10));
    EXPECT_EQ(Read(5), std::vector<int16_t>(pcm.samples.begin() + 10, pcm.samples.begin() + 14));
    const size_t reads = source_->reads;
    Read(5);
    EXPECT_EQ(result_, 0);
    Read(5);
    EXPECT_EQ(result_, 0);
    EXPECT_EQ(source_->reads, reads);
}

TEST_F(ReceiverProgramTest, FadesTheLastFramesLinearly) {
    boundary_ = {10, 4};
    Make(Pcm(2, std::vector<int16_t>(20, 1000)), 0);
    EXPECT_EQ(Read(10),
              (std::vector<int16_t>{1000, 1000, 1000, 1000, 1000, 1000, 1000, 1000, 1000, 1000,
                                    1000, 1000, 750,  750,  500,  500,  250,  250,  0,    0}));
}

TEST_F(ReceiverProgramTest, TruncatesFadedSamplesTowardZero) {
    boundary_ = {4, 4};
    Make(Pcm(1, {3, -3, -3, 7}), 0);
    EXPECT_EQ(Read(4), (std::vector<int16_t>{2, -1, 0, 0}));
}

TEST_F(ReceiverProgramTest, FadesEqualInWhateverPiecesItIsRead) {
    boundary_ = {1100, 700};
    const TestPcm pcm = MakeNoise(9, 44100, 2, 2000);
    Make(pcm, 100);
    std::vector<int16_t> expected(pcm.samples.begin(), pcm.samples.begin() + 2000);
    for (int64_t i = 0; i < 1000; ++i) {
        const int64_t remaining = 1000 - i - 1;
        if (remaining >= 700) continue;
        for (int64_t c = 0; c < 2; ++c) {
            int16_t& sample = expected[static_cast<size_t>(2 * i + c)];
            sample = static_cast<int16_t>(sample * remaining / 700);
        }
    }
    std::vector<int16_t> actual;
    for (size_t size = 1; result_ > 0 || actual.empty(); size = size % 37 + 1) {
        const std::vector<int16_t> piece = Read(size);
        actual.insert(actual.end(), piece.begin(), piece.end());
    }
    EXPECT_EQ(actual, expected);
}

TEST_F(ReceiverProgramTest, FadesFromTheFirstFrameWhenTheFadeIsLongerThanTheProgram) {
    boundary_ = {1'000'000'000'002, 1'000'000'000'000};
    Make(Pcm(1, {32767, -32768}), 1'000'000'000'000);
    EXPECT_EQ(Read(2), (std::vector<int16_t>{0, 0}));
}

TEST_F(ReceiverProgramTest, KeepsFullScaleThroughALongFade) {
    constexpr uint64_t kFade = 94'704'000'000;  // the longest that can be asked for
    boundary_ = {kFade + 2, kFade};
    Make(Pcm(1, {-32768, -32768, -32768, -32768}), 0);
    EXPECT_EQ(Read(4), (std::vector<int16_t>{-32768, -32768, -32767, -32767}));
}

TEST_F(ReceiverProgramTest, ReturnsNothingForLessThanAFrame) {
    Make(Counting(2, 10), 0);
    int16_t frame[2];
    EXPECT_EQ(program_->Read(frame, 3), 0);
    EXPECT_EQ(source_->reads, 0u);
}

TEST_F(ReceiverProgramTest, AsksForWholeFramesOnly) {
    const TestPcm pcm = Counting(2, 10);
    Make(pcm, 0);
    std::vector<char> buffer(11);
    ASSERT_EQ(program_->Read(buffer.data(), 11), 8);
    EXPECT_EQ(std::memcmp(buffer.data(), pcm.samples.data(), 8), 0);
}

TEST_F(ReceiverProgramTest, CutsAReadAtAnEndThatMovesMeanwhile) {
    const TestPcm pcm = Counting(1, 10);
    Make(pcm, 50);
    onBoundary_ = [this](int request) {
        if (request == 2) boundary_ = {53, 0};
    };
    EXPECT_EQ(Read(10), std::vector<int16_t>(pcm.samples.begin(), pcm.samples.begin() + 3));
    Read(10);
    EXPECT_EQ(result_, 0);
}

TEST_F(ReceiverProgramTest, FadesTowardTheEndThatHoldsAfterTheRead) {
    Make(Pcm(1, std::vector<int16_t>(4, 100)), 0);
    onBoundary_ = [this](int request) {
        if (request == 2) boundary_ = {4, 2};
    };
    EXPECT_EQ(Read(4), (std::vector<int16_t>{100, 100, 50, 0}));
}

TEST_F(ReceiverProgramTest, DropsWhatWasReadWhenTheEndMovesBeforeThePosition) {
    Make(Counting(1, 10), 50);
    Read(4);
    onBoundary_ = [this](int request) {
        if (request == 4) boundary_ = {52, 0};
    };
    Read(4);
    EXPECT_EQ(result_, 0);
    EXPECT_EQ(source_->reads, 2u);
}

TEST_F(ReceiverProgramTest, AsksForTheBoundaryTwiceARead) {
    Make(Counting(1, 10), 0);
    Read(4);
    EXPECT_EQ(boundaryRequests_, 2);
}

TEST_F(ReceiverProgramTest, PassesTheSourcesEndAndErrorOn) {
    Make(Counting(1, 0), 0);
    Read(4);
    EXPECT_EQ(result_, 0);
    source_->endResult = -7;
    Read(4);
    EXPECT_EQ(result_, -7);
}

TEST_F(ReceiverProgramTest, FailsOnAPartialFrame) {
    Make(Counting(2, 10), 0);
    source_->readSizes = {6};
    Read(4);
    EXPECT_EQ(result_, -1);
}

TEST_F(ReceiverProgramTest, AdvancesByAShortRead) {
    const TestPcm pcm = Counting(2, 10);
    boundary_ = {4, 0};
    Make(pcm, 0);
    source_->readSizes = {4};
    EXPECT_EQ(Read(8), std::vector<int16_t>(pcm.samples.begin(), pcm.samples.begin() + 2));
    EXPECT_EQ(Read(8), std::vector<int16_t>(pcm.samples.begin() + 2, pcm.samples.begin() + 4));
}

TEST_F(ReceiverProgramTest, WritesToAnUnalignedBuffer) {
    boundary_ = {2, 2};
    Make(Pcm(1, {-1000, 1000}), 0);
    std::vector<char> buffer(5);
    ASSERT_EQ(program_->Read(buffer.data() + 1, 4), 4);
    int16_t samples[2];
    std::memcpy(samples, buffer.data() + 1, 4);
    EXPECT_EQ(samples[0], -500);
    EXPECT_EQ(samples[1], 0);
}

TEST_F(ReceiverProgramTest, IsOpenFromItsConstructionUntilClosed) {
    Make(Counting(2, 10), 0);
    const WAVEFORMATEX* format = nullptr;
    EXPECT_TRUE(program_->IsOpen());
    EXPECT_EQ(program_->Open("again"), 0);
    ASSERT_EQ(program_->GetFormat(&format), CAudioFile::kFormatOk);
    EXPECT_EQ(std::memcmp(format, &source_->Record(), sizeof(*format)), 0);
    EXPECT_EQ(program_->GetPositionMs(), CAudioFile::kPositionUnknown);

    EXPECT_EQ(program_->Close(), 1);
    EXPECT_EQ(program_->Close(), 1);
    EXPECT_FALSE(program_->IsOpen());
    EXPECT_EQ(program_->GetFormat(&format), CAudioFile::kFormatNotOpen);
    Read(1);
    EXPECT_EQ(result_, -1);
}

TEST_F(ReceiverProgramTest, LeavesItsSourceOpen) {
    Make(Counting(2, 10), 0);
    program_->Close();
    program_.reset();
    EXPECT_TRUE(source_->IsOpen());
    EXPECT_EQ(source_->closes, 0u);
}

TEST_F(ReceiverProgramTest, RefusesANullBuffer) {
    Make(Counting(2, 10), 0);
    EXPECT_EQ(program_->Read(nullptr, 8), -1);
}

TEST_F(ReceiverProgramTest, SeeksOnlyToWhereItStands) {
    Make(Counting(2, 10), 44100);
    EXPECT_EQ(program_->Seek(0.0f), 1);
    EXPECT_EQ(program_->Seek(-0.0f), 1);
    EXPECT_EQ(program_->Seek(1.0f), 0);
    EXPECT_EQ(program_->Seek(44100.0f), 0);
    Read(1);
    EXPECT_EQ(program_->Seek(0.0f), 0);
}

TEST_F(ReceiverProgramTest, ThrowsWithoutABoundary) {
    MemoryAudioFile source(Counting(2, 10));
    source.Open("source");
    CReceiverProgramAudioFile program(source, 0, nullptr);
    int16_t frame[2];
    EXPECT_THROW(program.Read(frame, 4), std::bad_function_call);
}

class ReceiverProgramFormatTest : public testing::Test {
protected:
    void ExpectRefused() {
        try {
            CReceiverProgramAudioFile program(source_, 0, [] { return ReceiverProgramBoundary{}; });
            FAIL() << "accepted";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "Invalid prepared program format");
        }
    }
    MemoryAudioFile source_{Counting(2, 10)};
};

TEST_F(ReceiverProgramFormatTest, IsRefusedWhileTheSourceIsClosed) {
    ExpectRefused();
}

TEST_F(ReceiverProgramFormatTest, IsRefusedUnlessIntegerPcm) {
    source_.Open("source");
    source_.Record().wFormatTag = 3;
    ExpectRefused();
}

TEST_F(ReceiverProgramFormatTest, IsRefusedUnlessSixteenBits) {
    source_.Open("source");
    source_.Record().wBitsPerSample = 8;
    ExpectRefused();
}

TEST_F(ReceiverProgramFormatTest, IsRefusedWithoutAFrameSize) {
    source_.Open("source");
    source_.Record().nBlockAlign = 0;
    ExpectRefused();
}

}  // namespace
}  // namespace receiver
