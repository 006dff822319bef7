#include "receiver_scan/discover/same_recording.h"

#include "receiver_scan/discover/stretch_likeness.h"

namespace receiver {
namespace {

// A frame at an edge has something of both sides; what is heard around is further out.
constexpr size_t kMarginWords = 16;
constexpr size_t kAroundWords = 40;
// Unlike sound differs in about half of its bits, the same in less than this.
constexpr double kMaxSameAround = 0.25;

class Places final {
public:
    Places(std::span<const uint32_t> words, size_t length) : words_(words), length_(length) {}

    bool IsSurePair(size_t a, size_t b) const {
        return IsSameRecording(CompareStretches(&words_[a], &words_[b], length_), length_) &&
               !GoesOnAlike(a, b);
    }

private:
    bool GoesOnAlike(size_t a, size_t b) const {
        constexpr size_t kReach = kMarginWords + kAroundWords;
        if (a < kReach || b < kReach) return false;
        const size_t behind = length_ + kMarginWords;
        if (a + behind + kAroundWords > words_.size() ||
            b + behind + kAroundWords > words_.size()) {
            return false;
        }
        return IsSameAround(a - kReach, b - kReach) && IsSameAround(a + behind, b + behind);
    }

    bool IsSameAround(size_t a, size_t b) const {
        return CompareStretches(&words_[a], &words_[b], kAroundWords).ber <= kMaxSameAround;
    }

    const std::span<const uint32_t> words_;
    const size_t length_;
};

}  // namespace

bool HasSurePair(std::span<const uint32_t> words, const std::vector<uint32_t>& places,
                 size_t length) {
    const Places all(words, length);
    for (size_t i = 0; i < places.size(); ++i) {
        for (size_t j = i + 1; j < places.size(); ++j) {
            if (all.IsSurePair(places[i], places[j])) return true;
        }
    }
    return false;
}

}  // namespace receiver
