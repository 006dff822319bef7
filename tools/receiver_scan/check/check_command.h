// "receiver-scan check": whether recordings are fit to be listened for.
#pragma once

#include "command_line/tool_commands.h"

namespace receiver {

ToolCommand CheckCommand();

}  // namespace receiver
