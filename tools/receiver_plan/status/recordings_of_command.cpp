#include "receiver_plan/status/recordings_of_command.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "receiver_plan/exit_code.h"
#include "receiver_plan/plan/plan_tool_error.h"

namespace receiver {

FoundRecordings RecordingsOfCommand(const std::vector<std::string>& folders, UtcMoment now) {
    FoundRecordings all;
    for (const std::string& folder : folders) {
        try {
            FoundRecordings found = FindRecordings(folder, now);
            std::move(found.recordings.begin(), found.recordings.end(),
                      std::back_inserter(all.recordings));
            std::move(found.notes.begin(), found.notes.end(), std::back_inserter(all.notes));
        } catch (const std::runtime_error& error) {
            throw PlanToolError(PlanExitCode::kUnreadable,
                                std::string("receiver-plan: ") + error.what());
        }
    }
    return all;
}

}  // namespace receiver
