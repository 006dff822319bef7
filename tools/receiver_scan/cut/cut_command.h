// "receiver-scan cut": a stretch of a recording as a file, exact to the sample.
#pragma once

#include "command_line/tool_commands.h"

namespace receiver {

ToolCommand CutCommand();

}  // namespace receiver
