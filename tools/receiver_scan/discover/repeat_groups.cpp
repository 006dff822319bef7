#include "receiver_scan/discover/repeat_groups.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <numeric>

#include "detect/audio_fingerprinter.h"
#include "receiver_scan/discover/repeat_pairs.h"
#include "receiver_scan/discover/same_recording.h"
#include "receiver_scan/discover/stretch_edges.h"
#include "receiver_scan/discover/stretch_likeness.h"
#include "receiver_scan/discover/template_search.h"

namespace receiver {
namespace {

// A word tells of the middle of its frame; a change of the audio lies between two of them.
constexpr double kEdgeSeconds = 0.186 - kHopSeconds / 2;
// A stretch is found too short rather than too long before its edges are known.
constexpr double kShortestTolerance = 0.15;
constexpr size_t kMostVoters = 15;
// By so much an edge may be wrong: half a frame.
constexpr int64_t kUncertainWords = 15;
constexpr int kQuietBelowDb = 38;
constexpr int64_t kSameOffsetWords = 12;
constexpr uint32_t kExplainedRestWords = 40;
// What is like itself after this is a held tone or hum.
constexpr size_t kSteadyShiftWords = 40;
constexpr double kSteadyBer = 0.2;

struct Found {
    std::vector<Place> places;  // in their order
    uint32_t length = 0;
};

// Words within [begin, end) that the places of `group` cover, each together with its
// counterpart `lag` later.
uint32_t CoveredWords(const Found& group, uint32_t begin, uint32_t end, uint32_t lag) {
    uint32_t covered = 0;
    const auto isBefore = [](const Place& place, int64_t word) { return place.word < word; };
    auto place = std::lower_bound(group.places.begin(), group.places.end(),
                                  int64_t{begin} - group.length, isBefore);
    for (; place != group.places.end() && place->word < end; ++place) {
        const int64_t there = int64_t{place->word} + lag;
        const auto counterpart = std::lower_bound(group.places.begin(), group.places.end(),
                                                  there - kSameOffsetWords, isBefore);
        if (counterpart == group.places.end() || counterpart->word > there + kSameOffsetWords) {
            continue;
        }
        const uint32_t from = std::max(begin, place->word);
        const uint32_t to = std::min(end, place->word + group.length);
        if (to > from) covered += to - from;
    }
    return covered;
}

class Grouping final {
public:
    Grouping(std::span<const uint32_t> words, std::span<const int8_t> levelsDb,
             const GroupingLimits& limits)
        : words_(words), levelsDb_(levelsDb), limits_(limits) {}

    void Take(const Repeat& repeat) {
        if (IsExplained(repeat)) return;
        Found group;
        group.length = repeat.words;
        std::vector<uint32_t> stretch(words_.begin() + repeat.first,
                                      words_.begin() + repeat.first + repeat.words);
        // Twice: what the first look finds gives a better idea of what to look for.
        for (int look = 0; look < 2; ++look) {
            group.places = FindPlaces(stretch, words_, limits_.threads);
            if (group.places.size() < 2) return;
            Refine(group);
            if (group.length < kMinStretchWords) return;
            stretch = Consensus(group);
        }
        group.places = FindPlaces(stretch, words_, limits_.threads);
        if (group.places.size() < 2 || !IsWorthwhile(group)) return;
        found_.push_back(std::move(group));
    }

    Groups Finish() {
        Groups groups;
        for (const Found& group : found_) {
            if (IsPartOfAnother(group)) continue;
            RepeatGroup result = Describe(group);
            if (result.seconds < limits_.shortest - kShortestTolerance) continue;
            auto& list = result.seconds > limits_.longest ? groups.longer : groups.repeated;
            list.push_back(std::move(result));
        }
        return groups;
    }

private:
    bool IsExplained(const Repeat& repeat) const {
        const uint32_t end = repeat.first + repeat.words;
        const uint32_t lag = repeat.second - repeat.first;
        uint32_t covered = 0;
        for (const Found& group : found_) {
            covered += CoveredWords(group, repeat.first, end, lag);
            if (covered + std::max(kExplainedRestWords, repeat.words * 3 / 10) >= repeat.words) {
                return true;
            }
        }
        return IsWithinLonger(repeat.first, repeat.words) &&
               IsWithinLonger(repeat.second, repeat.words);
    }

    // Most of it belongs to a song that is heard again.
    bool IsWithinLonger(uint32_t begin, uint32_t length) const {
        const auto longest = static_cast<uint32_t>(limits_.longest / kHopSeconds);
        return std::any_of(found_.begin(), found_.end(), [&](const Found& group) {
            if (group.length <= longest) return false;
            return std::any_of(group.places.begin(), group.places.end(), [&](const Place& place) {
                const uint32_t from = std::max(begin, place.word);
                const uint32_t to = std::min(begin + length, place.word + group.length);
                return to > from && (to - from) * 10 >= length * 8;
            });
        });
    }

    void Refine(Found& group) const {
        std::vector<Place> byClearness = group.places;
        std::stable_sort(byClearness.begin(), byClearness.end(),
                         [](const Place& a, const Place& b) { return a.ber < b.ber; });
        std::vector<uint32_t> places;
        places.reserve(byClearness.size());
        for (const Place& place : byClearness) places.push_back(place.word);
        StretchEdges edges = FindEdges(words_, places, group.length);
        TrimQuiet(places, group.length, edges);
        for (Place& place : group.places) {
            place.word = static_cast<uint32_t>(std::max<int64_t>(0, place.word + edges.begin));
        }
        group.length = static_cast<uint32_t>(std::max<int64_t>(0, edges.end - edges.begin));
        while (!group.places.empty() && group.places.back().word + group.length > words_.size()) {
            group.places.pop_back();
        }
        if (group.places.empty()) group.length = 0;
    }

    int LevelAt(int64_t word) const {
        return word >= 0 && word < static_cast<int64_t>(levelsDb_.size())
                   ? levelsDb_[static_cast<size_t>(word)]
                   : 0;
    }

    // The common level of the stretch at a place.
    int MedianLevel(uint32_t place, uint32_t length) const {
        std::vector<int8_t> levels(levelsDb_.begin() + place, levelsDb_.begin() + place + length);
        const auto middle = levels.begin() + static_cast<std::ptrdiff_t>(length / 2);
        std::nth_element(levels.begin(), middle, levels.end());
        return *middle;
    }

    // A pause before or behind it looks like part of it, since a frame hears nothing in it but
    // the stretch itself. Where one playing is quiet, the recording is.
    void TrimQuiet(const std::vector<uint32_t>& places, uint32_t length,
                   StretchEdges& edges) const {
        std::vector<int> quietDb;
        quietDb.reserve(places.size());
        for (const uint32_t place : places) {
            quietDb.push_back(std::max(MedianLevel(place, length) - kQuietBelowDb, kSilentLevelDb));
        }
        const auto isQuiet = [&](int64_t word) {
            for (size_t i = 0; i < places.size(); ++i) {
                if (LevelAt(places[i] + word) < quietDb[i]) return true;
            }
            return false;
        };
        for (int64_t word = edges.begin; word < edges.begin + kUncertainWords; ++word) {
            while (word < edges.end && isQuiet(word)) edges.begin = ++word;
        }
        for (int64_t word = edges.end; word > edges.end - kUncertainWords; --word) {
            while (word > edges.begin && isQuiet(word - 1)) edges.end = --word;
        }
    }

    // What most occurrences have in each bit; of two, the first.
    std::vector<uint32_t> Consensus(const Found& group) const {
        const size_t voters = std::min(group.places.size(), kMostVoters);
        std::vector<uint32_t> consensus(group.length);
        for (uint32_t word = 0; word < group.length; ++word) {
            if (voters < 3) {
                consensus[word] = words_[group.places.front().word + word];
                continue;
            }
            std::array<uint8_t, 32> votes{};
            for (size_t voter = 0; voter < voters; ++voter) {
                const uint32_t bits = words_[group.places[voter].word + word];
                for (unsigned bit = 0; bit < 32; ++bit) {
                    votes[bit] = static_cast<uint8_t>(votes[bit] + ((bits >> bit) & 1u));
                }
            }
            for (unsigned bit = 0; bit < 32; ++bit) {
                if (size_t{2} * votes[bit] > voters) consensus[word] |= 1u << bit;
            }
        }
        return consensus;
    }

    bool IsWorthwhile(const Found& group) const {
        const uint32_t begin = group.places.front().word;
        const size_t silent = static_cast<size_t>(
            std::count_if(levelsDb_.begin() + begin, levelsDb_.begin() + begin + group.length,
                          [](int8_t level) { return level < kSilentLevelDb; }));
        if (silent * 2 > group.length) return false;
        if (group.length > 2 * kSteadyShiftWords &&
            CompareStretches(&words_[begin], &words_[begin + kSteadyShiftWords],
                             group.length - kSteadyShiftWords)
                    .ber <= kSteadyBer) {
            return false;
        }
        std::vector<uint32_t> places;
        places.reserve(group.places.size());
        for (const Place& place : group.places) places.push_back(place.word);
        return HasSurePair(words_, places, group.length);
    }

    // Whether it is only ever heard inside another one, always at the same place; of two that
    // are inside each other, the first found stays.
    bool IsPartOfAnother(const Found& group) const {
        return std::any_of(found_.begin(), found_.end(), [&](const Found& other) {
            if (&other == &group || !IsPartOf(group, other)) return false;
            return &other < &group || !IsPartOf(other, group);
        });
    }

    static bool IsPartOf(const Found& group, const Found& other) {
        return std::all_of(group.places.begin(), group.places.end(), [&](const Place& place) {
            return std::any_of(other.places.begin(), other.places.end(), [&](const Place& whole) {
                return place.word + kSameOffsetWords >= whole.word &&
                       place.word + group.length <= whole.word + other.length + kSameOffsetWords;
            });
        });
    }

    RepeatGroup Describe(const Found& group) const {
        RepeatGroup result;
        // A tail dies away beneath what follows a little before it is over.
        result.seconds = (group.length + 1) * kHopSeconds;
        for (const Place& place : group.places) {
            result.occurrences.push_back(
                {place.word * kHopSeconds + kEdgeSeconds, static_cast<double>(place.ber)});
        }
        const auto clearest =
            std::min_element(group.places.begin(), group.places.end(),
                             [](const Place& a, const Place& b) { return a.ber < b.ber; });
        result.clearest = static_cast<size_t>(clearest - group.places.begin());
        return result;
    }

    const std::span<const uint32_t> words_;
    const std::span<const int8_t> levelsDb_;
    const GroupingLimits& limits_;
    std::vector<Found> found_;
};

}  // namespace

Groups GroupRepeats(std::span<const uint32_t> words, std::span<const int8_t> levelsDb,
                    std::vector<Repeat> repeats, const GroupingLimits& limits) {
    repeats = JoinPieces(std::move(repeats));
    std::erase_if(repeats, [](const Repeat& repeat) {
        return !IsSameRecording({repeat.ber, repeat.clearShare}, repeat.words);
    });
    SortByCredibility(repeats, static_cast<size_t>(limits.longest / kHopSeconds));
    Grouping grouping(words, levelsDb, limits);
    for (const Repeat& repeat : repeats) {
        if (limits.stop && limits.stop()) break;
        grouping.Take(repeat);
    }
    return grouping.Finish();
}

}  // namespace receiver
