// A server's claim to its name: the directory of endpoints, and the name's lock in it.
//
// Cleaners of temporary folders take away what they hold to be old. So the claim can be looked
// after: while the server lives, the directory is locked against cleaners that know such locks
// (systemd-tmpfiles does), and what is gone nevertheless is noticed and made anew.
//
//   Threads  one at a time.
//   Errors   codes of platform/error_codes.h by result.
#pragma once

#include <cstdint>
#include <string>

#include "pipe/endpoint_directory_posix.h"
#include "pipe/endpoint_lock_posix.h"

namespace receiver {

class EndpointClaim final {
public:
    // Once only. 0, or the code of the failure: 5 when another server holds the name or the
    // directory is not ours to use.
    uint32_t Take(const std::string& directoryPath, const std::string& name);
    // False when somebody removed or replaced the directory or the lock: then another server
    // can take the name, or has.
    bool IsInPlace() const;
    // Cleaners stay away from a directory that somebody has locked. All its servers share the
    // lock; one that cannot have it now may try again.
    void ProtectDirectory() const;

    const EndpointDirectory& Directory() const { return directory_; }
    const EndpointLock& Lock() const { return lock_; }

private:
    std::string directoryPath_;
    EndpointDirectory directory_;
    EndpointLock lock_;  // ends before the directory
};

}  // namespace receiver
