#include "audio/splice.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <span>
#include <utility>
#include <vector>

#include "audio/correlation.h"

namespace receiver {
namespace {

constexpr size_t kAnchorFrames = 16;      // what is compared at every place
constexpr size_t kMinEqualFrames = 1024;  // what has to be equal to mean anything
constexpr size_t kMinChanges = 256;       // frames in these that differ from the one before
// A decoder's first frames differ from those of one that has been running.
constexpr size_t kMaxWarmUpFrames = 4608;
constexpr double kBriefSeconds = 5.0;
// A place that the clock has to confirm lies no further from where the clock has it.
constexpr double kMaxClockErrorSeconds = 0.25;
constexpr double kMaxShortPatternErrorSeconds = 1.0;
constexpr float kMinWindowLikeness = 0.6F;
constexpr size_t kMaxPlaces = 64;  // of a loop, those next to the clock's

const int16_t* FrameAt(const PcmView& pcm, size_t frame) {
    return pcm.samples + frame * pcm.channels;
}

bool Equal(const PcmView& a, size_t aFrame, const PcmView& b, size_t bFrame, size_t count) {
    return std::memcmp(FrameAt(a, aFrame), FrameAt(b, bFrame),
                       count * a.channels * sizeof(int16_t)) == 0;
}

// How many frames before these two places are equal, at most so many.
size_t EqualBefore(const PcmView& a, size_t aEnd, const PcmView& b, size_t bEnd, size_t most) {
    most = std::min({most, aEnd, bEnd});
    size_t count = 0;
    while (count < most && Equal(a, aEnd - 1 - count, b, bEnd - 1 - count, 1)) ++count;
    return count;
}

size_t ChangesBefore(const PcmView& pcm, size_t end, size_t frames) {
    size_t changes = 0;
    for (size_t i = end - frames + 1; i < end; ++i) changes += Equal(pcm, i, pcm, i - 1, 1) ? 0 : 1;
    return changes;
}

// The end of the next place at or after `from` that equals the anchor; `pcm.frames` + 1 for none.
size_t NextAnchor(const SplicePattern& pattern, const PcmView& pcm, size_t from) {
    const size_t anchor = pattern.anchorEnd - kAnchorFrames;
    const int16_t first = *FrameAt(pattern.history, anchor);
    for (size_t end = std::max(from, kAnchorFrames); end <= pcm.frames; ++end) {
        const size_t start = end - kAnchorFrames;
        if (*FrameAt(pcm, start) == first &&
            Equal(pattern.history, anchor, pcm, start, kAnchorFrames)) {
            return end;
        }
    }
    return pcm.frames + 1;
}

bool Repeats(const SplicePattern& pattern) {
    const PcmView before{pattern.history.samples, pattern.anchorEnd - 1, pattern.history.channels};
    for (size_t end = NextAnchor(pattern, before, 0); end <= before.frames;
         end = NextAnchor(pattern, before, end + 1)) {
        const size_t most = std::min(kMinEqualFrames, end);
        if (EqualBefore(pattern.history, pattern.anchorEnd, before, end, most) == most) return true;
    }
    return false;
}

struct EqualPlace {
    size_t next;
    bool complete;  // equal back to where either begins
};

// Of the place where the anchor ends in the beginning; nothing when too little is equal there.
std::optional<EqualPlace> EqualPlaceAt(const SplicePattern& pattern, const PcmView& beginning,
                                       size_t anchorEnd) {
    const size_t tail = pattern.end - pattern.anchorEnd;
    if (beginning.frames - anchorEnd < tail ||
        !Equal(pattern.history, pattern.anchorEnd, beginning, anchorEnd, tail)) {
        return std::nullopt;
    }
    const size_t equal = EqualBefore(pattern.history, pattern.anchorEnd, beginning, anchorEnd,
                                     pattern.history.frames);
    if (equal < kMinEqualFrames) return std::nullopt;
    const size_t until = std::min(anchorEnd, pattern.anchorEnd) - equal;
    return EqualPlace{anchorEnd + tail, until <= kMaxWarmUpFrames};
}

// Those at or after `from`, at most kMaxPlaces, next to `expected` where that is known.
std::vector<EqualPlace> EqualPlaces(const SplicePattern& pattern, const PcmView& beginning,
                                    std::optional<int64_t> expected) {
    std::vector<size_t> ends;
    for (size_t end = NextAnchor(pattern, beginning, 0); end <= beginning.frames;
         end = NextAnchor(pattern, beginning, end + 1)) {
        ends.push_back(end);
    }
    if (expected && ends.size() > kMaxPlaces) {
        const auto tail = static_cast<int64_t>(pattern.end - pattern.anchorEnd);
        const auto distance = [&](size_t end) {
            return std::llabs(static_cast<int64_t>(end) + tail - *expected);
        };
        std::sort(ends.begin(), ends.end(),
                  [&](size_t a, size_t b) { return distance(a) < distance(b); });
    }
    ends.resize(std::min(ends.size(), kMaxPlaces));
    std::vector<EqualPlace> places;
    for (const size_t end : ends) {
        const auto place = EqualPlaceAt(pattern, beginning, end);
        if (place) places.push_back(*place);
    }
    return places;
}

int64_t DistanceOf(size_t next, int64_t expected) {
    return std::llabs(static_cast<int64_t>(next) - expected);
}

bool IsWithin(size_t next, std::optional<int64_t> expected, double seconds, uint32_t rate) {
    return expected && static_cast<double>(DistanceOf(next, *expected)) <= seconds * rate;
}

// Of all channels, with weights of their own, so that none cancels another.
std::vector<float> MixDown(const PcmView& pcm, size_t first, size_t end) {
    std::vector<float> mix(end - first);
    for (size_t i = 0; i < mix.size(); ++i) {
        const int16_t* frame = FrameAt(pcm, first + i);
        float weight = 1.0F;
        for (uint16_t channel = 0; channel < pcm.channels; ++channel, weight *= 0.7F) {
            mix[i] += weight * frame[channel];
        }
    }
    return mix;
}

// Whether what comes before this place and what was heard are alike as far back as both go, but
// for a damaged part or a decoder's beginning.
bool IsAlikeThroughout(const SplicePattern& pattern, const PcmView& beginning, size_t next,
                       uint32_t rate) {
    const size_t length = rate / 2;
    const size_t overlap = std::min(next, pattern.end);
    size_t windows = 0, alike = 0;
    for (size_t back = length; back <= overlap; back += length) {
        const auto heard =
            MixDown(pattern.history, pattern.end - back, pattern.end - back + length);
        const auto again = MixDown(beginning, next - back, next - back + length);
        const auto likeness = Correlate(heard, again);
        ++windows;
        if (likeness.empty() || likeness.front() >= kMinWindowLikeness) ++alike;
    }
    return alike * 10 >= windows * 9;
}

std::optional<Joint> FindEqualJoint(const SplicePattern& pattern, const PcmView& beginning,
                                    uint32_t rate, std::optional<int64_t> expected) {
    if (!pattern.usable) return std::nullopt;
    std::vector<EqualPlace> places = EqualPlaces(pattern, beginning, expected);
    if (places.empty()) return std::nullopt;
    const bool unique = places.size() == 1 && !pattern.repeats;
    if (unique &&
        (places[0].complete || IsAlikeThroughout(pattern, beginning, places[0].next, rate))) {
        return Joint{places[0].next, true};
    }
    if (!expected) return std::nullopt;
    // A place that is equal throughout goes before one that is not.
    const auto best = std::min_element(
        places.begin(), places.end(), [&](const EqualPlace& a, const EqualPlace& b) {
            if (a.complete != b.complete) return a.complete;
            return DistanceOf(a.next, *expected) < DistanceOf(b.next, *expected);
        });
    if (!IsWithin(best->next, expected, kMaxClockErrorSeconds, rate)) return std::nullopt;
    return Joint{best->next, unique};
}

struct AlikePlace {
    size_t at;
    float likeness;
};

// Whatever rises up to the border belongs to a peak beyond it.
std::vector<AlikePlace> Peaks(const std::vector<float>& likeness, float least) {
    std::vector<AlikePlace> peaks;
    for (size_t i = 1; i + 1 < likeness.size(); ++i) {
        const bool isPeak = likeness[i] > likeness[i - 1] && likeness[i] >= likeness[i + 1];
        if (likeness[i] >= least && isPeak) peaks.push_back({i, likeness[i]});
    }
    return peaks;
}

struct AlikeRule {
    double seconds;      // how long the pattern is
    float minLikeness;   // at the place itself
    double minContrast;  // what differs at another place, in terms of what differs there
    bool nextToClock;    // it must lie near where the clock has it
};
// The short one is for a beginning that reaches back only so far.
constexpr AlikeRule kAlikeRules[] = {
    {0.5, 0.8F, 2.5, false}, {0.25, 0.85F, 4.0, true}, {0.15, 0.95F, 8.0, true}};
constexpr double kLeastDifference = 1e-4;  // below it rounding and dither decide

bool CanBeTakenFor(float other, float best, const AlikeRule& rule) {
    return 1.0 - other < rule.minContrast * std::max(1.0 - best, kLeastDifference);
}

std::optional<Joint> FindAlikeJoint(const SplicePattern& pattern, const PcmView& beginning,
                                    const AlikeRule& rule, uint32_t rate,
                                    std::optional<int64_t> expected) {
    const auto length = static_cast<size_t>(rule.seconds * rate);
    if (length == 0 || pattern.end < length || beginning.frames < length) return std::nullopt;
    const std::vector<float> sought = MixDown(pattern.history, pattern.end - length, pattern.end);
    std::vector<AlikePlace> places =
        Peaks(Correlate(sought, MixDown(beginning, 0, beginning.frames)), 0.5F);
    if (places.empty()) return std::nullopt;
    const float best = std::max_element(places.begin(), places.end(), [](auto& a, auto& b) {
                           return a.likeness < b.likeness;
                       })->likeness;
    if (best < rule.minLikeness) return std::nullopt;
    std::erase_if(places, [&](auto& place) { return !CanBeTakenFor(place.likeness, best, rule); });

    const std::vector<AlikePlace> own =
        Peaks(Correlate(sought, MixDown(pattern.history, 0, pattern.end - 1)), 0.5F);
    const bool repeats = std::any_of(own.begin(), own.end(), [&](const AlikePlace& place) {
        return CanBeTakenFor(place.likeness, best, rule);
    });
    const auto nextOf = [&](const AlikePlace& place) { return place.at + length; };
    const bool unique = places.size() == 1 && !repeats;
    if (unique && !rule.nextToClock &&
        IsAlikeThroughout(pattern, beginning, nextOf(places[0]), rate)) {
        return Joint{nextOf(places[0]), false};
    }
    if (!expected) return std::nullopt;
    const auto nearest = std::min_element(places.begin(), places.end(), [&](auto& a, auto& b) {
        return DistanceOf(nextOf(a), *expected) < DistanceOf(nextOf(b), *expected);
    });
    const double error = unique ? kMaxShortPatternErrorSeconds : kMaxClockErrorSeconds;
    if (!IsWithin(nextOf(*nearest), expected, error, rate)) return std::nullopt;
    return Joint{nextOf(*nearest), false};
}

}  // namespace

SplicePattern MakeSplicePattern(const PcmView& history, size_t end, uint32_t rate) {
    SplicePattern pattern{.history = history, .end = end, .anchorEnd = end};
    pattern.brief = static_cast<double>(end) < kBriefSeconds * rate;
    size_t& anchor = pattern.anchorEnd;
    while (anchor > 1 && Equal(history, anchor - 1, history, anchor - 2, 1)) --anchor;
    pattern.usable =
        anchor >= kMinEqualFrames && ChangesBefore(history, anchor, kMinEqualFrames) >= kMinChanges;
    pattern.repeats = pattern.usable && Repeats(pattern);
    return pattern;
}

std::optional<Joint> FindSureJoint(const SplicePattern& pattern, const PcmView& beginning,
                                   size_t from) {
    if (!pattern.usable || pattern.repeats || pattern.brief) return std::nullopt;
    for (size_t end = NextAnchor(pattern, beginning, from); end <= beginning.frames;
         end = NextAnchor(pattern, beginning, end + 1)) {
        const auto place = EqualPlaceAt(pattern, beginning, end);
        if (place && place->complete) return Joint{place->next, true};
    }
    return std::nullopt;
}

std::optional<Joint> FindJoint(const SplicePattern& pattern, const PcmView& beginning,
                               uint32_t rate, std::optional<int64_t> expected) {
    auto joint = FindEqualJoint(pattern, beginning, rate, expected);
    for (const AlikeRule& rule : kAlikeRules) {
        if (joint) break;
        joint = FindAlikeJoint(pattern, beginning, rule, rate, expected);
    }
    return joint;
}

}  // namespace receiver
