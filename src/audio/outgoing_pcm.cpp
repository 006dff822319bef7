#include "audio/outgoing_pcm.h"

#include <algorithm>

namespace receiver {
namespace {

// More is not moved to make room at the front of a part.
constexpr size_t kMaxTakenSamples = 65536;

}  // namespace

void OutgoingPcm::Append(const int16_t* samples, size_t frames) {
    if (frames == 0) return;
    if (parts_.empty() || parts_.back().silence > 0) parts_.emplace_back();
    Part& part = parts_.back();
    if (part.taken > kMaxTakenSamples) {
        part.pcm.erase(part.pcm.begin(),
                       part.pcm.begin() + static_cast<std::ptrdiff_t>(part.taken));
        part.taken = 0;
    }
    part.pcm.insert(part.pcm.end(), samples, samples + frames * channels_);
    frames_ += frames;
}

void OutgoingPcm::AppendSilence(uint64_t frames) {
    if (frames == 0) return;
    parts_.emplace_back().silence = frames;
    frames_ += frames;
}

void OutgoingPcm::DropLast(size_t frames) {
    if (frames == 0) return;
    std::vector<int16_t>& pcm = parts_.back().pcm;
    pcm.resize(pcm.size() - frames * channels_);
    frames_ -= frames;
    if (parts_.back().taken == pcm.size()) parts_.pop_back();
}

size_t OutgoingPcm::Take(size_t frames, std::vector<int16_t>& samples) {
    if (parts_.empty()) return 0;
    Part& part = parts_.front();
    size_t count = 0;
    if (part.silence > 0) {
        count = static_cast<size_t>(std::min<uint64_t>(frames, part.silence));
        samples.resize(samples.size() + count * channels_);
        part.silence -= count;
    } else {
        count = std::min(frames, (part.pcm.size() - part.taken) / channels_);
        const auto first = part.pcm.begin() + static_cast<std::ptrdiff_t>(part.taken);
        samples.insert(samples.end(), first,
                       first + static_cast<std::ptrdiff_t>(count * channels_));
        part.taken += count * channels_;
    }
    frames_ -= count;
    if (part.silence == 0 && part.taken == part.pcm.size()) parts_.pop_front();
    return count;
}

}  // namespace receiver
