// receiver-plan: what is to be recorded, in one file, checked before air and handed to the
// schedulers that machines already run.
#include <cstdlib>
#include <exception>
#include <string>

#include "command_line/tool_commands.h"
#include "platform/standard_streams.h"
#include "receiver_plan/check/check_command.h"
#include "receiver_plan/exit_code.h"
#include "receiver_plan/heal/heal_all_command.h"
#include "receiver_plan/heal/heal_command.h"
#include "receiver_plan/plan/plan_tool_error.h"
#include "receiver_plan/plan/schema_command.h"
#include "receiver_plan/render/render_commands.h"
#include "receiver_plan/status/status_command.h"
#include "receiver_scan/source/interruption.h"

namespace receiver {
namespace {

ToolDescription DescribeTool() {
    ToolDescription tool = {};
    tool.name = "receiver-plan";
    tool.purpose = "plan many recordings";
    tool.usage = "COMMAND ...";
    tool.description =
        "Reads what is to be recorded from one plan file, tells before air what would go wrong,\n"
        "hands it to the schedulers that machines already have, puts copies together, and tells\n"
        "what became of it all.\n"
        "\"receiver-plan COMMAND --help\" tells about a command.";
    tool.exitCodes = {
        {static_cast<int>(PlanExitCode::kGood), "nothing is wrong"},
        {static_cast<int>(PlanExitCode::kFailure), "the tool itself failed"},
        {static_cast<int>(PlanExitCode::kUsage), "wrong command line"},
        {static_cast<int>(PlanExitCode::kFaulty),
         "the plan has faults, or something is missed or damaged"},
        {static_cast<int>(PlanExitCode::kUnreadable), "the plan or a recording cannot be read"},
        {static_cast<int>(PlanExitCode::kInterrupted), "interrupted"},
        {static_cast<int>(PlanExitCode::kOutputError), "an output file could not be written"},
        {static_cast<int>(PlanExitCode::kSilent), "a station does not answer"}};
    return tool;
}

}  // namespace
}  // namespace receiver

int main(int argc, char** argv) {
    using namespace receiver;
    try {
        OpenMissingStandardStreams();
        return RunTool(DescribeTool(),
                       {CheckPlanCommand(), RenderCommand(), DiffCommand(), HealCommand(),
                        HealAllCommand(), StatusCommand(), SchemaCommand()},
                       argc, argv);
    } catch (const PlanToolError& error) {
        WriteStandardErrorLine(error.what());
        return static_cast<int>(error.Code());
    } catch (const Interrupted& end) {
        WriteStandardErrorLine(std::string("receiver-plan: ") + end.what());
        return static_cast<int>(PlanExitCode::kInterrupted);
    } catch (const std::exception& error) {
        WriteStandardErrorLine(std::string("receiver-plan: ") + error.what());
        return static_cast<int>(PlanExitCode::kFailure);
    }
}
