// "receiver-plan status": what runs, what was missed, what is damaged.
#pragma once

#include "command_line/tool_commands.h"

namespace receiver {

ToolCommand StatusCommand();

}  // namespace receiver
