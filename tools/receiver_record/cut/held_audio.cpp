#include "receiver_record/cut/held_audio.h"

#include <algorithm>

#include "receiver_record/cut/jingle_sound.h"

namespace receiver {

void HeldAudio::DropBefore(uint64_t sample) {
    if (sample <= first_) return;
    const uint64_t frames = std::min(sample - first_, Frames());
    first_ += frames;
    dropped_ += static_cast<size_t>(frames) * channels_;
    if (dropped_ < pcm_.size() / 2) return;  // seldom, so that what stays is not moved again
    pcm_.erase(pcm_.begin(), pcm_.begin() + static_cast<std::ptrdiff_t>(dropped_));
    dropped_ = 0;
}

std::span<const int16_t> HeldAudio::Between(uint64_t sample, uint64_t end) const {
    const size_t offset = dropped_ + static_cast<size_t>(sample - first_) * channels_;
    return std::span(pcm_).subspan(offset, static_cast<size_t>(end - sample) * channels_);
}

std::vector<float> HeldAudio::MonoAt(int64_t sample, size_t frames) const {
    const auto first = static_cast<int64_t>(first_);
    const auto end = static_cast<int64_t>(End());
    const int64_t last = sample + static_cast<int64_t>(frames);
    const int64_t from = std::clamp(sample, first, end);
    const int64_t to = std::clamp(last, from, end);
    std::vector<float> mono(static_cast<size_t>(std::clamp(from, sample, last) - sample));
    mono.reserve(frames);
    const auto held = Between(static_cast<uint64_t>(from), static_cast<uint64_t>(to));
    AppendMono(held.data(), held.size() / channels_, channels_, mono);
    mono.resize(frames);
    return mono;
}

}  // namespace receiver
