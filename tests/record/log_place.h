// Where the recorders that a test starts keep their receivers' logs: not among the user's own.
#pragma once

#include <filesystem>

namespace receiver {

void SetLogPlace(const std::filesystem::path& folder);

}  // namespace receiver
