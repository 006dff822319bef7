#include "receiver_plan/plan/schema_command.h"

#include "platform/standard_streams.h"
#include "receiver_plan/exit_code.h"
#include "receiver_plan/plan/plan_keys.h"

namespace receiver {
namespace {

ToolDescription DescribeSchema() {
    ToolDescription tool = {};
    tool.name = "schema";
    tool.purpose = "the JSON Schema of plan files, for editors";
    tool.usage = "[OPTIONS]";
    tool.description =
        "Prints a JSON Schema of plan files, with which an editor completes keys, explains them\n"
        "and marks what is wrong.";
    tool.examples = {{"for an editor that reads \"#:schema plan.schema.json\" at a file's top",
                      "receiver-plan schema > plan.schema.json"}};
    tool.exitCodes = {{static_cast<int>(PlanExitCode::kGood), "it was printed"},
                      {static_cast<int>(PlanExitCode::kFailure), "the tool itself failed"},
                      {static_cast<int>(PlanExitCode::kUsage), "wrong command line"}};
    return tool;
}

int Run() {
    WriteStandardOutputLine(PlanSchema().dump(2));
    return static_cast<int>(PlanExitCode::kGood);
}

}  // namespace

ToolCommand SchemaCommand() {
    return {DescribeSchema(), [](CLI::App&) {}, Run};
}

}  // namespace receiver
