#include "receiver_record/cut/program_cutter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "detect/detector_audio_file.h"
#include "detect/receiver_program_audio_file.h"
#include "testing/audio_generator.h"
#include "testing/broadcast.h"
#include "testing/memory_audio_file.h"
#include "testing/sound_effects.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

constexpr size_t kOpeningFrames = 40001;
constexpr size_t kClosingFrames = 44103;
constexpr size_t kPlenty = 1U << 28;

Match EndAt(uint64_t sample) {
    return {"closing", Role::kEnd, sample, sample + kClosingFrames + 3000, 0.01};
}

// A broadcast with an opening and a closing, and what the cutter makes of it.
class ProgramCutterTest : public testing::Test {
protected:
    static constexpr uint64_t kOpeningAt = 30011;
    static constexpr uint64_t kClosingAt = 250007;

    ProgramCutterTest() {
        opening_ = MakeTune(1, 44100, 2, kOpeningFrames);
        closing_ = MakeTune(2, 44100, 2, kClosingFrames);
        stream_ = Concatenate({MakeMusic(3, 44100, 2, kOpeningAt), opening_,
                               MakeMusic(4, 44100, 2, kClosingAt - kOpeningAt - kOpeningFrames),
                               closing_, MakeMusic(5, 44100, 2, 200000)});
        WriteWavFile(folder_.File("opening.wav"), opening_);
        WriteWavFile(folder_.File("closing.wav"), closing_);
        // As the detector has them: on its grid.
        plan_.startSample = kOpeningAt + 199;
        plan_.servedSample = plan_.startSample - 22050;
        plan_.startPath = folder_.File("opening.wav");
    }

    void AwaitClosing() { plan_.ends = {{"closing", folder_.File("closing.wav")}}; }

    ProgramCutter& Make() {
        cutter_.emplace(
            plan_, PcmFormat{44100, 2},
            [this](std::span<const std::byte> pcm) {
                const size_t before = cut_.size();
                cut_.resize(before + pcm.size() / sizeof(int16_t));
                std::memcpy(cut_.data() + before, pcm.data(), pcm.size());
                return true;
            },
            kPlenty);
        return *cutter_;
    }
    // Of the stream, from the first served sample.
    void Feed(uint64_t from, uint64_t end) {
        const std::vector<int16_t> pcm = stream_.Range(from, end);
        cutter_->Append(std::as_bytes(std::span(pcm)));
    }
    // The whole stream, with what the receiver tells of it.
    void Run(const std::vector<Match>& matches,
             std::optional<ProgramEndReason> sourceEnd = ProgramEndReason::kSourceEnded) {
        Make();
        Feed(plan_.servedSample, stream_.Frames());
        cutter_->Tell(matches);
        cutter_->Finish(sourceEnd);
    }
    void ExpectCut(uint64_t begin, uint64_t end) {
        const CutState state = cutter_->State();
        EXPECT_EQ(state.failure, "");
        EXPECT_EQ(state.begin, begin);
        ASSERT_TRUE(state.end);
        EXPECT_EQ(state.end->endSample, end);
        EXPECT_EQ(cut_.size(), 2 * (end - begin));
        EXPECT_TRUE(cut_ == stream_.Range(begin, end));
    }

    const TempFolder folder_;
    TestPcm opening_, closing_, stream_;
    CutPlan plan_;
    std::vector<int16_t> cut_;
    std::optional<ProgramCutter> cutter_;
};

}  // namespace

TEST_F(ProgramCutterTest, TheProgrammeIsFromTheOpeningsFirstSampleToTheClosingsLast) {
    AwaitClosing();
    Run({EndAt(kClosingAt - 240)});
    ExpectCut(kOpeningAt, kClosingAt + kClosingFrames);
    const CutState state = cutter_->State();
    EXPECT_TRUE(state.beginIsExact);
    EXPECT_TRUE(state.endIsExact);
    EXPECT_TRUE(state.isComplete);
    EXPECT_EQ(state.end->reason, ProgramEndReason::kOutro);
}

TEST_F(ProgramCutterTest, TheRecordingsThemselvesCanBeCutOff) {
    AwaitClosing();
    plan_.limits.trimStart = plan_.limits.trimEnd = true;
    Run({EndAt(kClosingAt - 240)});
    ExpectCut(kOpeningAt + kOpeningFrames, kClosingAt);
    EXPECT_TRUE(cutter_->State().beginIsExact);
    EXPECT_TRUE(cutter_->State().endIsExact);
}

TEST_F(ProgramCutterTest, WhereNoPlaceIsSureTheDetectorsIsTakenAndSaidToBeSo) {
    AwaitClosing();
    WriteWavFile(folder_.File("opening.wav"), MakeTune(8, 44100, 2, kOpeningFrames));
    WriteWavFile(folder_.File("closing.wav"), MakeTune(9, 44100, 2, kClosingFrames));
    Run({EndAt(kClosingAt - 240)});
    ExpectCut(plan_.startSample, kClosingAt - 240 + OutroLength(folder_.File("closing.wav")));
    EXPECT_FALSE(cutter_->State().beginIsExact);
    EXPECT_FALSE(cutter_->State().endIsExact);
    EXPECT_TRUE(cutter_->State().isComplete);
}

TEST_F(ProgramCutterTest, ABeginThatWasNotServedIsNotSaidToBeExact) {
    plan_.startSample = plan_.servedSample = kOpeningAt + 100;
    Run({});
    EXPECT_EQ(cutter_->State().begin, kOpeningAt + 100);
    EXPECT_FALSE(cutter_->State().beginIsExact);
}

TEST_F(ProgramCutterTest, TheMaximumCountsFromTheExactBegin) {
    plan_.limits.maximumMs = 1000;
    Run({});
    ExpectCut(kOpeningAt, kOpeningAt + 44100);
    EXPECT_TRUE(cutter_->State().isComplete);
}

TEST_F(ProgramCutterTest, TheRecordingThatOpensTheProgrammeMayCloseItToo) {
    plan_.ends = {{"closing", folder_.File("opening.wav")}};
    std::copy(opening_.samples.begin(), opening_.samples.end(),
              stream_.samples.begin() + 2 * kClosingAt);
    Run({EndAt(plan_.startSample), EndAt(kClosingAt + 100)});
    ExpectCut(kOpeningAt, kClosingAt + kOpeningFrames);
}

TEST_F(ProgramCutterTest, AnEndCountsOnlyAfterTheMinimum) {
    AwaitClosing();
    plan_.limits.minimumMs = 4000;
    const auto early = static_cast<std::ptrdiff_t>(2 * (kOpeningAt + 100000));
    std::copy(closing_.samples.begin(), closing_.samples.end(), stream_.samples.begin() + early);
    Run({EndAt(kOpeningAt + 100000), EndAt(kClosingAt)});
    ExpectCut(kOpeningAt, kClosingAt + kClosingFrames);
}

TEST_F(ProgramCutterTest, WithoutAnEndTheProgrammeLastsAsLongAsTheSource) {
    Run({});
    ExpectCut(kOpeningAt, stream_.Frames());
    EXPECT_EQ(cutter_->State().end->reason, ProgramEndReason::kSourceEnded);
    EXPECT_FALSE(cutter_->State().isComplete);
}

TEST_F(ProgramCutterTest, WhatAnInterruptionLeavesIsKeptWithoutAnEnd) {
    Run({}, std::nullopt);
    EXPECT_TRUE(cut_ == stream_.Range(kOpeningAt, stream_.Frames()));
    EXPECT_FALSE(cutter_->State().end);
}

// A closing may be told when all of it, and more, has come: until then nothing that could lie
// behind it is handed on.
TEST_F(ProgramCutterTest, AudioIsHeldBackUntilItIsSettled) {
    AwaitClosing();
    Make();
    Feed(plan_.servedSample, stream_.Frames());
    const uint64_t settled = kClosingAt + kClosingFrames + kDetectionReachFrames;
    cutter_->Settle(settled - plan_.servedSample);
    cutter_->Tell({EndAt(kClosingAt)});
    cutter_->Finish(ProgramEndReason::kSourceEnded);
    ExpectCut(kOpeningAt, kClosingAt + kClosingFrames);
}

TEST_F(ProgramCutterTest, ThePeakIsTheHighestSampleSinceTheLastLook) {
    Make();
    const std::vector<int16_t> pcm = {0, -16384, 100, 0};
    cutter_->Append(std::as_bytes(std::span(pcm)));
    EXPECT_EQ(cutter_->TakePeak(), 0.5);
    EXPECT_EQ(cutter_->TakePeak(), 0);
}

TEST_F(ProgramCutterTest, ARecordingThatIsGoneIsAFailure) {
    plan_.startPath = folder_.File("missing.wav");
    Make();
    cutter_->Finish();
    EXPECT_NE(cutter_->State().failure, "");
    Feed(plan_.servedSample, plan_.servedSample + 100);
    EXPECT_EQ(cut_.size(), 0U);
}

TEST_F(ProgramCutterTest, AnOutputThatTakesNoMoreIsAFailure) {
    cutter_.emplace(
        plan_, PcmFormat{44100, 2}, [](std::span<const std::byte>) { return false; }, kPlenty);
    Feed(plan_.servedSample, stream_.Frames());
    cutter_->Finish();
    EXPECT_NE(cutter_->State().failure, "");
}

TEST_F(ProgramCutterTest, MoreThanMayBeHeldIsAFailure) {
    cutter_.emplace(
        plan_, PcmFormat{44100, 2}, [](std::span<const std::byte>) { return true; }, size_t{1000});
    const std::vector<std::byte> pcm(1004);
    EXPECT_FALSE(cutter_->Append(pcm));
    cutter_->Finish();
    EXPECT_NE(cutter_->State().failure, "");
}

// The receiver's own rules and its own cut, where neither finds more than the detector does.
TEST_F(ProgramCutterTest, WithTheDetectorsFiguresItIsTheReceiversOwnCutToTheByte) {
    WriteWavFile(folder_.File("opening.wav"), MakeTune(8, 44100, 2, kOpeningFrames));
    WriteWavFile(folder_.File("closing.wav"), MakeTune(9, 44100, 2, kClosingFrames));
    AwaitClosing();
    TestRandom random(77);
    for (int round = 0; round < 40; ++round) {
        SCOPED_TRACE(round);
        plan_.startSample = 25000 + random.Below(30000);
        plan_.servedSample = plan_.startSample - random.Below(22050);
        plan_.limits = {};
        plan_.limits.maximumMs = 1000 + static_cast<uint32_t>(random.Below(6000));
        if (random.Below(2) == 0) plan_.limits.fadeMs = static_cast<uint32_t>(random.Below(1500));
        std::vector<Match> matches;
        for (uint64_t count = random.Below(3); count > 0; --count) {
            matches.push_back(EndAt(plan_.startSample + 5000 + random.Below(300000)));
        }

        std::vector<HeardReference> heard;
        heard.reserve(matches.size());
        for (const Match& match : matches) {
            heard.push_back(
                {ReferenceRole::kEnd, match.sample, OutroLength(folder_.File("closing.wav"))});
        }
        const ForcedEnd sourceEnd{stream_.Frames(), ProgramEndReason::kSourceEnded};
        const ProgramEnd expected = ComputeProgramEnd(
            {plan_.startSample, *plan_.limits.maximumMs, plan_.limits.fadeMs}, heard, sourceEnd);
        MemoryAudioFile source(
            Slice(stream_, plan_.startSample, stream_.Frames() - plan_.startSample));
        source.Open("source");
        CReceiverProgramAudioFile receivers(source, plan_.startSample, [&] {
            return ReceiverProgramBoundary{expected.endSample, expected.fadeFrames};
        });
        std::vector<int16_t> cutByTheReceiver(2 * stream_.Frames());
        size_t bytes = 0;
        for (;;) {
            auto* at = reinterpret_cast<std::byte*>(cutByTheReceiver.data()) + bytes;
            const int32_t read = receivers.Read(at, 17640);
            if (read <= 0) break;
            bytes += static_cast<size_t>(read);
        }
        cutByTheReceiver.resize(bytes / sizeof(int16_t));

        cut_.clear();
        Make();
        size_t told = 0;
        for (uint64_t at = plan_.servedSample; at < stream_.Frames();) {
            const uint64_t end = std::min<uint64_t>(at + 1 + random.Below(20000), stream_.Frames());
            Feed(at, end);
            at = end;
            std::sort(matches.begin(), matches.end(), [](const Match& a, const Match& b) {
                return a.observedAfterSample < b.observedAfterSample;
            });
            while (told < matches.size() && matches[told].observedAfterSample <= at) ++told;
            cutter_->Tell({matches.begin(), matches.begin() + static_cast<std::ptrdiff_t>(told)});
            cutter_->Settle(at - plan_.servedSample);
        }
        cutter_->Tell(matches);
        cutter_->Finish(ProgramEndReason::kSourceEnded);
        EXPECT_EQ(cutter_->State().end, expected);
        EXPECT_TRUE(cut_ == cutByTheReceiver);
    }
}

}  // namespace receiver
