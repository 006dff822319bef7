// The directory of one user's endpoints. Everything of an endpoint is done relative to
// its descriptor, so that what was checked is what is used.
#pragma once

#include <cstdint>
#include <string>

#include "platform/unique_fd_posix.h"

namespace receiver {

// "/tmp/corvadel-UID" of the effective user.
std::string EndpointDirectoryPath();

class EndpointDirectory final {
public:
    // Makes the directory (0700) unless it exists, then as OpenExisting.
    uint32_t OpenOrCreate(const std::string& path);
    // 0, or the code of the failure: 2 when it is absent; 5 when it is a symbolic link, no
    // directory, another user's, or open to group or others.
    uint32_t OpenExisting(const std::string& path);

    // False once the path names another directory, or none.
    bool IsAt(const std::string& path) const;

    int Fd() const { return fd_.Get(); }
    // A path of the entry `name` that fits a socket address if `name` is short.
    std::string ShortPath(const std::string& name) const;

private:
    UniqueFd fd_;
};

}  // namespace receiver
