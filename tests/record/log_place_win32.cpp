#include <windows.h>

#include "log_place.h"

namespace receiver {

void SetLogPlace(const std::filesystem::path& folder) {
    SetEnvironmentVariableW(L"LOCALAPPDATA", folder.c_str());
}

}  // namespace receiver
