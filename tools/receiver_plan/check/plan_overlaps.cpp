#include "receiver_plan/check/plan_overlaps.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace receiver {

using namespace std::chrono;

namespace {

class OverlapSearch final {
public:
    void Begin(const PlannedRun& run) {
        open_.push_back(run);
        std::push_heap(open_.begin(), open_.end(), EndsLater);
        if (open_.size() == 2) {
            overlaps_.emplace_back();
            overlaps_.back().from = run.start;
            overlaps_.back().runs = open_;
            std::sort(overlaps_.back().runs.begin(), overlaps_.back().runs.end());
        } else if (open_.size() > 2) {
            overlaps_.back().runs.push_back(run);
        }
        if (open_.size() < 2 || open_.size() <= overlaps_.back().most) return;
        overlaps_.back().most = open_.size();
        overlaps_.back().mostFrom = run.start;
        isAtMost_ = true;
    }

    // Those that have ended by then, in the order in which they do.
    void EndUntil(std::optional<sys_seconds> time) {
        while (!open_.empty() && (!time || open_.front().latestEnd <= *time)) {
            const sys_seconds end = open_.front().latestEnd;
            std::pop_heap(open_.begin(), open_.end(), EndsLater);
            open_.pop_back();
            if (isAtMost_) overlaps_.back().mostUntil = end;
            isAtMost_ = false;
            if (open_.size() == 1) overlaps_.back().until = end;
        }
    }

    std::vector<PlanOverlap> Take() { return std::move(overlaps_); }

private:
    static bool EndsLater(const PlannedRun& a, const PlannedRun& b) {
        return a.latestEnd > b.latestEnd;
    }

    std::vector<PlannedRun> open_;  // a heap: what ends first is in front
    std::vector<PlanOverlap> overlaps_;
    bool isAtMost_ = false;  // since the last one's mostFrom nothing has ended
};

}  // namespace

std::vector<PlanOverlap> OverlapsOf(const std::vector<PlannedRun>& runs) {
    OverlapSearch search;
    for (const PlannedRun& run : runs) {
        search.EndUntil(run.start);
        search.Begin(run);
    }
    search.EndUntil({});
    return search.Take();
}

}  // namespace receiver
