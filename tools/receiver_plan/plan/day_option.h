// Days as people type them. Pure.
#pragma once

#include <chrono>
#include <string>

namespace receiver {

// "2026-03-27". Throws std::invalid_argument with a text that names --from.
std::chrono::sys_days DayOfOption(const std::string& from);

// Throws std::invalid_argument, with a text that names --days, unless these are 1 to 366.
void CheckDays(unsigned days);

}  // namespace receiver
