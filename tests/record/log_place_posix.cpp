#include <cstdlib>

#include "log_place.h"

namespace receiver {

void SetLogPlace(const std::filesystem::path& folder) {
    setenv("XDG_STATE_HOME", folder.c_str(), 1);
}

}  // namespace receiver
