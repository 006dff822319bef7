#include "receiver_plan/check/check_texts.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "receiver_plan/check/plan_overlaps.h"

namespace receiver {

using namespace std::chrono;

namespace {

constexpr size_t kMaxNames = 12;

std::string Padded(std::string text, size_t width) {
    text.resize(std::max(width, text.size()), ' ');
    return text;
}

std::string NumberText(const char* format, double number) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), format, number);
    return text.data();
}

// "evening, night-talk"; a long list is not told to its end.
std::string NamesOf(const Plan& plan, const std::vector<PlannedRun>& runs) {
    std::string names;
    for (size_t i = 0; i < runs.size() && i < kMaxNames; ++i) {
        names += (i == 0 ? "" : ", ") + plan.programs[runs[i].program].name;
    }
    if (runs.size() > kMaxNames) {
        names += " and " + std::to_string(runs.size() - kMaxNames) + " more";
    }
    return names;
}

const TimeZone& ZoneOf(const Plan& plan, const PlannedRun& run) {
    return plan.StationOf(plan.programs[run.program]).zone;
}

std::string OverlapLine(const Plan& plan, const PlanOverlap& overlap) {
    const TimeZone& zone = ZoneOf(plan, overlap.runs[0]);
    const auto clock = [&](sys_seconds time) { return ClockText(zone.ToLocal(time)); };
    std::string line = LocalText(zone, overlap.from) + " until " + clock(overlap.until) + ": " +
                       NamesOf(plan, overlap.runs);
    if (overlap.runs.size() > 2) {
        line += "; " + std::to_string(overlap.most) + " at once from " + clock(overlap.mostFrom) +
                " until " + clock(overlap.mostUntil);
    }
    return line;
}

std::string PeakLine(const Plan& plan, const PlanNeeds& needs) {
    const std::vector<PlannedRun>& runs = needs.runsAtPeak;
    const TimeZone& zone = ZoneOf(plan, runs[0]);
    const sys_seconds end =
        std::min_element(runs.begin(), runs.end(), [](const PlannedRun& a, const PlannedRun& b) {
            return a.latestEnd < b.latestEnd;
        })->latestEnd;
    return "At most " + std::to_string(runs.size()) + " at once, first on " +
           LocalText(zone, runs.back().start) + " until " + ClockText(zone.ToLocal(end)) + " (" +
           NamesOf(plan, runs) +
           "): " + NumberText("%.2f", static_cast<double>(runs.size()) * kProcessorsOfRun) +
           " processors, " + BytesText(runs.size() * kMemoryOfRun) + " of memory.";
}

std::string DiskLine(const PlanNeeds& needs) {
    std::string line = "Disk: " + BytesText(needs.bytesOfBusiestDay) + " on the busiest day; ";
    if (needs.growsForEver) {
        return line + BytesText(needs.bytesKept) +
               " for what is kept for a time, and more each day for what is kept for ever.";
    }
    return line + BytesText(needs.bytesKept) + " at the peak, with all that is kept.";
}

}  // namespace

std::string BytesText(uint64_t bytes) {
    static constexpr std::array<const char*, 5> kUnits = {"B", "KiB", "MiB", "GiB", "TiB"};
    auto number = static_cast<double>(bytes);
    size_t unit = 0;
    for (; number >= 1024.0 && unit + 1 < kUnits.size(); ++unit) number /= 1024.0;
    return NumberText(unit == 0 || number >= 100.0 ? "%.0f " : "%.1f ", number) + kUnits.at(unit);
}

std::vector<std::string> FaultLines(const Plan& plan, const PlanFaults& faults) {
    std::vector<std::string> lines;
    lines.reserve(faults.All().size());
    for (const PlanFault& fault : faults.All()) lines.push_back(FaultLine(plan.path, fault));
    return lines;
}

std::vector<std::string> FindingLines(const Plan& plan, const PlanCheck& check) {
    std::vector<std::string> lines = FaultLines(plan, check.faults);
    for (PlanFault warning : check.warnings.All()) {
        warning.text = "warning: " + warning.text;
        lines.push_back(FaultLine(plan.path, warning));
    }
    return lines;
}

std::vector<std::string> RunLines(const Plan& plan, const PlanCheck& check, unsigned days) {
    std::vector<std::string> lines;
    const std::string stretch =
        days == 1 ? "the next day" : "the next " + std::to_string(days) + " days";
    if (check.runs.empty()) {
        lines.push_back("No run within " + stretch + ".");
    } else {
        lines.push_back("Runs of " + stretch + ", as the station's clocks show it:");
    }
    size_t nameWidth = 0;
    size_t stationWidth = 0;
    for (const PlannedProgram& program : plan.programs) {
        nameWidth = std::max(nameWidth, program.name.size());
        stationWidth = std::max(stationWidth, plan.StationOf(program).name.size());
    }
    for (const PlannedRun& run : check.runs) {
        const PlannedProgram& program = plan.programs[run.program];
        const PlannedStation& station = plan.StationOf(program);
        std::string line = "  " + LocalText(station.zone, run.start) + "  " +
                           Padded(program.name, nameWidth) + "  " +
                           Padded(station.name, stationWidth) + "  until " +
                           ClockText(station.zone.ToLocal(run.latestEnd)) + " at the latest";
        lines.push_back(line + CopiesText(program.copies));
    }
    const std::vector<std::string> overlaps = OverlapLines(plan, check.runs);
    if (!overlaps.empty()) {
        lines.emplace_back(
            "Runs that may go on at the same time, each with a receiver of its own:");
    }
    for (const std::string& overlap : overlaps) lines.push_back("  " + overlap);
    for (std::string& need : NeedLines(plan, check.needs)) lines.push_back(std::move(need));
    return lines;
}

std::vector<std::string> OverlapLines(const Plan& plan, const std::vector<PlannedRun>& runs) {
    std::vector<std::string> lines;
    for (const PlanOverlap& overlap : OverlapsOf(runs)) lines.push_back(OverlapLine(plan, overlap));
    return lines;
}

std::vector<std::string> NeedLines(const Plan& plan, const PlanNeeds& needs) {
    if (needs.runsAtPeak.empty()) return {};
    return {PeakLine(plan, needs), DiskLine(needs)};
}

std::string CopiesText(unsigned copies) {
    return copies > 1 ? ", " + std::to_string(copies) + " copies" : "";
}

}  // namespace receiver
