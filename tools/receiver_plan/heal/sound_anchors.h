// Places of a recording that are found again in another one that has the same samples: those after
// which a hash of the last frames has a rare value, wherever the recording begins. Pure.
//
//   Units    frames; an anchor's frame is the one after the frames that it stands for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace receiver {

struct SoundAnchor {
    uint64_t hash = 0;
    uint64_t frame = 0;

    bool operator==(const SoundAnchor&) const = default;
};

// Collects the anchors of PCM as it comes, in pieces of any size.
class SoundAnchors final {
public:
    static constexpr size_t kFrames = 512;  // that an anchor stands for

    explicit SoundAnchors(size_t frameBytes);

    void Add(std::span<const std::byte> pcm);  // whole frames
    // In their order, without those whose sound comes more than once: they could mean any place.
    std::vector<SoundAnchor> Finish();

private:
    const size_t frameBytes_;
    uint64_t outgoing_ = 1;         // the factor of the frame that leaves
    std::vector<uint64_t> window_;  // the hashes of the last frames, as a ring
    uint64_t frames_ = 0;
    uint64_t hash_ = 0;
    std::vector<SoundAnchor> anchors_;
};

}  // namespace receiver
