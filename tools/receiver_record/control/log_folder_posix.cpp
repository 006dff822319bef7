#include "receiver_record/control/log_folder.h"

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace receiver {

namespace fs = std::filesystem;

namespace {

// Nobody else may put a link there for the receiver to follow.
bool IsOurs(const fs::path& folder) {
    struct stat status {};
    return lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == geteuid() && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

bool MakeOurs(const fs::path& folder) {
    std::error_code error;
    fs::create_directories(folder.parent_path(), error);
    mkdir(folder.c_str(), 0700);
    return IsOurs(folder) && access(folder.c_str(), W_OK | X_OK) == 0;
}

std::vector<fs::path> Candidates() {
    std::vector<fs::path> folders;
    const char* const state = std::getenv("XDG_STATE_HOME");
    const char* const home = std::getenv("HOME");
    if (state != nullptr && *state == '/') {
        folders.push_back(fs::path(state) / "receiver-record");
    } else if (home != nullptr && *home == '/') {
        folders.push_back(fs::path(home) / ".local" / "state" / "receiver-record");
    }
    std::error_code error;
    const fs::path temporary = fs::temp_directory_path(error);
    if (!error) folders.push_back(temporary / ("receiver-record-" + std::to_string(geteuid())));
    return folders;
}

}  // namespace

fs::path LogFolder() {
    std::string tried;
    for (const fs::path& folder : Candidates()) {
        if (MakeOurs(folder)) return folder;
        tried += (tried.empty() ? "" : " and ") + folder.string();
    }
    throw std::runtime_error("There is no place for the receiver's log (tried " + tried +
                             "); --log names one");
}

}  // namespace receiver
