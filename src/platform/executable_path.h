// Where the running program lies, so that a tool finds the receiver beside it.
#pragma once

#include <filesystem>

namespace receiver {

// Absolute. Throws std::runtime_error "Cannot find the program's directory".
std::filesystem::path ExecutableDirectory();

}  // namespace receiver
