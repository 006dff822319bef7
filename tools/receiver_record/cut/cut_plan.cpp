#include "receiver_record/cut/cut_plan.h"

#include <limits>

namespace receiver {
namespace {

// The detector places the same recording at the same sample, give or take a step or two.
constexpr uint64_t kSamePlaceFrames = kStreamSampleRate / 20;
constexpr uint32_t kEndlessMs = std::numeric_limits<uint32_t>::max();  // 49 days

}  // namespace

bool CountsAsEnd(const CutPlan& plan, uint64_t sample) {
    if (sample < plan.startSample) return false;
    const uint64_t after = sample - plan.startSample;
    const bool isOpening = !plan.startPath.empty() && after <= kSamePlaceFrames;
    return !isOpening && after * 1000 >= uint64_t{plan.limits.minimumMs} * kStreamSampleRate;
}

std::optional<ProgramEnd> EndOfCut(uint64_t begin, const CutLimits& limits,
                                   std::span<const CutEnd> ends,
                                   const std::optional<ForcedEnd>& forced) {
    std::vector<HeardReference> heard;
    heard.reserve(ends.size());
    for (const CutEnd& end : ends) heard.push_back({ReferenceRole::kEnd, end.sample, 0});
    const ProgramBounds bounds{.startSample = begin,
                               .maximumMs = limits.maximumMs.value_or(kEndlessMs),
                               .fadeMs = limits.fadeMs};
    const ProgramEnd end = ComputeProgramEnd(bounds, heard, forced);
    if (!limits.maximumMs && end.reason == ProgramEndReason::kMaximum) return {};
    return end;
}

}  // namespace receiver
