#include "receiver_plan/status/run_status.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <tuple>
#include <utility>

#include "command_line/duration.h"
#include "receiver_plan/check/plan_runs.h"

namespace receiver {

using namespace std::chrono;

namespace {

// By so much a machine's clock, or its scheduler, may be off.
constexpr minutes kClockError{1};
// A file without a record is dated by its last change, which may come so long after the run.
constexpr minutes kAfterwards{30};

std::string_view FileNameOf(std::string_view path) {
    const size_t slash = path.find_last_of("/\\");
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

bool IsHealed(const FoundRecording& recording) {
    return recording.record.isHealed;
}

bool IsWhole(const FoundRecording& recording) {
    return recording.state == RecordingState::kWhole;
}

// What an earlier attempt of the same copy has begun, a later one lacks.
bool IsSecondAttempt(const FoundRecording& recording,
                     const std::vector<FoundRecording>& recordings) {
    return std::any_of(recordings.begin(), recordings.end(), [&](const FoundRecording& other) {
        return !IsHealed(other) && !IsWhole(other) && other.copy == recording.copy &&
               other.Ends() <= recording.Begins();
    });
}

bool HasWhole(const std::vector<FoundRecording>& recordings) {
    return std::any_of(recordings.begin(), recordings.end(), [&](const FoundRecording& one) {
        return IsWhole(one) && (IsHealed(one) || !IsSecondAttempt(one, recordings));
    });
}

void Judge(RunStatus& run, bool isOver) {
    std::sort(run.recordings.begin(), run.recordings.end(),
              [](const FoundRecording& a, const FoundRecording& b) {
                  return std::tuple(IsHealed(a), a.copy, a.Begins(), a.file) <
                         std::tuple(IsHealed(b), b.copy, b.Begins(), b.file);
              });
    const bool isRecording = std::any_of(
        run.recordings.begin(), run.recordings.end(),
        [](const FoundRecording& one) { return one.state == RecordingState::kRecording; });
    if (isRecording) {
        run.state = RunState::kRecording;
    } else if (run.recordings.empty()) {
        run.state = isOver ? RunState::kMissed : RunState::kWaiting;
    } else if (!HasWhole(run.recordings)) {
        run.state = RunState::kDamaged;
    } else {
        run.state = run.missedCopies.empty() ? RunState::kComplete : RunState::kCopyMissed;
    }
}

bool IsWithin(const StatusStretch& stretch, UtcMoment moment) {
    return moment >= stretch.from && moment < stretch.until;
}

bool IsOfCopies(const FoundRecording& healed, const FoundRecording& recording) {
    const std::vector<std::string>& copies = healed.record.copies;
    return std::any_of(copies.begin(), copies.end(), [&](const std::string& copy) {
        return FileNameOf(copy) == FileNameOf(recording.file);
    });
}

bool HasCopyOf(const RunStatus& run, const FoundRecording& healed) {
    return std::any_of(run.recordings.begin(), run.recordings.end(), [&](const auto& recording) {
        return recording.folder == healed.folder && IsOfCopies(healed, recording);
    });
}

RunStatus RunOf(FoundRecording recording) {
    RunStatus run;
    run.program = recording.folder;
    run.begins = floor<seconds>(recording.Begins());
    run.recordings.push_back(std::move(recording));
    return run;
}

// To the runs of their copies; those of none are runs of their own.
void AddHealed(std::vector<FoundRecording> healed, std::vector<RunStatus>& runs) {
    for (FoundRecording& file : healed) {
        const auto run = std::find_if(runs.begin(), runs.end(),
                                      [&](const RunStatus& one) { return HasCopyOf(one, file); });
        if (run != runs.end()) {
            run->recordings.push_back(std::move(file));
        } else {
            runs.push_back(RunOf(std::move(file)));
        }
    }
}

std::vector<FoundRecording> TakeHealed(std::vector<FoundRecording>& recordings) {
    const auto first =
        std::stable_partition(recordings.begin(), recordings.end(),
                              [](const FoundRecording& recording) { return !IsHealed(recording); });
    std::vector<FoundRecording> healed(std::make_move_iterator(first),
                                       std::make_move_iterator(recordings.end()));
    recordings.erase(first, recordings.end());
    return healed;
}

// Runs by the folders, names and times of their recordings.
std::vector<RunStatus> Together(std::vector<FoundRecording> recordings) {
    std::sort(recordings.begin(), recordings.end(),
              [](const FoundRecording& a, const FoundRecording& b) {
                  return std::tuple(std::string_view(a.folder), std::string_view(a.name),
                                    a.Begins(), std::string_view(a.file)) <
                         std::tuple(std::string_view(b.folder), std::string_view(b.name),
                                    b.Begins(), std::string_view(b.file));
              });
    std::vector<RunStatus> runs;
    runs.reserve(recordings.size());
    UtcMoment end;
    for (FoundRecording& recording : recordings) {
        const bool isOfLast = !runs.empty() && recording.Begins() <= end &&
                              runs.back().recordings[0].folder == recording.folder &&
                              runs.back().recordings[0].name == recording.name;
        end = isOfLast ? std::max(end, recording.Ends()) : recording.Ends();
        if (isOfLast) {
            runs.back().recordings.push_back(std::move(recording));
        } else {
            runs.push_back(RunOf(std::move(recording)));
        }
    }
    return runs;
}

void Finish(std::vector<RunStatus>& runs) {
    std::sort(runs.begin(), runs.end(), [](const RunStatus& a, const RunStatus& b) {
        return std::tie(a.begins, a.program) < std::tie(b.begins, b.program);
    });
}

class PlannedRuns final {
public:
    PlannedRuns(const Plan& plan, const StatusStretch& stretch) : plan_(plan), stretch_(stretch) {
        for (size_t i = 0; i < plan.programs.size(); ++i) AddRunsOf(i);
    }

    std::vector<RunStatus> With(std::vector<FoundRecording> recordings) {
        std::vector<FoundRecording> healed = TakeHealed(recordings);
        std::vector<FoundRecording> others;
        for (FoundRecording& recording : recordings) {
            if (RunStatus* const run = RunFor(recording)) {
                TellWhetherLate(*run, recording);
                run->recordings.push_back(std::move(recording));
            } else {
                others.push_back(std::move(recording));
            }
        }
        for (RunStatus& run : Together(std::move(others))) runs_.push_back(std::move(run));
        AddHealed(std::move(healed), runs_);
        for (RunStatus& run : runs_) JudgePlanned(run);
        std::erase_if(runs_, [&](const RunStatus& run) { return !IsWanted(run); });
        Finish(runs_);
        return std::move(runs_);
    }

private:
    const PlannedProgram& ProgramOf(const RunStatus& run) const {
        return plan_.programs[*run.planned];
    }

    seconds LongestOf(const PlannedProgram& program) const {
        return ceil<seconds>(milliseconds(program.LongestMs()));
    }

    // Also of the day before: what it has recorded is not to be taken for something else.
    void AddRunsOf(size_t index) {
        const sys_seconds until = std::min(stretch_.until, ceil<seconds>(stretch_.now));
        firsts_.push_back(runs_.size());
        for (const PlannedRun& run : RunsOf(plan_, index, stretch_.from - days(2), until)) {
            RunStatus status;
            status.program = plan_.programs[index].name;
            status.planned = index;
            status.begins = run.start;
            runs_.push_back(std::move(status));
        }
        ends_.push_back(runs_.size());
    }

    // The last run that it can belong to.
    RunStatus* RunFor(const FoundRecording& recording) {
        for (size_t i = 0; i < plan_.programs.size(); ++i) {
            const PlannedProgram& program = plan_.programs[i];
            if (program.name != recording.folder) continue;
            const auto first = runs_.begin() + static_cast<std::ptrdiff_t>(firsts_[i]);
            const auto last = runs_.begin() + static_cast<std::ptrdiff_t>(ends_[i]);
            const auto next = std::upper_bound(
                first, last, recording.Begins() + kClockError,
                [](UtcMoment moment, const RunStatus& run) { return moment < run.begins; });
            if (next == first) return nullptr;
            RunStatus& run = *std::prev(next);
            const UtcMoment end = run.begins + LongestOf(program) +
                                  (recording.HasMoments() ? minutes(0) : kAfterwards);
            return recording.Begins() < end ? &run : nullptr;
        }
        return nullptr;
    }

    // What begins by the clock is not whole when its recorder began late.
    void TellWhetherLate(const RunStatus& run, FoundRecording& recording) const {
        const auto late = recording.Begins() - run.begins;
        if (!IsWhole(recording) || !ProgramOf(run).starts.empty() || late <= kClockError) return;
        recording.state = RecordingState::kDamaged;
        recording.why = "Its recorder was begun " +
                        FormatDuration(static_cast<uint64_t>(floor<seconds>(late).count()) * 1000) +
                        " late";
    }

    void JudgePlanned(RunStatus& run) const {
        bool isOver = true;
        if (run.planned) {
            isOver = run.begins + LongestOf(ProgramOf(run)) <= stretch_.now;
            for (unsigned copy = 1; isOver && copy <= ProgramOf(run).copies; ++copy) {
                const bool isThere = std::any_of(
                    run.recordings.begin(), run.recordings.end(), [&](const auto& recording) {
                        return !IsHealed(recording) && recording.copy == copy;
                    });
                if (!isThere) run.missedCopies.push_back(copy);
            }
        }
        Judge(run, isOver);
    }

    // What has been kept for long enough is not missed.
    bool IsWanted(const RunStatus& run) const {
        if (!IsWithin(stretch_, run.begins)) return false;
        if (!run.planned || !run.recordings.empty()) return true;
        const std::optional<uint64_t> keepMs = ProgramOf(run).keepMs;
        return !keepMs || run.begins + milliseconds(*keepMs) > stretch_.now;
    }

    const Plan& plan_;
    const StatusStretch& stretch_;
    std::vector<RunStatus> runs_;
    std::vector<size_t> firsts_, ends_;  // of each programme: its planned runs, in their order
};

}  // namespace

std::vector<RunStatus> RunsOfRecordings(std::vector<FoundRecording> recordings,
                                        const StatusStretch& stretch) {
    std::vector<FoundRecording> healed = TakeHealed(recordings);
    std::vector<RunStatus> runs = Together(std::move(recordings));
    AddHealed(std::move(healed), runs);
    for (RunStatus& run : runs) Judge(run, true);
    std::erase_if(runs, [&](const RunStatus& run) { return !IsWithin(stretch, run.begins); });
    Finish(runs);
    return runs;
}

std::vector<RunStatus> RunsOfPlan(const Plan& plan, std::vector<FoundRecording> recordings,
                                  const StatusStretch& stretch) {
    return PlannedRuns(plan, stretch).With(std::move(recordings));
}

bool IsWell(RunState state) {
    return state == RunState::kComplete || state == RunState::kRecording ||
           state == RunState::kWaiting;
}

const char* StateName(RunState state) {
    switch (state) {
        case RunState::kComplete:
            return "complete";
        case RunState::kCopyMissed:
            return "copy-missed";
        case RunState::kDamaged:
            return "damaged";
        case RunState::kMissed:
            return "missed";
        case RunState::kRecording:
            return "recording";
        case RunState::kWaiting:
            break;
    }
    return "waiting";
}

const char* StateName(RecordingState state) {
    switch (state) {
        case RecordingState::kWhole:
            return "complete";
        case RecordingState::kDamaged:
            return "damaged";
        case RecordingState::kRecording:
            return "recording";
        case RecordingState::kLeft:
            return "left";
        case RecordingState::kUnclear:
            break;
    }
    return "unclear";
}

}  // namespace receiver
