#include "receiver_plan/check/check_texts.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace receiver {
namespace {

std::string Padded(std::string text, size_t width) {
    text.resize(std::max(width, text.size()), ' ');
    return text;
}

std::string NumberText(const char* format, double number) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), format, number);
    return text.data();
}

std::string NeedsLine(const Plan& plan, const PlanNeeds& needs) {
    std::string names;
    for (const size_t program : needs.programsAtPeak) {
        names += (names.empty() ? "" : ", ") + plan.programs[program].name;
    }
    const TimeZone& zone = plan.StationOf(plan.programs[needs.programsAtPeak[0]]).zone;
    const auto runs = static_cast<double>(needs.runsAtPeak);
    return "At most " + std::to_string(needs.runsAtPeak) + " at once, first on " +
           LocalText(zone, *needs.peak) + " (" + names +
           "): " + NumberText("%.2f", runs * kProcessorsOfRun) + " processors, " +
           BytesText(needs.runsAtPeak * kMemoryOfRun) + " of memory.";
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

std::vector<std::string> FindingLines(const Plan& plan, const PlanCheck& check) {
    std::vector<std::string> lines;
    for (const PlanFault& fault : check.faults.All()) {
        lines.push_back(FaultLine(plan.path, fault));
    }
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
        if (program.copies > 1) line += ", " + std::to_string(program.copies) + " copies";
        lines.push_back(std::move(line));
    }
    if (check.needs.peak) {
        lines.push_back(NeedsLine(plan, check.needs));
        lines.push_back(DiskLine(check.needs));
    }
    return lines;
}

}  // namespace receiver
