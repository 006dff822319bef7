// Identifiers that the operating system hands out. Any thread.
#pragma once

#include <cstdint>
#include <string>

namespace receiver {

uint32_t CurrentProcessId();
uint32_t CurrentThreadId();

// 36 characters, upper-case hexadecimal with hyphens, new for every call.
// Throws std::runtime_error "Cannot create instance id".
std::string CreateInstanceId();

}  // namespace receiver
