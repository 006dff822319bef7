// The logs of the receivers that receiver-record has started, in one folder: few, and bounded.
// A receiver puts the time of a file's opening into its name, begins another one at 128 MB, and
// removes none.
//
//   Threads  one.
//   Errors   none: what cannot be removed stays.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace receiver {

class ReceiverLogs final {
public:
    // So many of recordings that are over, and of this one; in all at most so many bytes. Those
    // that another recording under way has are left to it.
    static constexpr size_t kMaxFiles = 20;
    static constexpr size_t kMaxOwnFiles = 2;
    static constexpr uint64_t kMaxBytes = 256ULL << 20;

    explicit ReceiverLogs(std::filesystem::path folder) : folder_(std::move(folder)) {}

    // What a receiver is to be given for the log of a recording that this process makes.
    std::filesystem::path NewLog(uint32_t processId) const;
    void Tidy(uint32_t processId) const;

private:
    const std::filesystem::path folder_;
};

// The newest of the files that a receiver has named after this one; empty when there is none.
std::filesystem::path NewestLog(const std::filesystem::path& log);

}  // namespace receiver
