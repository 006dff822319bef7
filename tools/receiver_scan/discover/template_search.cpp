#include "receiver_scan/discover/template_search.h"

#include <algorithm>
#include <bit>
#include <iterator>
#include <limits>
#include <thread>

#include "detect/hamming.h"
#include "platform/thread_name.h"
#include "receiver_scan/discover/stretch_likeness.h"

namespace receiver {
namespace {

constexpr double kBitsPerWord = 32.0;
// A long stretch is looked for by parts of it first: each is enough to be sure, and a voice
// does not lie over all.
constexpr size_t kProbeWords = 128;
constexpr size_t kProbes = 4;
constexpr double kMaxProbeBer = 0.30;
constexpr size_t kMinSpanWords = 1 << 16;

uint64_t BitsOf(double ber, size_t words) {
    return static_cast<uint64_t>(ber * kBitsPerWord * static_cast<double>(words));
}

// Neighbouring words differ in few bits: from one place to the next a count of differing bits
// falls by no more than the bits that change on the way. So where it is far too high, the next
// places need not be looked at.
class ChangedBits final {
public:
    // Of `count` words from `begin` on.
    ChangedBits(std::span<const uint32_t> words, size_t begin, size_t count)
        : begin_(begin), until_(count, 0) {
        for (size_t i = 1; i < count; ++i) {
            const int changed = std::popcount(words[begin + i] ^ words[begin + i - 1]);
            until_[i] = until_[i - 1] + static_cast<uint64_t>(changed);
        }
    }
    // When a window of so many words moves from `at` to the word behind.
    uint64_t Moving(size_t at, size_t windowWords) const {
        return until_[at - begin_ + windowWords] - until_[at - begin_];
    }

private:
    const size_t begin_;
    std::vector<uint64_t> until_;
};

// A part of the stretch, or all of it, that is looked for from place to place.
class Window final {
public:
    Window(std::span<const uint32_t> part, size_t offset, double maxBer)
        : part_(part), offset_(offset), most_(BitsOf(maxBer, part.size())) {}

    // Whether it is alike where the stretch begins at `at`. Asked of ascending places below
    // `end`.
    bool IsAt(size_t at, std::span<const uint32_t> words, const ChangedBits& changed, size_t end) {
        if (at < notBefore_) return false;
        const uint64_t bits = DifferingBits(part_.data(), &words[at + offset_], part_.size(),
                                            std::numeric_limits<uint64_t>::max());
        if (bits <= most_) return true;
        uint64_t tooMany = bits - most_;
        for (notBefore_ = at + 1; notBefore_ < end; ++notBefore_) {
            const uint64_t fewer = changed.Moving(notBefore_ - 1 + offset_, part_.size());
            if (fewer >= tooMany) break;
            tooMany -= fewer;
        }
        return false;
    }

private:
    const std::span<const uint32_t> part_;
    const size_t offset_;
    const uint64_t most_;
    size_t notBefore_ = 0;
};

class Search final {
public:
    Search(std::span<const uint32_t> stretch, std::span<const uint32_t> words)
        : stretch_(stretch),
          words_(words),
          most_(BitsOf(MaxPlayingBer(stretch.size()), stretch.size())) {}

    // Of the places from `begin` up to `end`.
    std::vector<Place> Between(size_t begin, size_t end) const {
        // The last place's last word is the last that may be looked at.
        const ChangedBits changed(words_, begin, end - begin + stretch_.size() - 1);
        std::vector<Window> windows = Windows();
        std::vector<Place> found;
        for (size_t at = begin; at < end; ++at) {
            if (std::none_of(windows.begin(), windows.end(), [&](Window& window) {
                    return window.IsAt(at, words_, changed, end);
                })) {
                continue;
            }
            const uint64_t bits =
                DifferingBits(stretch_.data(), &words_[at], stretch_.size(), most_);
            if (bits > most_) continue;
            const StretchLikeness likeness =
                CompareStretches(stretch_.data(), &words_[at], stretch_.size());
            if (!IsAnotherPlaying(likeness, stretch_.size())) continue;
            found.push_back({static_cast<uint32_t>(at), static_cast<float>(likeness.ber)});
        }
        return found;
    }

private:
    std::vector<Window> Windows() const {
        if (stretch_.size() < 2 * kProbeWords) {
            return {Window(stretch_, 0, MaxPlayingBer(stretch_.size()))};
        }
        const size_t room = stretch_.size() - kProbeWords;
        std::vector<Window> probes;
        probes.reserve(kProbes);
        for (size_t i = 0; i < kProbes; ++i) {
            const size_t offset = room * i / (kProbes - 1);
            probes.emplace_back(stretch_.subspan(offset, kProbeWords), offset, kMaxProbeBer);
        }
        return probes;
    }

    const std::span<const uint32_t> stretch_;
    const std::span<const uint32_t> words_;
    const uint64_t most_;
};

std::vector<Place> BestOfOverlapping(std::vector<Place> places, size_t length) {
    std::stable_sort(places.begin(), places.end(),
                     [](const Place& a, const Place& b) { return a.ber < b.ber; });
    std::vector<Place> kept;  // in the order of their words
    for (const Place& place : places) {
        const auto after =
            std::lower_bound(kept.begin(), kept.end(), place.word,
                             [](const Place& other, uint32_t word) { return other.word < word; });
        const size_t least = length / 2;
        if (after != kept.end() && after->word - place.word < least) continue;
        if (after != kept.begin() && place.word - std::prev(after)->word < least) continue;
        kept.insert(after, place);
    }
    return kept;
}

}  // namespace

std::vector<Place> FindPlaces(std::span<const uint32_t> stretch, std::span<const uint32_t> words,
                              unsigned threads) {
    if (stretch.size() > words.size()) return {};
    const Search search(stretch, words);
    const size_t places = words.size() - stretch.size() + 1;
    const size_t count = std::clamp<size_t>(places / kMinSpanWords, 1, std::max(threads, 1u));
    std::vector<std::vector<Place>> found(count);
    {
        std::vector<std::jthread> workers;
        for (size_t i = 1; i < count; ++i) {
            workers.emplace_back([&, i] {
                SetCurrentThreadName("places");
                found[i] = search.Between(places * i / count, places * (i + 1) / count);
            });
        }
        found[0] = search.Between(0, places / count);
    }
    std::vector<Place> all;
    for (const std::vector<Place>& part : found) all.insert(all.end(), part.begin(), part.end());
    return BestOfOverlapping(std::move(all), stretch.size());
}

}  // namespace receiver
