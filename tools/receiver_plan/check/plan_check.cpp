#include "receiver_plan/check/plan_check.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <system_error>
#include <utility>

#include "command_line/duration.h"
#include "platform/text.h"
#include "receiver_plan/calendar/run_times.h"
#include "receiver_plan/plan/plan_keys.h"
#include "receiver_plan/plan/windows_path.h"
#include "receiver_scan/check/quick_check.h"

namespace receiver {

using namespace std::chrono;

namespace {

constexpr days kYear{366};

class ProgramCheck final {
public:
    ProgramCheck(const Plan& plan, size_t index, PlanCheck& check)
        : plan_(plan), program_(plan.programs[index]), index_(index), check_(check) {}

    void Run(sys_seconds from) {
        CheckRecordings();
        CheckTimes(from);
    }

private:
    PlanFault About(const std::string& key, std::string text, std::string remedy) const {
        return {
            program_.LineOf(key),
            std::string(kProgramsSection) + "." + program_.name + (key.empty() ? "" : "." + key),
            std::move(text), std::move(remedy)};
    }

    void CheckRecordings() {
        std::vector<std::string> readable;
        for (const auto& [key, recordings] :
             {std::pair<const char*, const std::vector<std::string>&>{"start", program_.starts},
              {"end", program_.ends},
              {"other", program_.others}}) {
            for (const std::string& path : PathsOf(recordings)) {
                if (IsWindowsPath(path)) {
                    check_.warnings.Add(About(key, path + " is a path of Windows",
                                              "see to it there that it is in its place"));
                    continue;
                }
                std::error_code error;
                if (std::filesystem::is_regular_file(ToFilesystemPath(path), error)) {
                    readable.push_back(path);
                } else {
                    check_.faults.Add(About(key, path + " is not there",
                                            "put the recording there, or mend the path"));
                }
            }
        }
        for (const std::string& warning : ReferenceWarnings(readable)) {
            check_.warnings.Add(About("", warning, "receiver-scan check says what to do"));
        }
    }

    static std::vector<std::string> PathsOf(const std::vector<std::string>& recordings) {
        std::vector<std::string> paths;
        paths.reserve(recordings.size());
        for (const std::string& recording : recordings) {
            paths.emplace_back(FileOfRecording(recording));
        }
        return paths;
    }

    void CheckTimes(sys_seconds from) {
        const TimeZone& zone = plan_.StationOf(program_).zone;
        for (const CalendarExpression& when : program_.when) {
            if (!NextRun(when, zone, from)) {
                check_.faults.Add(
                    About("when", "\"" + when.Text() + "\" never comes", "mend the date"));
                continue;
            }
            const std::vector<local_seconds> leftOut = TimesLeftOut(when, zone, from, from + kYear);
            if (leftOut.empty()) continue;
            check_.warnings.Add(About(
                "when",
                DateText(leftOut[0]) + " " + ClockText(leftOut[0]) + " does not exist in " +
                    zone.Name() + ", where clocks are put forward: it is left out on that day",
                "choose a time outside that hour"));
        }
        const std::vector<PlannedRun> runs = RunsOf(plan_, index_, from, from + kYear);
        const auto early = std::adjacent_find(
            runs.begin(), runs.end(),
            [](const PlannedRun& a, const PlannedRun& b) { return b.start < a.latestEnd; });
        if (early == runs.end()) return;
        check_.faults.Add(About("when",
                                "the run of " + LocalText(zone, early->start) + " may last " +
                                    FormatDuration(program_.LongestMs()) +
                                    ", beyond the beginning of the next one at " +
                                    LocalText(zone, std::next(early)->start),
                                "shorten \"max\" or \"wait\", or make two programmes of it"));
    }

    const Plan& plan_;
    const PlannedProgram& program_;
    const size_t index_;
    PlanCheck& check_;
};

}  // namespace

PlanCheck CheckPlan(const Plan& plan, sys_seconds from, sys_seconds until) {
    PlanCheck check;
    for (size_t i = 0; i < plan.programs.size(); ++i) ProgramCheck(plan, i, check).Run(from);
    check.runs = AllRuns(plan, from, until);
    check.needs = NeedsOf(plan, AllRuns(plan, from, from + kYear));
    return check;
}

}  // namespace receiver
