#include "receiver_plan/heal/runs_to_heal.h"

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

namespace receiver {
namespace {

// What was coded with loss differs from copy to copy.
bool IsLossless(const std::string& name) {
    return name.ends_with(".flac") || name.ends_with(".wav");
}

bool IsOver(const RunStatus& run) {
    return run.state != RunState::kRecording && run.state != RunState::kWaiting;
}

bool IsHealed(const RunStatus& run) {
    return std::any_of(run.recordings.begin(), run.recordings.end(),
                       [](const FoundRecording& one) { return one.record.isHealed; });
}

std::string FolderWithSlash(const std::string& file) {
    return file.substr(0, file.find_last_of("/\\") + 1);
}

std::optional<RunToHeal> Look(const RunStatus& run) {
    if (!IsOver(run) || IsHealed(run)) return {};
    RunToHeal found;
    std::set<unsigned> copies;
    const FoundRecording* first = nullptr;
    for (const FoundRecording& one : run.recordings) {
        // About the others nothing is known, or their audio is gone.
        const bool isLeft = one.state == RecordingState::kLeft;
        const bool isEnded = one.state == RecordingState::kWhole ||
                             (one.state == RecordingState::kDamaged && one.isThere);
        if (!IsLossless(one.name) || !(isLeft || isEnded)) continue;
        copies.insert(one.copy);
        (isLeft ? found.left : found.whole).push_back(one.file);
        if (first == nullptr || (isEnded && first->state == RecordingState::kLeft)) first = &one;
    }
    if (first == nullptr || copies.size() < 2) return {};
    found.output = FolderWithSlash(first->file) + first->name;
    return found;
}

}  // namespace

std::vector<RunToHeal> RunsToHeal(const std::vector<RunStatus>& runs) {
    std::vector<RunToHeal> all;
    for (const RunStatus& run : runs) {
        if (std::optional<RunToHeal> found = Look(run)) all.push_back(std::move(*found));
    }
    return all;
}

}  // namespace receiver
