// "receiver-scan listen": what the receiver hears of its references in a file or a stream.
#pragma once

#include "command_line/tool_commands.h"

namespace receiver {

ToolCommand ListenCommand();

}  // namespace receiver
