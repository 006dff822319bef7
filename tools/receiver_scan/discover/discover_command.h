// "receiver-scan discover": what is heard again and again in hours of a station.
#pragma once

#include "command_line/tool_commands.h"

namespace receiver {

ToolCommand DiscoverCommand();

}  // namespace receiver
