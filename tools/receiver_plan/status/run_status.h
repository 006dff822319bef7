// What became of each run: its recordings by several machines and attempts together, and beside a
// plan also the runs of which there is none. Pure but for the system's zones.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "receiver_plan/plan/plan.h"
#include "receiver_plan/status/found_recording.h"

namespace receiver {

enum class RunState {
    kComplete,
    kCopyMissed,  // complete, but a machine has not recorded it
    kDamaged,     // no copy is whole, and no healed file
    kMissed,      // there is nothing
    kRecording,
    kWaiting,  // it has begun, and nothing is written yet
};

struct RunStatus {
    std::string program;            // the name of the recordings' folder, or the plan's name
    std::optional<size_t> planned;  // its index in the plan; nothing for recordings beyond it
    std::chrono::sys_seconds begins;
    RunState state = RunState::kMissed;
    std::vector<unsigned> missedCopies;
    std::vector<FoundRecording> recordings;  // by copy, and then in the order of their beginnings
};

struct StatusStretch {
    std::chrono::sys_seconds from, until;  // runs that begin from then on, and before
    UtcMoment now;
};

// Both in the order of their beginnings. Recordings are of one run when their folders and names
// are the same, but for the copy, and their times overlap; a healed file is of the run of its
// copies.
std::vector<RunStatus> RunsOfRecordings(std::vector<FoundRecording> recordings,
                                        const StatusStretch& stretch);
// Recordings in a folder of a programme's name are of the run in whose time they were begun.
std::vector<RunStatus> RunsOfPlan(const Plan& plan, std::vector<FoundRecording> recordings,
                                  const StatusStretch& stretch);

bool IsWell(RunState state);
const char* StateName(RunState state);  // "complete", "copy-missed", ...
const char* StateName(RecordingState state);

}  // namespace receiver
