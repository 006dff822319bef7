// How copies of one programme are put together: which frames of which copy follow each other. Each
// copy goes on until it lacks something; there another one takes over that has it, right after
// frames that both have. Pure.
//
//   Units    frames.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "receiver_plan/heal/sound_anchors.h"

namespace receiver {

// From `from` on and before `to`.
struct FrameRange {
    uint64_t from = 0;
    uint64_t to = 0;

    bool operator==(const FrameRange&) const = default;
};

struct RecordedCopy {
    uint64_t frames = 0;
    std::vector<FrameRange> lacking;   // in order, apart from each other
    std::vector<SoundAnchor> anchors;  // in order
};

struct HealedPiece {
    size_t copy = 0;
    FrameRange frames;     // of the copy
    bool lacking = false;  // no copy has what should be there: these are a copy's own stand-in

    bool operator==(const HealedPiece&) const = default;
};

// A decoder's first frames after an interruption differ from those of one that has been running.
inline constexpr uint64_t kUnsureFrames = 4608;

// The pieces in their order. Throws std::invalid_argument with a text for people when a copy has
// nothing in common with the first.
std::vector<HealedPiece> PlanHealing(std::vector<RecordedCopy> copies);

}  // namespace receiver
