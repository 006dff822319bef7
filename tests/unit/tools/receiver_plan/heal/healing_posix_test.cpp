#include "receiver_plan/heal/healing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <stdexcept>
#include <vector>

#include "receiver_plan/heal/copy_sidecar.h"
#include "testing/audio_generator.h"

namespace receiver {
namespace {

constexpr uint64_t kFrames = 400000;

// The broadcast: one byte a frame.
const std::vector<std::byte>& Broadcast() {
    static const std::vector<std::byte> broadcast = [] {
        TestRandom random(1);
        std::vector<std::byte> frames(kFrames);
        for (std::byte& frame : frames) frame = static_cast<std::byte>(random.Next());
        return frames;
    }();
    return broadcast;
}

// Of the broadcast from `start` up to `end`, with silence of `stood` frames for each loss.
struct Loss {
    uint64_t from;
    uint64_t to;
    uint64_t stood;
};
struct MadeCopy {
    std::vector<std::byte> pcm;
    RecordedCopy copy;
};

std::vector<SoundAnchor> AnchorsOf(std::span<const std::byte> pcm) {
    SoundAnchors anchors(1);
    anchors.Add(pcm);
    return anchors.Finish();
}

MadeCopy Copy(uint64_t start, uint64_t end, const std::vector<Loss>& losses) {
    MadeCopy made;
    uint64_t at = start;
    for (const Loss& loss : losses) {
        made.pcm.insert(made.pcm.end(), &Broadcast()[at], &Broadcast()[loss.from]);
        made.copy.lacking.push_back({made.pcm.size(), made.pcm.size() + loss.stood});
        made.pcm.resize(made.pcm.size() + loss.stood);
        at = loss.to;
    }
    made.pcm.insert(made.pcm.end(), Broadcast().begin() + static_cast<std::ptrdiff_t>(at),
                    Broadcast().begin() + static_cast<std::ptrdiff_t>(end));
    made.copy.frames = made.pcm.size();
    made.copy.anchors = AnchorsOf(made.pcm);
    return made;
}

std::vector<HealedPiece> PiecesOf(const std::vector<MadeCopy>& copies) {
    std::vector<RecordedCopy> records;
    for (const MadeCopy& made : copies) records.push_back(made.copy);
    return PlanHealing(std::move(records));
}

std::vector<std::byte> Together(const std::vector<MadeCopy>& copies) {
    std::vector<std::byte> pcm;
    for (const HealedPiece& piece : PiecesOf(copies)) {
        const std::vector<std::byte>& from = copies[piece.copy].pcm;
        pcm.insert(pcm.end(), from.begin() + static_cast<std::ptrdiff_t>(piece.frames.from),
                   from.begin() + static_cast<std::ptrdiff_t>(piece.frames.to));
    }
    return pcm;
}

bool IsLackingAnything(const std::vector<HealedPiece>& pieces) {
    return std::any_of(pieces.begin(), pieces.end(),
                       [](const HealedPiece& piece) { return piece.lacking; });
}

}  // namespace

TEST(Healing, WholeCopiesAreTheFirst) {
    const std::vector<MadeCopy> copies = {Copy(0, kFrames, {}), Copy(0, kFrames, {})};
    EXPECT_EQ(PiecesOf(copies), (std::vector<HealedPiece>{{0, {0, kFrames}, false}}));
}

TEST(Healing, GapsAtDifferentTimesLeaveNoTrace) {
    const std::vector<MadeCopy> copies = {
        Copy(0, kFrames, {{100000, 150000, 50000}, {300000, 320000, 20011}}),
        Copy(0, kFrames, {{180000, 200000, 19000}})};
    EXPECT_FALSE(IsLackingAnything(PiecesOf(copies)));
    EXPECT_EQ(Together(copies), Broadcast());
}

TEST(Healing, ALateStartAndAnEarlyEndAreMadeUpFor) {
    const std::vector<MadeCopy> copies = {Copy(60000, kFrames, {}), Copy(0, 200000, {}),
                                          Copy(150000, 350000, {})};
    EXPECT_EQ(Together(copies), Broadcast());
}

TEST(Healing, ACopyThatEndsIsGoneOnWithByOneThatGoesOn) {
    const std::vector<MadeCopy> copies = {Copy(0, 150000, {}), Copy(0, 300000, {}),
                                          Copy(0, kFrames, {{200000, 210000, 10000}})};
    EXPECT_EQ(Together(copies), Broadcast());
}

TEST(Healing, GapsThatOverlapLackOnlyWhatBothLack) {
    const std::vector<MadeCopy> copies = {Copy(0, kFrames, {{100000, 150000, 50000}}),
                                          Copy(0, kFrames, {{130000, 200000, 70000}})};
    const std::vector<HealedPiece> pieces = PiecesOf(copies);
    std::vector<std::byte> expected = Broadcast();
    std::fill(expected.begin() + 130000, expected.begin() + 150000, std::byte{});
    EXPECT_EQ(Together(copies), expected);
    uint64_t lacking = 0;
    for (const HealedPiece& piece : pieces) {
        if (piece.lacking) lacking += piece.frames.to - piece.frames.from;
    }
    EXPECT_EQ(lacking, 20000u);
}

TEST(Healing, WhatNoCopyHasStaysLacking) {
    const std::vector<MadeCopy> copies = {Copy(0, kFrames, {{100000, 150000, 50000}}),
                                          Copy(0, kFrames, {{90000, 160000, 69000}})};
    EXPECT_TRUE(IsLackingAnything(PiecesOf(copies)));
    EXPECT_EQ(Together(copies).size(), kFrames);
}

TEST(Healing, RecordingsOfDifferentSoundAreRefused) {
    MadeCopy other = Copy(0, kFrames, {});
    std::reverse(other.pcm.begin(), other.pcm.end());
    other.copy.anchors = AnchorsOf(other.pcm);
    EXPECT_THROW(PiecesOf({Copy(0, kFrames, {}), other}), std::invalid_argument);
}

TEST(SoundAnchors, TheyStandAtTheSameSoundWhereverARecordingBegins) {
    const auto whole = AnchorsOf(Broadcast());
    auto later = AnchorsOf(std::span(Broadcast()).subspan(12345));
    EXPECT_GE(whole.size(), kFrames / 4096);
    for (SoundAnchor& anchor : later) anchor.frame += 12345;
    ASSERT_LE(later.size(), whole.size());
    EXPECT_GE(later.size() + 20, whole.size());
    EXPECT_TRUE(std::equal(later.rbegin(), later.rend(), whole.rbegin()));
}

TEST(SoundAnchors, PiecesOfAnySizeGiveTheSame) {
    SoundAnchors anchors(4);
    const std::span<const std::byte> pcm(Broadcast());
    for (size_t at = 0; at < pcm.size(); at += 1036) {
        anchors.Add(pcm.subspan(at, std::min<size_t>(1036, pcm.size() - at)));
    }
    SoundAnchors whole(4);
    whole.Add(pcm);
    EXPECT_EQ(anchors.Finish(), whole.Finish());
}

TEST(SoundAnchors, SoundThatComesTwiceIsNoneOfThem) {
    std::vector<std::byte> twice(Broadcast().begin(), Broadcast().begin() + 50000);
    twice.insert(twice.end(), Broadcast().begin(), Broadcast().begin() + 50000);
    for (const SoundAnchor& anchor : AnchorsOf(twice)) {
        EXPECT_GE(anchor.frame, 50000u);
        EXPECT_LT(anchor.frame, 50000u + SoundAnchors::kFrames);
    }
    EXPECT_TRUE(AnchorsOf(std::vector<std::byte>(100000)).empty());
}

TEST(CopySidecar, GapsAndDamageLackWhatFollowsTooUntilTheDecoderIsSure) {
    EXPECT_EQ(LackingFrames(R"({"startSample": 1000,
                  "gaps": [{"sample": 21000, "lostFrames": 500, "exact": false},
                           {"sample": 61000, "lostFrames": 0, "exact": true},
                           {"sample": 71000, "lostFrames": 0, "exact": false},
                           {"sample": 99000, "lostFrames": 9000, "exact": false}],
                  "damage": [{"sample": 500, "frames": 600, "kind": "x"},
                             {"sample": 22000, "frames": 100, "kind": "x"}]})",
                            100000),
              (std::vector<FrameRange>{{0, 100 + kUnsureFrames},
                                       {20000, 21100 + kUnsureFrames},
                                       {70000, 70000 + kUnsureFrames},
                                       {98000, 100000}}));
    EXPECT_TRUE(LackingFrames(R"({"startSample": 0})", 5).empty());
    EXPECT_THROW(LackingFrames("[]", 5), std::invalid_argument);
    EXPECT_THROW(LackingFrames("{}", 5), std::invalid_argument);
}

}  // namespace receiver
