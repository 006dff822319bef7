#include "receiver_plan/check/plan_needs.h"

#include <algorithm>
#include <map>
#include <string>

#include "audio_output/output_format.h"

namespace receiver {

using namespace std::chrono;

namespace {

constexpr uint64_t kWavBytesPerSecond = uint64_t{44100} * 2 * 2;

bool EndsLater(const PlannedRun& a, const PlannedRun& b) {
    return a.latestEnd > b.latestEnd;
}

// The runs that have begun and may not have ended when each begins.
void FindPeak(const std::vector<PlannedRun>& runs, PlanNeeds& needs) {
    std::vector<PlannedRun> open;  // a heap: what ends first is in front
    for (const PlannedRun& run : runs) {
        while (!open.empty() && open.front().latestEnd <= run.start) {
            std::pop_heap(open.begin(), open.end(), EndsLater);
            open.pop_back();
        }
        open.push_back(run);
        std::push_heap(open.begin(), open.end(), EndsLater);
        if (open.size() > needs.runsAtPeak.size()) needs.runsAtPeak = open;
    }
    std::sort(needs.runsAtPeak.begin(), needs.runsAtPeak.end());
}

// The most of a programme that is there at one time.
uint64_t MostKept(const PlannedProgram& program, const std::vector<sys_seconds>& starts) {
    const auto kept = ceil<seconds>(milliseconds(program.LongestMs() + *program.keepMs));
    size_t most = 0;
    size_t oldest = 0;
    for (size_t newest = 0; newest < starts.size(); ++newest) {
        while (starts[oldest] + kept <= starts[newest]) ++oldest;
        most = std::max(most, newest - oldest + 1);
    }
    return most * BytesOfRun(program);
}

}  // namespace

uint64_t BytesPerSecond(std::string_view format) {
    const OutputFormat& output = OutputFormatFor("x." + std::string(format));
    if (output.bitRate > 0) return static_cast<uint64_t>(output.bitRate) / 8;
    return output.extension == WavFormat().extension ? kWavBytesPerSecond
                                                     : kWavBytesPerSecond / 4 * 3;
}

uint64_t BytesOfRun(const PlannedProgram& program) {
    return (BytesPerSecond(program.format) * program.maximumMs + 999) / 1000;
}

PlanNeeds NeedsOf(const Plan& plan, const std::vector<PlannedRun>& runs) {
    PlanNeeds needs;
    FindPeak(runs, needs);
    std::map<sys_days, uint64_t> ofDay;
    std::vector<std::vector<sys_seconds>> starts(plan.programs.size());
    for (const PlannedRun& run : runs) {
        ofDay[floor<days>(run.start)] += BytesOfRun(plan.programs[run.program]);
        starts[run.program].push_back(run.start);
    }
    for (const auto& [day, bytes] : ofDay) {
        needs.bytesOfBusiestDay = std::max(needs.bytesOfBusiestDay, bytes);
    }
    for (size_t i = 0; i < plan.programs.size(); ++i) {
        if (plan.programs[i].keepMs) {
            needs.bytesKept += MostKept(plan.programs[i], starts[i]);
        } else if (!starts[i].empty()) {
            needs.growsForEver = true;
        }
    }
    for (const PlannedRun& run : needs.runsAtPeak) {
        needs.bytesKept += BytesOfRun(plan.programs[run.program]);
    }
    return needs;
}

}  // namespace receiver
