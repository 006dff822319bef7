// "receiver-plan render" and "receiver-plan diff": a plan as what an engine reads.
#pragma once

#include "command_line/tool_commands.h"

namespace receiver {

ToolCommand RenderCommand();
ToolCommand DiffCommand();

}  // namespace receiver
