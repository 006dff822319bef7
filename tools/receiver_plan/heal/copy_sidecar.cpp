#include "receiver_plan/heal/copy_sidecar.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

namespace receiver {
namespace {

using nlohmann::json;

// `lost` frames from `sample` of the stream on, and what is unsure behind them.
FrameRange RangeOf(uint64_t sample, uint64_t lost, uint64_t start, uint64_t frames) {
    const uint64_t end = sample + lost + kUnsureFrames;
    return {std::min(std::max(sample, start) - start, frames),
            std::min(std::max(end, start) - start, frames)};
}

std::vector<FrameRange> Joined(std::vector<FrameRange> ranges) {
    std::sort(ranges.begin(), ranges.end(),
              [](const FrameRange& a, const FrameRange& b) { return a.from < b.from; });
    std::vector<FrameRange> joined;
    for (const FrameRange& range : ranges) {
        if (range.from >= range.to) continue;
        if (joined.empty() || joined.back().to < range.from) {
            joined.push_back(range);
        } else {
            joined.back().to = std::max(joined.back().to, range.to);
        }
    }
    return joined;
}

}  // namespace

std::vector<FrameRange> LackingFrames(std::string_view sidecar, uint64_t frames) {
    std::vector<FrameRange> ranges;
    try {
        const json object = json::parse(sidecar);
        const auto start = object.at("startSample").get<uint64_t>();
        for (const json& gap : object.value("gaps", json::array())) {
            const auto lost = gap.at("lostFrames").get<uint64_t>();
            if (lost == 0 && gap.at("exact").get<bool>()) continue;
            ranges.push_back(RangeOf(gap.at("sample").get<uint64_t>(), lost, start, frames));
        }
        for (const json& damage : object.value("damage", json::array())) {
            ranges.push_back(RangeOf(damage.at("sample").get<uint64_t>(),
                                     damage.at("frames").get<uint64_t>(), start, frames));
        }
    } catch (const json::exception& error) {
        throw std::invalid_argument(error.what());
    }
    return Joined(std::move(ranges));
}

}  // namespace receiver
