#include "receiver_plan/plan/output_text.h"

#include <stdexcept>

#include "audio_output/part_file.h"
#include "platform/text.h"
#include "receiver_plan/exit_code.h"
#include "receiver_plan/plan/plan_tool_error.h"

namespace receiver {

void WriteOutputText(const std::string& file, const std::string& text, bool force) {
    std::string failure;
    try {
        PartFile part(ToFilesystemPath(file), force, true);
        if (part.WriteAt(0, text.data(), text.size()) && part.Commit()) return;
        failure = part.FailureText();
        part.Discard();
    } catch (const std::runtime_error& error) {
        failure = error.what();
    }
    throw PlanToolError(PlanExitCode::kOutputError, "receiver-plan: " + file + ": " + failure);
}

}  // namespace receiver
