// Waits until a file in a folder has grown to a size: how far a recording has come.
#pragma once

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>

#include "platform/clock.h"
#include "record_run.h"

namespace receiver {

class FolderWatch {
public:
    explicit FolderWatch(const std::filesystem::path& folder) : fd_(inotify_init1(IN_CLOEXEC)) {
        inotify_add_watch(fd_, folder.c_str(), IN_MODIFY | IN_CREATE);
    }
    ~FolderWatch() { close(fd_); }
    bool WaitForSize(const std::filesystem::path& file, uint64_t bytes) {
        const uint64_t deadline = TickMs() + kRunPatienceMs;
        for (;;) {
            std::error_code missing;
            const uint64_t size = std::filesystem::file_size(file, missing);
            if (!missing && size >= bytes) return true;
            const uint64_t now = TickMs();
            pollfd ready = {fd_, POLLIN, 0};
            if (now >= deadline || poll(&ready, 1, static_cast<int>(deadline - now)) <= 0) {
                return false;
            }
            char events[4096];
            if (read(fd_, events, sizeof(events)) <= 0) return false;
        }
    }

private:
    const int fd_;
};

}  // namespace receiver
