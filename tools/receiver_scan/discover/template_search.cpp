#include "receiver_scan/discover/template_search.h"

#include <algorithm>
#include <iterator>
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

class Search final {
public:
    Search(std::span<const uint32_t> stretch, std::span<const uint32_t> words)
        : stretch_(stretch),
          words_(words),
          most_(BitsOf(MaxPlayingBer(stretch.size()), stretch.size())) {
        if (stretch.size() < 2 * kProbeWords) return;
        const size_t room = stretch.size() - kProbeWords;
        for (size_t i = 0; i < kProbes; ++i) probes_.push_back(room * i / (kProbes - 1));
    }

    // Of the places from `begin` up to `end`.
    std::vector<Place> Between(size_t begin, size_t end) const {
        std::vector<Place> found;
        for (size_t at = begin; at < end; ++at) {
            if (!MayBeAt(at)) continue;
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
    bool MayBeAt(size_t at) const {
        if (probes_.empty()) return true;
        const uint64_t most = BitsOf(kMaxProbeBer, kProbeWords);
        return std::any_of(probes_.begin(), probes_.end(), [&](size_t probe) {
            return DifferingBits(&stretch_[probe], &words_[at + probe], kProbeWords, most) <= most;
        });
    }

    const std::span<const uint32_t> stretch_;
    const std::span<const uint32_t> words_;
    const uint64_t most_;
    std::vector<size_t> probes_;
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
