// The names of the files that make up an endpoint, within the directory of endpoints.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

namespace receiver {

inline constexpr std::string_view kSocketPrefix = "Corvadel.PCM.";
inline constexpr std::string_view kLockPrefix = "lock.";
inline constexpr std::string_view kTemporaryPrefix = "bind.";

inline std::string SocketFileName(const std::string& name) {
    return std::string(kSocketPrefix) + name;
}

inline std::string LockFileName(const std::string& name) {
    return std::string(kLockPrefix) + name;
}

// Of a socket that has not got its name yet: by the number of its server's lock file, which is
// unique while the lock is held. A socket's address has no room for long names.
inline std::string TemporaryFileName(ino_t lock) {
    return std::string(kTemporaryPrefix) + std::to_string(lock);
}

}  // namespace receiver
