// "receiver-plan check": what will go wrong, before it does.
#pragma once

#include "command_line/tool_commands.h"

namespace receiver {

ToolCommand CheckPlanCommand();

}  // namespace receiver
