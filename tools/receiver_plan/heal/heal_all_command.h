// "receiver-plan heal-all": the copies of every run that is over, put together.
#pragma once

#include "command_line/tool_commands.h"

namespace receiver {

ToolCommand HealAllCommand();

}  // namespace receiver
