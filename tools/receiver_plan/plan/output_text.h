// Files that a command writes for people and programs.
#pragma once

#include <string>

namespace receiver {

// Whole or not at all, and in the place of another file only with `force`. Throws PlanToolError.
void WriteOutputText(const std::string& file, const std::string& text, bool force);

}  // namespace receiver
