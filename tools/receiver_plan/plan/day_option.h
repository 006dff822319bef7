// Days as people type them. Pure.
#pragma once

#include <chrono>
#include <string>

namespace receiver {

// "2026-03-27". Throws std::invalid_argument with a text that names --from.
std::chrono::sys_days DayOfOption(const std::string& from);

}  // namespace receiver
