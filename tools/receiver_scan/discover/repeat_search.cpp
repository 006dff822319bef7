#include "receiver_scan/discover/repeat_search.h"

#include <algorithm>
#include <array>
#include <bit>
#include <thread>

#include "detect/hamming.h"
#include "platform/thread_name.h"
#include "receiver_scan/discover/half_word_index.h"
#include "receiver_scan/discover/stretch_likeness.h"

namespace receiver {
namespace {

// Around a place where half a word agrees, so many words decide whether to follow it up.
constexpr size_t kProbeWords = 32;
constexpr uint64_t kMaxProbeBits = 290;  // 0.28 of them

// Following a diagonal: a word earns what it has fewer of differing bits than this, and loses
// what it has more. By chance 16 differ.
constexpr int kFairBits = 11;
// So much may be lost on the way before the stretch is over: about a second of something else.
constexpr int kMaxLoss = 420;
// What a stretch has to earn: a second of which a fifth of the bits differ.
constexpr int kMinEarned = 200;
constexpr size_t kMinRepeatWords = 48;
// Diagonals beside a found one are alike, too.
constexpr int64_t kDiagonalWidth = 6;
constexpr unsigned kDiagonalsShift = 7;  // a thread has so many (2^n) next to each other

class DiagonalSearch final {
public:
    DiagonalSearch(std::span<const uint32_t> words, const std::vector<bool>& silent,
                   std::span<const HalfWordIndex> indexes, unsigned part, unsigned parts,
                   const std::function<bool()>& stop)
        : words_(words),
          silent_(silent),
          indexes_(indexes),
          part_(part),
          parts_(parts),
          stop_(stop),
          coveredUntil_(words.size() + 2 * kDiagonalWidth + 1, 0) {}

    std::vector<Repeat> Run() {
        for (size_t at = kProbeWords; at + kProbeWords < words_.size(); ++at) {
            if (silent_[at]) continue;
            if (at % 4096 == 0 && stop_ && stop_()) break;
            for (unsigned half = 0; half < indexes_.size(); ++half) {
                const uint16_t key = HalfWordIndex::HalfOf(words_[at], half);
                if (!silent_[at - 1] && HalfWordIndex::HalfOf(words_[at - 1], half) == key) {
                    continue;
                }
                const std::span<const uint32_t> places = indexes_[half].PlacesOf(key);
                const auto first = std::upper_bound(places.begin(), places.end(),
                                                    static_cast<uint32_t>(at + kMinLagWords));
                for (auto place = first; place != places.end(); ++place) Try(at, *place);
            }
        }
        return std::move(found_);
    }

private:
    void Try(size_t at, size_t there) {
        const size_t lag = there - at;
        if ((lag >> kDiagonalsShift) % parts_ != part_) return;
        if (coveredUntil_[lag + kDiagonalWidth] > at) return;
        if (there + kProbeWords / 2 > words_.size()) return;
        const size_t begin = at - kProbeWords / 2;
        if (DifferingBits(&words_[begin], &words_[begin + lag], kProbeWords, kMaxProbeBits) >
            kMaxProbeBits) {
            return;
        }
        Follow(at, BestLag(at, lag));
    }

    // The probe may have hit beside the diagonal.
    size_t BestLag(size_t at, size_t lag) const {
        size_t best = lag;
        uint64_t fewest = UINT64_MAX;
        for (size_t candidate = lag - 3; candidate <= lag + 3; ++candidate) {
            const size_t begin = at - kProbeWords / 2;
            if (begin + candidate + kProbeWords > words_.size()) break;
            const uint64_t bits =
                DifferingBits(&words_[begin], &words_[begin + candidate], kProbeWords, UINT64_MAX);
            if (bits >= fewest) continue;
            fewest = bits;
            best = candidate;
        }
        return best;
    }

    int Earned(size_t at, size_t lag) const {
        return kFairBits - std::popcount(words_[at] ^ words_[at + lag]);
    }

    void Follow(size_t at, size_t lag) {
        size_t end = at;
        int best = 0;
        int sum = 0;
        for (size_t i = at; i + lag < words_.size() && best - sum < kMaxLoss; ++i) {
            sum += Earned(i, lag);
            if (sum <= best) continue;
            best = sum;
            end = i + 1;
        }
        int earned = best;
        size_t begin = at;
        best = 0;
        sum = 0;
        for (size_t i = at; i > 0 && best - sum < kMaxLoss; --i) {
            sum += Earned(i - 1, lag);
            if (sum <= best) continue;
            best = sum;
            begin = i - 1;
        }
        earned += best;
        Cover(lag, end);
        while (begin < end && (silent_[begin] || silent_[begin + lag])) ++begin;
        while (end > begin && (silent_[end - 1] || silent_[end - 1 + lag])) --end;
        if (earned < kMinEarned || end - begin < kMinRepeatWords) return;
        const StretchLikeness likeness =
            CompareStretches(&words_[begin], &words_[begin + lag], end - begin);
        found_.push_back({static_cast<uint32_t>(begin), static_cast<uint32_t>(begin + lag),
                          static_cast<uint32_t>(end - begin), static_cast<float>(likeness.ber),
                          static_cast<float>(likeness.clearShare)});
    }

    void Cover(size_t lag, size_t end) {
        for (size_t near = lag; near <= lag + 2 * kDiagonalWidth; ++near) {
            coveredUntil_[near] = std::max(coveredUntil_[near], static_cast<uint32_t>(end));
        }
    }

    const std::span<const uint32_t> words_;
    const std::vector<bool>& silent_;
    const std::span<const HalfWordIndex> indexes_;
    const unsigned part_;
    const unsigned parts_;
    const std::function<bool()>& stop_;
    std::vector<uint32_t> coveredUntil_;  // of each diagonal, kDiagonalWidth further
    std::vector<Repeat> found_;
};

std::vector<bool> SilentWords(std::span<const int8_t> levelsDb) {
    std::vector<bool> silent(levelsDb.size());
    for (size_t i = 0; i < levelsDb.size(); ++i) silent[i] = levelsDb[i] < kSilentLevelDb;
    return silent;
}

}  // namespace

std::vector<Repeat> FindRepeats(std::span<const uint32_t> words, std::span<const int8_t> levelsDb,
                                unsigned threads, const std::function<bool()>& stop) {
    const std::vector<bool> silent = SilentWords(levelsDb);
    std::vector<HalfWordIndex> indexes;
    for (unsigned half = 0; half < HalfWordIndex::kHalves; ++half) {
        indexes.emplace_back(words, silent, half);
    }
    // Fixed, so that the result is the same with any number of threads.
    constexpr unsigned kParts = 8;
    std::array<std::vector<Repeat>, kParts> found;
    std::vector<std::jthread> workers;
    const unsigned workerCount = std::clamp(threads, 1u, kParts);
    for (unsigned worker = 0; worker < workerCount; ++worker) {
        workers.emplace_back([&, worker] {
            SetCurrentThreadName("repeats");
            for (unsigned part = worker; part < kParts; part += workerCount) {
                found[part] = DiagonalSearch(words, silent, indexes, part, kParts, stop).Run();
            }
        });
    }
    workers.clear();
    std::vector<Repeat> all;
    for (const std::vector<Repeat>& part : found) all.insert(all.end(), part.begin(), part.end());
    std::sort(all.begin(), all.end(), [](const Repeat& a, const Repeat& b) {
        return a.first != b.first ? a.first < b.first : a.second < b.second;
    });
    return all;
}

}  // namespace receiver
