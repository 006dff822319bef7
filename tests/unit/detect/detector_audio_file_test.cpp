#include "detect/detector_audio_file.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <vector>

#include "naive_detector.h"
#include "testing/audio_generator.h"
#include "testing/memory_audio_file.h"
#include "whole_buffer_words.h"

namespace receiver {
namespace {

constexpr uint32_t kBlockBytes = 8192;

// What a recording at the analysis rate is as a reference.
ReferenceFingerprint ReferenceOf(const TestPcm& pcm) {
    const std::vector<int16_t> mono = MixedByDefinition(pcm);
    return {mono.size(), WholeFrameWords(mono)};
}

ReferenceFingerprint ReferenceOfWords(size_t words) {
    return {0, std::vector<uint32_t>(words)};
}

// Half of `pcm`, with noise of so many percent of it on top.
TestPcm Mixed(const TestPcm& pcm, const TestPcm& noise, int percent) {
    TestPcm mixed = pcm;
    for (size_t i = 0; i < mixed.samples.size(); ++i) {
        mixed.samples[i] =
            static_cast<int16_t>(pcm.samples[i] / 2 + noise.samples[i] * percent / 200);
    }
    return mixed;
}

class DetectorTest : public testing::Test {
protected:
    CDetectorAudioFile& Make(const TestPcm& pcm, std::vector<ReferenceFingerprint> references,
                             double threshold = 0.14) {
        auto source = std::make_unique<MemoryAudioFile>(pcm);
        source_ = source.get();
        detector_ = std::make_unique<CDetectorAudioFile>(
            std::move(source), std::move(references),
            [this](const DetectorMatch& match) { matches_.push_back(match); }, threshold);
        return *detector_;
    }
    // Everything until the end, in reads of `bytes`; what was delivered.
    std::vector<std::byte> ReadToEnd(uint32_t bytes = kBlockBytes) {
        std::vector<std::byte> all;
        std::vector<std::byte> block(bytes);
        for (;;) {
            const int32_t read = detector_->Read(block.data(), bytes);
            EXPECT_GE(read, 0);
            if (read <= 0) return all;
            all.insert(all.end(), block.begin(), block.begin() + read);
        }
    }
    void ExpectThrow(const char* message) {
        std::vector<std::byte> block(kBlockBytes);
        try {
            detector_->Read(block.data(), kBlockBytes);
            FAIL() << "no \"" << message << "\"";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), message);
        }
    }

    std::vector<DetectorMatch> matches_;
    std::unique_ptr<CDetectorAudioFile> detector_;
    MemoryAudioFile* source_ = nullptr;
};

class DetectorConfigurationTest : public testing::Test {
protected:
    static std::string ErrorOf(bool source, bool callback,
                               std::vector<ReferenceFingerprint> references, double threshold) {
        try {
            CDetectorAudioFile detector(
                source ? std::make_unique<MemoryAudioFile>(MakeSilence(22050, 1, 1)) : nullptr,
                std::move(references),
                callback ? [](const DetectorMatch&) {} : CDetectorAudioFile::MatchCallback(),
                threshold);
            return "";
        } catch (const std::invalid_argument& error) {
            return error.what();
        }
    }
    static std::string ErrorOfThreshold(double threshold) {
        return ErrorOf(true, true, {ReferenceOfWords(16)}, threshold);
    }
};

TEST_F(DetectorConfigurationTest, NeedsASource) {
    EXPECT_EQ(ErrorOf(false, true, {ReferenceOfWords(16)}, 0.14), "Invalid Detector configuration");
}

TEST_F(DetectorConfigurationTest, NeedsACallback) {
    EXPECT_EQ(ErrorOf(true, false, {ReferenceOfWords(16)}, 0.14), "Invalid Detector configuration");
}

TEST_F(DetectorConfigurationTest, NeedsReferences) {
    EXPECT_EQ(ErrorOf(true, true, {}, 0.14), "Invalid Detector configuration");
}

TEST_F(DetectorConfigurationTest, AcceptsThresholdsFromZeroToOne) {
    EXPECT_EQ(ErrorOfThreshold(0.0), "");
    EXPECT_EQ(ErrorOfThreshold(1.0), "");
}

TEST_F(DetectorConfigurationTest, RefusesOtherThresholds) {
    for (const double threshold :
         {1.0000001, -0.0000001, std::nan(""), std::numeric_limits<double>::infinity()}) {
        EXPECT_EQ(ErrorOfThreshold(threshold), "Invalid Detector BER threshold") << threshold;
    }
}

TEST_F(DetectorConfigurationTest, NeedsSixteenWordsOfEachReference) {
    EXPECT_EQ(ErrorOf(true, true, {ReferenceOfWords(16)}, 0.14), "");
    EXPECT_EQ(ErrorOf(true, true, {ReferenceOfWords(16), ReferenceOfWords(15)}, 0.14),
              "Invalid reference");
}

TEST_F(DetectorConfigurationTest, IsCheckedInOrder) {
    EXPECT_EQ(ErrorOf(true, true, {}, 2.0), "Invalid Detector configuration");
    EXPECT_EQ(ErrorOf(true, true, {ReferenceOfWords(1)}, 2.0), "Invalid Detector BER threshold");
}

TEST_F(DetectorConfigurationTest, EmptiesTheCallersReferences) {
    std::vector<ReferenceFingerprint> references{ReferenceOfWords(16)};
    const CDetectorAudioFile detector(
        std::make_unique<MemoryAudioFile>(MakeSilence(22050, 1, 1)), std::move(references),
        [](const DetectorMatch&) {}, 0.14);
    EXPECT_TRUE(references.empty());  // NOLINT(bugprone-use-after-move): that is the contract
}

TEST_F(DetectorTest, OpensItsSourceWithTheSamePath) {
    Make(MakeSilence(44100, 2, 10), {ReferenceOfWords(16)});
    EXPECT_FALSE(detector_->IsOpen());
    ASSERT_EQ(detector_->Open("http://station/stream"), 1);
    EXPECT_TRUE(detector_->IsOpen());
    EXPECT_EQ(source_->openedPath, "http://station/stream");
    const WAVEFORMATEX* format = nullptr;
    ASSERT_EQ(detector_->GetFormat(&format), CAudioFile::kFormatOk);
    EXPECT_EQ(std::memcmp(format, &source_->Record(), sizeof(*format)), 0);
    EXPECT_NE(format, &source_->Record());
}

TEST_F(DetectorTest, RefusesASecondOpen) {
    Make(MakeSilence(44100, 2, 10), {ReferenceOfWords(16)});
    ASSERT_EQ(detector_->Open("first"), 1);
    EXPECT_EQ(detector_->Open("second"), 0);
    EXPECT_EQ(source_->openedPath, "first");
    EXPECT_TRUE(detector_->IsOpen());
}

TEST_F(DetectorTest, FailsToOpenWithItsSource) {
    Make(MakeSilence(44100, 2, 10), {ReferenceOfWords(16)});
    source_->failOpen = true;
    EXPECT_EQ(detector_->Open("source"), 0);
    EXPECT_FALSE(detector_->IsOpen());
    source_->failOpen = false;
    EXPECT_EQ(detector_->Open("source"), 1);
}

struct FormatCase {
    const char* name;
    void (*change)(WAVEFORMATEX&);
};

class DetectorFormatTest : public DetectorTest, public testing::WithParamInterface<FormatCase> {};

TEST_P(DetectorFormatTest, IsRefusedAndTheSourceClosed) {
    Make(MakeSilence(44100, 2, 10), {ReferenceOfWords(16)});
    GetParam().change(source_->Record());
    EXPECT_EQ(detector_->Open("source"), 0);
    EXPECT_FALSE(detector_->IsOpen());
    EXPECT_FALSE(source_->IsOpen());
}

INSTANTIATE_TEST_SUITE_P(
    All, DetectorFormatTest,
    testing::Values(FormatCase{"FloatingPoint", [](WAVEFORMATEX& f) { f.wFormatTag = 3; }},
                    FormatCase{"EightBits", [](WAVEFORMATEX& f) { f.wBitsPerSample = 8; }},
                    FormatCase{"ThirtyTwoBits", [](WAVEFORMATEX& f) { f.wBitsPerSample = 32; }},
                    FormatCase{"NoFrameSize", [](WAVEFORMATEX& f) { f.nBlockAlign = 0; }},
                    FormatCase{"NoChannels", [](WAVEFORMATEX& f) { f.nChannels = 0; }},
                    FormatCase{"NineChannels", [](WAVEFORMATEX& f) { f.nChannels = 9; }},
                    FormatCase{"NoRate", [](WAVEFORMATEX& f) { f.nSamplesPerSec = 0; }}),
    [](const testing::TestParamInfo<FormatCase>& which) { return which.param.name; });

TEST_F(DetectorTest, HandsTheSourceThroughUnchanged) {
    for (int channels = 1; channels <= 8; ++channels) {
        const TestPcm pcm = MakeNoise(1, 44100, channels, 30000);
        Make(pcm, {ReferenceOfWords(16)});
        ASSERT_EQ(detector_->Open("source"), 1) << channels << " channels";
        const std::vector<std::byte> read = ReadToEnd(1000 * 2 * static_cast<uint32_t>(channels));
        ASSERT_EQ(read.size(), pcm.Bytes());
        EXPECT_EQ(std::memcmp(read.data(), pcm.samples.data(), read.size()), 0);
    }
}

TEST_F(DetectorTest, PassesAnErrorOfTheSourceOn) {
    Make(MakeSilence(44100, 2, 0), {ReferenceOfWords(16)});
    ASSERT_EQ(detector_->Open("source"), 1);
    source_->endResult = -5;
    char frame[4];
    EXPECT_EQ(detector_->Read(frame, 4), -5);
}

TEST_F(DetectorTest, ReadsNothingWhenClosedOrWithoutABuffer) {
    Make(MakeSilence(44100, 2, 10), {ReferenceOfWords(16)});
    char frame[4];
    EXPECT_EQ(detector_->Read(frame, 4), -1);
    ASSERT_EQ(detector_->Open("source"), 1);
    EXPECT_EQ(detector_->Read(nullptr, 4), -1);
    EXPECT_EQ(detector_->Close(), 1);
    EXPECT_EQ(detector_->Close(), 1);
    EXPECT_FALSE(source_->IsOpen());
    EXPECT_EQ(detector_->Read(frame, 4), -1);
}

TEST_F(DetectorTest, RefusesToSeek) {
    Make(MakeSilence(44100, 2, 10), {ReferenceOfWords(16)});
    ASSERT_EQ(detector_->Open("source"), 1);
    EXPECT_EQ(detector_->Seek(0.0f), 0);
    EXPECT_EQ(detector_->GetPositionMs(), CAudioFile::kPositionUnknown);
}

TEST_F(DetectorTest, RequiresCompleteFrames) {
    Make(MakeSilence(44100, 2, 10), {ReferenceOfWords(16)});
    ASSERT_EQ(detector_->Open("source"), 1);
    source_->readSizes = {3};
    ExpectThrow("Detector requires complete PCM frames");
}

TEST_F(DetectorTest, FindsAStreamThatIsTheReference) {
    const TestPcm jingle = MakeMusic(2, 22050, 1, 22050);
    const ReferenceFingerprint reference = ReferenceOf(jingle);
    const TestPcm stream = Concatenate({jingle, MakeMusic(3, 22050, 1, 22050)});
    Make(stream, {reference});
    ASSERT_EQ(detector_->Open("source"), 1);
    ReadToEnd(2);  // sample by sample
    ASSERT_EQ(matches_.size(), 1u);
    // Five words after the last of the reference, on the sample that completes it.
    FrameClock clock;
    for (size_t word = 0; word < reference.words.size() - 1 + 5; ++word) clock.Advance();
    const auto observed = static_cast<uint64_t>(clock.StartSample() + 8192);
    EXPECT_EQ(matches_[0], (DetectorMatch{0, 0, observed, 0.0}));
}

TEST_F(DetectorTest, FindsAReferenceAmidTheStreamWithinAHop) {
    const TestPcm jingle = MakeMusic(4, 22050, 1, 44100);
    const ReferenceFingerprint reference = ReferenceOf(jingle);
    for (const size_t before : {5000u, 22050u, 33333u}) {
        matches_.clear();
        Make(Concatenate({MakeMusic(5, 22050, 1, before), jingle, MakeMusic(6, 22050, 1, 9000)}),
             {reference});
        ASSERT_EQ(detector_->Open("source"), 1);
        ReadToEnd();
        ASSERT_EQ(matches_.size(), 1u) << "after " << before;
        EXPECT_NEAR(static_cast<double>(matches_[0].sample), static_cast<double>(before), 276.0);
    }
}

TEST_F(DetectorTest, CountsTheWholeBlockAsObserved) {
    const TestPcm jingle = MakeMusic(2, 22050, 1, 22050);
    Make(Concatenate({jingle, MakeMusic(3, 22050, 1, 22050)}), {ReferenceOf(jingle)});
    ASSERT_EQ(detector_->Open("source"), 1);
    std::vector<std::byte> block(2 * 40000);
    ASSERT_EQ(detector_->Read(block.data(), 2 * 40000), 2 * 40000);
    ASSERT_EQ(matches_.size(), 1u);
    EXPECT_EQ(matches_[0].observedAfterSample, 40000u);
}

TEST_F(DetectorTest, ReportsWhatIsPendingAtTheEndOfTheStreamOnce) {
    const TestPcm jingle = MakeMusic(7, 22050, 1, 22050);
    Make(jingle,
         {ReferenceOf(MakeMusic(8, 22050, 1, 22050)), ReferenceOf(jingle), ReferenceOf(jingle)});
    ASSERT_EQ(detector_->Open("source"), 1);
    ReadToEnd();
    ASSERT_EQ(matches_.size(), 2u);
    EXPECT_EQ(matches_[0], (DetectorMatch{1, 0, 22050, 0.0}));
    EXPECT_EQ(matches_[1], (DetectorMatch{2, 0, 22050, 0.0}));
    char frame[2];
    EXPECT_EQ(detector_->Read(frame, 2), 0);
    EXPECT_EQ(matches_.size(), 2u);
}

TEST_F(DetectorTest, StartsTheAnalysisAgainWhenReopened) {
    const TestPcm jingle = MakeMusic(7, 22050, 1, 22050);
    Make(jingle, {ReferenceOf(jingle)});
    ASSERT_EQ(detector_->Open("source"), 1);
    std::vector<std::byte> block(2 * 21000);
    ASSERT_EQ(detector_->Read(block.data(), 2 * 21000), 2 * 21000);
    ASSERT_EQ(detector_->Close(), 1);
    EXPECT_EQ(detector_->PeakHistorySamples(), 8192u);
    source_->Rewind();
    ASSERT_EQ(detector_->Open("source"), 1);
    EXPECT_EQ(detector_->PeakHistorySamples(), 0u);
    ReadToEnd();
    ASSERT_EQ(matches_.size(), 1u);
    EXPECT_EQ(matches_[0], (DetectorMatch{0, 0, 22050, 0.0}));
}

TEST_F(DetectorTest, HoldsNoMoreThanOneWindowOfHistory) {
    Make(MakeNoise(1, 44100, 2, 100000), {ReferenceOfWords(16)});
    ASSERT_EQ(detector_->Open("source"), 1);
    std::vector<std::byte> block(4 * 4410);
    ASSERT_EQ(detector_->Read(block.data(), 4 * 4410), 4 * 4410);
    EXPECT_GT(detector_->PeakHistorySamples(), 2000u);
    EXPECT_LE(detector_->PeakHistorySamples(), 2205u);
    ReadToEnd();
    EXPECT_EQ(detector_->PeakHistorySamples(), 8192u);
}

TEST_F(DetectorTest, DeliversTheDataOfAReadThatThrows) {
    const TestPcm noise = MakeNoise(2, 22050, 1, 22050);
    CDetectorAudioFile detector(
        std::make_unique<MemoryAudioFile>(noise), {ReferenceOfWords(16)},
        [](const DetectorMatch&) { throw std::runtime_error("no room for a match"); }, 1.0);
    ASSERT_EQ(detector.Open("source"), 1);
    std::vector<std::byte> block(noise.Bytes());
    EXPECT_THROW(detector.Read(block.data(), static_cast<uint32_t>(block.size())),
                 std::runtime_error);
    EXPECT_EQ(std::memcmp(block.data(), noise.samples.data(), block.size()), 0);
}

// The frame whose match could not be told is still due, but its samples are not
// all there when the next one arrives.
TEST_F(DetectorTest, MissesTheFrameWhoseCallbackThrew) {
    const TestPcm noise = MakeNoise(3, 22050, 1, 22050);
    CDetectorAudioFile detector(
        std::make_unique<MemoryAudioFile>(noise), {ReferenceOfWords(16)},
        [](const DetectorMatch&) { throw std::logic_error("no room for a match"); }, 1.0);
    ASSERT_EQ(detector.Open("source"), 1);
    std::vector<std::byte> block(2 * 16000);
    ASSERT_THROW(detector.Read(block.data(), 2 * 16000), std::logic_error);
    try {
        detector.Read(block.data(), 2);
        FAIL() << "read on";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "Detector history overrun");
    }
}

struct StreamCase {
    int rate;
    int channels;
    double threshold;
};

class DetectorStreamTest : public DetectorTest, public testing::WithParamInterface<StreamCase> {
protected:
    // Programme with two jingles in it, both twice and one of them under noise. The first
    // stands 32 hops from the start, so that its words are equal to the bit at 22050 Hz.
    static TestPcm Stream(int rate, int channels) {
        const auto frames = static_cast<size_t>(rate);
        const TestPcm first = MakeMusic(11, rate, channels, frames);
        const TestPcm second = MakeMusic(12, rate, channels, frames * 3 / 4);
        return Concatenate({MakeMusic(13, rate, channels, frames * 2 / 5), first, second,
                            MakeMusic(14, rate, channels, frames / 2),
                            Mixed(first, MakeNoise(15, rate, channels, frames), 15),
                            MakeMusic(16, rate, channels, frames / 5), second});
    }
    static std::vector<ReferenceFingerprint> References(int channels) {
        return {ReferenceOf(MakeMusic(11, 22050, channels, 22050)),
                ReferenceOf(MakeMusic(12, 22050, channels, 22050 * 3 / 4)),
                ReferenceOf(MakeMusic(17, 22050, channels, 22050)),
                ReferenceOf(MakeMusic(11, 22050, channels, 15000))};
    }
};

TEST_P(DetectorStreamTest, IsAnalysedAsSampleBySample) {
    const StreamCase& c = GetParam();
    const TestPcm pcm = Stream(c.rate, c.channels);
    TestRandom random(6);
    NaiveDetector naive(References(c.channels), c.threshold, c.channels, c.rate);
    Make(pcm, References(c.channels), c.threshold);
    ASSERT_EQ(detector_->Open("source"), 1);
    const size_t frameBytes = 2 * static_cast<size_t>(c.channels);
    std::vector<std::byte> block(frameBytes * 60000);
    for (size_t at = 0; at < pcm.Frames();) {
        const size_t frames = std::min<size_t>(1 + random.Below(random.Below(8) == 0 ? 60000 : 700),
                                               pcm.Frames() - at);
        ASSERT_EQ(detector_->Read(block.data(), static_cast<uint32_t>(frames * frameBytes)),
                  static_cast<int32_t>(frames * frameBytes));
        naive.Feed(pcm.samples.data() + at * static_cast<size_t>(c.channels), frames);
        at += frames;
    }
    ASSERT_EQ(detector_->Read(block.data(), kBlockBytes), 0);
    naive.End();
    EXPECT_EQ(detector_->Read(block.data(), kBlockBytes), 0);  // nothing is left to tell

    EXPECT_EQ(matches_, naive.Matches());
    EXPECT_EQ(detector_->PeakHistorySamples(), naive.PeakHistory());
    EXPECT_GE(matches_.size(), c.threshold > 0.1 ? 4u : 1u);
}

TEST_P(DetectorStreamTest, GivesTheSamePositionsInWhateverPiecesItIsRead) {
    const StreamCase& c = GetParam();
    const TestPcm pcm = Stream(c.rate, c.channels);
    std::vector<DetectorMatch> whole;
    for (const uint32_t frames : {300000u, 1u, 277u, 4096u}) {
        matches_.clear();
        Make(pcm, References(c.channels), c.threshold);
        ASSERT_EQ(detector_->Open("source"), 1);
        ReadToEnd(frames * 2 * static_cast<uint32_t>(c.channels));
        for (DetectorMatch& match : matches_) match.observedAfterSample = 0;
        if (frames == 300000u) whole = matches_;
        ASSERT_FALSE(whole.empty());
        EXPECT_EQ(matches_, whole) << "reads of " << frames << " frames";
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, DetectorStreamTest,
                         testing::Values(StreamCase{22050, 1, 0.14}, StreamCase{22050, 2, 0.0},
                                         StreamCase{32000, 2, 0.14}, StreamCase{44100, 2, 0.14},
                                         StreamCase{48000, 1, 0.14}, StreamCase{44100, 8, 0.3},
                                         StreamCase{48000, 3, 1.0}),
                         [](const testing::TestParamInfo<StreamCase>& which) {
                             return std::to_string(which.param.rate) + "Hz" +
                                    std::to_string(which.param.channels) + "Channels" +
                                    std::to_string(static_cast<int>(which.param.threshold * 100)) +
                                    "Percent";
                         });

TEST_F(DetectorTest, FindsAJingleAtEveryRateWithinAHop) {
    for (const int rate : {22050, 32000, 44100, 48000}) {
        const auto second = static_cast<size_t>(rate);
        const ReferenceFingerprint reference = ReferenceOf(MakeMusic(21, 22050, 2, 44100));
        matches_.clear();
        Make(Concatenate({MakeMusic(22, rate, 2, second * 3 / 2),
                          MakeMusic(21, rate, 2, 2 * second), MakeMusic(23, rate, 2, second)}),
             {reference});
        ASSERT_EQ(detector_->Open("source"), 1);
        ReadToEnd();
        ASSERT_GE(matches_.size(), 1u) << rate << " Hz";
        const double hop = 0.0125 * rate;
        EXPECT_NEAR(static_cast<double>(matches_[0].sample), 1.5 * rate, hop + 64) << rate << " Hz";
    }
}

}  // namespace
}  // namespace receiver
