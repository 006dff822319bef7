// A server's exclusive hold of its name: an flock on the file "lock.NAME" of the
// endpoint directory. The kernel drops it with the process, so the name of a receiver
// that was killed is free at once.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "platform/unique_fd_posix.h"

namespace receiver {

class EndpointLock final {
public:
    EndpointLock() = default;
    ~EndpointLock();  // removes the file while the lock is held
    EndpointLock(const EndpointLock&) = delete;
    EndpointLock& operator=(const EndpointLock&) = delete;

    // Once only. 0, or the code of the failure: 5 when another server holds the name, and
    // still does at the deadline (of TickMs; 0 for one try). The directory's descriptor
    // outlives the lock.
    uint32_t Take(int directory, const std::string& name, uint64_t deadlineTickMs);

    // Unique within the directory for as long as the file exists.
    ino_t Inode() const { return inode_; }
    // False once somebody else removed the file, or put another in its place. Valid while
    // the lock is held.
    bool IsAtItsPath() const;

private:
    bool TryLock();
    bool WaitForRelease(uint64_t deadlineTickMs) const;  // true when trying again may help

    int directory_ = -1;
    std::string fileName_;
    UniqueFd fd_;  // valid while the lock is held
    ino_t inode_ = 0;
};

}  // namespace receiver
