// Where the logs of the receivers that receiver-record starts are kept.
#pragma once

#include <filesystem>

namespace receiver {

// Made if it is not there, for this user alone. $XDG_STATE_HOME/receiver-record, by default
// ~/.local/state/receiver-record; %LOCALAPPDATA%\receiver-record on Windows; for a user without
// such a place a folder of the user's own among the temporary ones. Throws std::runtime_error
// with a text for people when none of them can be used.
std::filesystem::path LogFolder();

}  // namespace receiver
