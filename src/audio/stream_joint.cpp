#include "audio/stream_joint.h"

#include <algorithm>
#include <cmath>

namespace receiver {
namespace {

constexpr size_t kHistorySeconds = 30;
constexpr size_t kBeginningSeconds = 90;
constexpr size_t kMaxHistoryBytes = size_t{32} << 20;
// A server that is still sending old audio after that is taken at the clock's word.
constexpr uint64_t kMaxSearchMs = 60000;

constexpr size_t kMinNewSeconds = 1;

// What the sender's time and ours may differ in as long as both speak of one broadcast: with
// segments and long pages, what arrives tells little of when it was sent.
constexpr double kMaxDisagreementMs = 10000.0;
// Who counts anew for every listener lets all connections begin at one time.
constexpr double kMinAdvanceMs = 50.0;

size_t FramesIn(size_t seconds, size_t maxBytes, const ConnectionFormat& format) {
    return std::min(seconds * format.sampleRate, maxBytes / (format.channels * sizeof(int16_t)));
}

class Joining final {
public:
    Joining(const HeardStream& heard, LiveConnection& connection,
            const std::function<uint64_t()>& nowMs)
        : heard_(heard),
          connection_(connection),
          nowMs_(nowMs),
          rate_(connection.Format().sampleRate),
          channels_(connection.Format().channels),
          maxFrames_(FramesIn(kBeginningSeconds, 3 * kMaxHistoryBytes, connection.Format())),
          pattern_(MakeSplicePattern(heard.history, heard.history.frames - Held(), rate_)),
          giveUpMs_(nowMs() + kMaxSearchMs) {}

    std::optional<StreamJoint> Run() {
        for (;;) {
            const bool over = connection_.Read(beginning_) <= 0;
            if (!place_) place_ = Search(over);
            if (place_ && HasMore()) return TakeJoint();
            if (over) return std::nullopt;
        }
    }

private:
    struct Place {
        size_t next;  // in the beginning as far as it is kept
        uint64_t at;  // of the stream
        uint64_t missing = 0;
        bool found = false;
        bool exact = false;
    };

    // Beyond what was heard, not only beyond the joint, which may lie before its end.
    bool HasMore() const {
        return Frames() > place_->next + static_cast<size_t>(heard_.end - place_->at);
    }

    // A history that is all held back is better than none.
    size_t Held() const { return std::min(heard_.held, heard_.history.frames); }
    size_t Frames() const { return beginning_.size() / channels_; }
    PcmView Beginning() const { return {beginning_.data(), Frames(), channels_}; }

    std::optional<Place> Search(bool over) {
        if (Frames() > 0 && !heard_.clock.HasBegun()) return Place{.next = 0, .at = heard_.end};
        const bool last = over || connection_.Clock().HasSettled() || nowMs_() >= giveUpMs_;
        if (!last && Frames() < scanned_ + rate_ / 10) return std::nullopt;
        std::optional<Place> place = SearchSure();
        if (place || Frames() == 0) return place;
        if (last) return Decide(over);
        if (Frames() >= maxFrames_) {
            place = SearchPattern(pattern_, Held(), std::nullopt);
            if (!place) DropOldest();
        }
        return place;
    }

    std::optional<Place> SearchSure() {
        const size_t tail = pattern_.end - pattern_.anchorEnd;
        const auto joint =
            FindSureJoint(pattern_, Beginning(), scanned_ - std::min(scanned_, tail));
        scanned_ = Frames();
        return joint ? PlaceOf(*joint, Held()) : std::nullopt;
    }

    std::optional<Place> SearchPattern(const SplicePattern& pattern, size_t before,
                                       std::optional<int64_t> expected) const {
        const auto joint = FindJoint(pattern, Beginning(), rate_, expected);
        return joint ? PlaceOf(*joint, before) : std::nullopt;
    }

    // The joint is so much before the end of what was heard.
    std::optional<Place> PlaceOf(const Joint& joint, size_t before) const {
        return Place{
            .next = joint.next, .at = heard_.end - before, .found = true, .exact = joint.exact};
    }

    // With all that the connection gives of the past; of one that is over that may be too little.
    std::optional<Place> Decide(bool over) const {
        const int64_t start = heard_.base + std::llround(StartMs() * rate_ / 1e3);
        // In the kept part: where the end of what was heard is to be expected.
        const int64_t expected =
            static_cast<int64_t>(heard_.end) - start - static_cast<int64_t>(dropped_);
        auto place = SearchPattern(pattern_, Held(), expected - static_cast<int64_t>(Held()));
        if (!place && Held() > 0) {
            // It may reach back only into what is held.
            const PcmView& history = heard_.history;
            place = SearchPattern(MakeSplicePattern(history, history.frames, rate_), 0, expected);
        }
        if (place || (over && !IsNew())) return place;
        if (expected < 0) return Place{0, heard_.end, static_cast<uint64_t>(-expected)};
        return Place{std::min(static_cast<size_t>(expected), Frames()), heard_.end};
    }

    // Where the connection's first frame lies in the last one: to the sample by the sender's time,
    // if that is to be believed, otherwise by when what has arrived.
    double StartMs() const {
        const double byClock = heard_.clock.StartOfNext(connection_.Clock());
        const std::optional<double> time = connection_.TimeOfStart();
        if (!heard_.timeOfStart || !time) return byClock;
        const double byTime = (*time - *heard_.timeOfStart) * 1000.0;
        const bool isBelieved =
            std::abs(byTime) >= kMinAdvanceMs && std::abs(byTime - byClock) <= kMaxDisagreementMs;
        return isBelieved ? byTime : byClock;
    }

    // Whether a beginning without an end goes beyond what was heard. Too little of it to tell
    // is not: the next connection brings it again.
    bool IsNew() const {
        if (Frames() < kMinNewSeconds * rate_) return false;
        const SplicePattern end = MakeSplicePattern(Beginning(), Frames(), rate_);
        return !FindJoint(end, heard_.history, rate_, std::nullopt);
    }

    // What was heard may still come: enough is left to recognise it by.
    void DropOldest() {
        const size_t drop = Frames() - std::min(Frames(), maxFrames_ / 3);
        beginning_.erase(beginning_.begin(),
                         beginning_.begin() + static_cast<std::ptrdiff_t>(drop * channels_));
        dropped_ += drop;
        scanned_ -= drop;
    }

    StreamJoint TakeJoint() {
        StreamJoint joint;
        joint.found = place_->found;
        joint.exact = place_->exact;
        joint.at = place_->at;
        joint.missingFrames = place_->missing;
        joint.repeatedFrames = dropped_ + place_->next;
        joint.base = static_cast<int64_t>(joint.at + joint.missingFrames) -
                     static_cast<int64_t>(joint.repeatedFrames);
        beginning_.erase(beginning_.begin(), beginning_.begin() + static_cast<std::ptrdiff_t>(
                                                                      place_->next * channels_));
        joint.rest = std::move(beginning_);
        return joint;
    }

    const HeardStream& heard_;
    LiveConnection& connection_;
    const std::function<uint64_t()>& nowMs_;
    const uint32_t rate_;
    const uint16_t channels_;
    const size_t maxFrames_;
    const SplicePattern pattern_;
    const uint64_t giveUpMs_;
    std::vector<int16_t> beginning_;  // what is kept of it
    uint64_t dropped_ = 0;            // of its frames
    size_t scanned_ = 0;              // the sure search has seen these
    std::optional<Place> place_;
};

}  // namespace

size_t MaxHistoryFrames(const ConnectionFormat& format) {
    return FramesIn(kHistorySeconds, kMaxHistoryBytes, format);
}

std::optional<StreamJoint> JoinStream(const HeardStream& heard, LiveConnection& connection,
                                      const std::function<uint64_t()>& nowMs) {
    return Joining(heard, connection, nowMs).Run();
}

}  // namespace receiver
