#include "receiver_plan/heal/healing.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <optional>
#include <stdexcept>
#include <unordered_map>
#include <utility>

namespace receiver {
namespace {

using Places = std::unordered_map<uint64_t, uint64_t>;  // of each anchor's sound

class Healing final {
public:
    explicit Healing(std::vector<RecordedCopy> copies) : copies_(std::move(copies)) {
        for (RecordedCopy& copy : copies_) DropUnsureAnchors(copy);
        for (const RecordedCopy& copy : copies_) {
            Places places;
            for (const SoundAnchor& anchor : copy.anchors) places[anchor.hash] = anchor.frame;
            places_.push_back(std::move(places));
        }
    }

    std::vector<HealedPiece> Plan() {
        copy_ = First();
        for (;;) {
            const FrameRange lacking = NextLacking(copies_[copy_], at_);
            if (const auto joint = JointBefore(lacking.from)) {
                Take(joint->here);
                copy_ = joint->copy;
                at_ = joint->there;
                continue;
            }
            Take(lacking.from);
            if (lacking.from >= copies_[copy_].frames) return std::move(pieces_);
            StandIn(lacking);
        }
    }

private:
    struct Joint {
        size_t copy;
        uint64_t here;   // where this copy is left
        uint64_t there;  // where the other one goes on
        uint64_t reach;  // how far it goes on from there
    };

    // What the frames of an anchor do not all have is nothing to go by.
    static void DropUnsureAnchors(RecordedCopy& copy) {
        std::erase_if(copy.anchors, [&](const SoundAnchor& anchor) {
            return std::any_of(copy.lacking.begin(), copy.lacking.end(),
                               [&](const FrameRange& lacking) {
                                   return lacking.from < anchor.frame &&
                                          lacking.to + SoundAnchors::kFrames > anchor.frame;
                               });
        });
    }

    // The first stretch that the copy lacks and that ends after `frame`; its end, for the last.
    static FrameRange NextLacking(const RecordedCopy& copy, uint64_t frame) {
        for (const FrameRange& lacking : copy.lacking) {
            if (lacking.to > frame) return lacking;
        }
        return {copy.frames, copy.frames};
    }

    std::optional<uint64_t> PlaceIn(size_t copy, const SoundAnchor& anchor) const {
        const auto found = places_[copy].find(anchor.hash);
        if (found == places_[copy].end()) return {};
        return found->second;
    }

    // The one that begins earliest; the others are unsure where they begin in the middle.
    size_t First() {
        std::vector<int64_t> starts(copies_.size(), 0);  // on the clock of the first
        for (size_t other = 1; other < copies_.size(); ++other) {
            bool isCommon = false;
            for (const SoundAnchor& anchor : copies_[0].anchors) {
                const auto place = PlaceIn(other, anchor);
                if (!place) continue;
                starts[other] = static_cast<int64_t>(anchor.frame) - static_cast<int64_t>(*place);
                isCommon = true;
                break;
            }
            if (!isCommon) {
                throw std::invalid_argument("recording " + std::to_string(other + 1) +
                                            " has no sound in common with the first");
            }
        }
        const auto first = std::min_element(starts.begin(), starts.end());
        for (size_t copy = 0; copy < copies_.size(); ++copy) {
            if (starts[copy] == *first) continue;
            std::vector<FrameRange>& lacking = copies_[copy].lacking;
            lacking.insert(lacking.begin(), {0, std::min(kUnsureFrames, copies_[copy].frames)});
        }
        return static_cast<size_t>(first - starts.begin());
    }

    // Where another copy takes over before this one lacks something, the one that goes on for the
    // longest; nothing when none has more than this one.
    std::optional<Joint> JointBefore(uint64_t end) const {
        const std::vector<SoundAnchor>& anchors = copies_[copy_].anchors;
        std::optional<Joint> best;
        for (size_t other = 0; other < copies_.size(); ++other) {
            if (other == copy_) continue;
            for (auto anchor = anchors.rbegin(); anchor != anchors.rend(); ++anchor) {
                if (anchor->frame > end) continue;
                if (anchor->frame < at_) break;
                const auto place = PlaceIn(other, *anchor);
                if (!place) continue;
                const FrameRange next = NextLacking(copies_[other], *place);
                if (next.from <= *place) break;
                const uint64_t reach = anchor->frame + (next.from - *place);
                if (reach > end && (!best || reach > best->reach)) {
                    best = Joint{other, anchor->frame, *place, reach};
                }
                break;
            }
        }
        return best;
    }

    // What is lacking here; its end from another copy that is sure again sooner.
    void StandIn(const FrameRange& lacking) {
        const uint64_t next = NextLacking(copies_[copy_], lacking.to).from;
        size_t from = copy_;
        uint64_t resumed = lacking.to;  // there
        uint64_t most = 0;              // that it has of the end
        for (size_t other = 0; other < copies_.size(); ++other) {
            if (other == copy_) continue;
            const auto place = PlaceAfter(other, lacking.to, next);
            if (!place) continue;
            const uint64_t sure = SureSince(copies_[other], *place);
            const uint64_t has = std::min(*place - sure, lacking.to - lacking.from);
            if (has <= most) continue;
            from = other;
            most = has;
            resumed = *place - has;
        }
        Add(copy_, {lacking.from, lacking.to - most}, true);
        copy_ = from;
        at_ = resumed;
    }

    // Where in the other copy the frame `frame` of this one is, by what both have before `end`.
    std::optional<uint64_t> PlaceAfter(size_t other, uint64_t frame, uint64_t end) const {
        for (const SoundAnchor& anchor : copies_[copy_].anchors) {
            if (anchor.frame <= frame) continue;
            if (anchor.frame > end) break;
            const auto place = PlaceIn(other, anchor);
            if (place && *place >= anchor.frame - frame) return *place - (anchor.frame - frame);
        }
        return {};
    }

    // Since when a copy lacks nothing up to this frame; the frame itself where it lacks it.
    static uint64_t SureSince(const RecordedCopy& copy, uint64_t frame) {
        uint64_t since = 0;
        for (const FrameRange& lacking : copy.lacking) {
            if (lacking.from < frame) since = std::min(lacking.to, frame);
        }
        return since;
    }

    void Take(uint64_t end) {
        Add(copy_, {at_, end}, false);
        at_ = end;
    }
    void Add(size_t copy, const FrameRange& frames, bool lacking) {
        if (frames.from < frames.to) pieces_.push_back({copy, frames, lacking});
    }

    std::vector<RecordedCopy> copies_;
    std::vector<Places> places_;
    size_t copy_ = 0;  // the one that is followed, and
    uint64_t at_ = 0;  // its next frame
    std::vector<HealedPiece> pieces_;
};

}  // namespace

std::vector<HealedPiece> PlanHealing(std::vector<RecordedCopy> copies) {
    return Healing(std::move(copies)).Plan();
}

}  // namespace receiver
