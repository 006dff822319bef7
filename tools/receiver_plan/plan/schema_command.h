// "receiver-plan schema": what a plan file may have in it, for editors.
#pragma once

#include "command_line/tool_commands.h"

namespace receiver {

ToolCommand SchemaCommand();

}  // namespace receiver
