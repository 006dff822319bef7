// "receiver-plan heal": copies of one programme, put together.
#pragma once

#include "command_line/tool_commands.h"

namespace receiver {

ToolCommand HealCommand();

}  // namespace receiver
