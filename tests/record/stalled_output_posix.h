// A FIFO that a program writes into and nobody empties until ReadAll.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "record_run.h"

namespace receiver {

class StalledOutput {
public:
    explicit StalledOutput(const std::string& path) {
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        fd_ = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        EXPECT_EQ(fcntl(fd_, F_SETPIPE_SZ, kCapacity), kCapacity);
    }
    ~StalledOutput() { close(fd_); }
    // The recorder writes a short head and then 16384 bytes at once, which never fit.
    bool WaitUntilWriterIsBlocked() {
        while (bytes_.size() < kCapacity) {
            if (!ReadSome()) return false;
        }
        return WaitForMore();
    }
    std::string ReadAll() {
        while (ReadSome()) {
        }
        return bytes_;
    }

private:
    static constexpr int kCapacity = 4096;

    bool WaitForMore() {
        pollfd ready = {fd_, POLLIN, 0};
        return poll(&ready, 1, static_cast<int>(kRunPatienceMs)) > 0;
    }
    bool ReadSome() {
        char piece[kCapacity];
        if (!WaitForMore()) return false;
        const ssize_t count = read(fd_, piece, sizeof(piece));
        if (count > 0) bytes_.append(piece, static_cast<size_t>(count));
        return count > 0;
    }

    int fd_ = -1;
    std::string bytes_;
};

}  // namespace receiver
