#include "receiver_plan/heal/sound_anchors.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

namespace receiver {
namespace {

constexpr uint64_t kFactor = 6364136223846793005ULL;  // odd
constexpr int kRarity = 11;                           // one place of 2^11

uint64_t Mixed(uint64_t value) {
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9ULL;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBULL;
    return value ^ (value >> 31);
}

uint64_t HashOf(std::span<const std::byte> frame) {
    uint64_t hash = 0x9E3779B97F4A7C15ULL;
    for (const std::byte byte : frame) hash = hash * kFactor + static_cast<uint64_t>(byte) + 1;
    return Mixed(hash);
}

}  // namespace

SoundAnchors::SoundAnchors(size_t frameBytes) : frameBytes_(frameBytes), window_(kFrames) {
    for (size_t i = 0; i < kFrames; ++i) outgoing_ *= kFactor;
}

void SoundAnchors::Add(std::span<const std::byte> pcm) {
    for (; pcm.size() >= frameBytes_; pcm = pcm.subspan(frameBytes_)) {
        uint64_t& slot = window_[static_cast<size_t>(frames_ % kFrames)];
        const uint64_t incoming = HashOf(pcm.first(frameBytes_));
        hash_ = hash_ * kFactor + incoming - slot * outgoing_;
        slot = incoming;
        ++frames_;
        const uint64_t mixed = Mixed(hash_);
        if (frames_ >= kFrames && mixed >> (64 - kRarity) == 0)
            anchors_.push_back({mixed, frames_});
    }
}

std::vector<SoundAnchor> SoundAnchors::Finish() {
    std::unordered_map<uint64_t, size_t> times;
    for (const SoundAnchor& anchor : anchors_) ++times[anchor.hash];
    std::erase_if(anchors_, [&](const SoundAnchor& anchor) { return times[anchor.hash] > 1; });
    return std::move(anchors_);
}

}  // namespace receiver
