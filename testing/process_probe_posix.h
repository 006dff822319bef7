// What a process holds of the system, from outside: descriptors, threads, children.
// For POSIX-only tests; throws std::filesystem::filesystem_error when it is gone.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

namespace receiver {

inline std::filesystem::path ProcessFolder(long pid) {
    return "/proc/" + std::to_string(pid);
}

// Number and target of each open descriptor.
inline std::set<std::string> DescriptorsOf(long pid) {
    std::set<std::string> descriptors;
    for (const auto& entry : std::filesystem::directory_iterator(ProcessFolder(pid) / "fd")) {
        std::error_code closedMeanwhile;
        descriptors.insert(entry.path().filename().string() + " " +
                           std::filesystem::read_symlink(entry.path(), closedMeanwhile).string());
    }
    return descriptors;
}

inline size_t ThreadsOf(long pid) {
    const std::filesystem::directory_iterator tasks(ProcessFolder(pid) / "task");
    return static_cast<size_t>(std::distance(begin(tasks), end(tasks)));
}

// The first that a thread of it lists; 0 without any.
inline long ChildOf(long pid) {
    for (const auto& task : std::filesystem::directory_iterator(ProcessFolder(pid) / "task")) {
        long child = 0;
        if (std::ifstream(task.path() / "children") >> child) return child;
    }
    return 0;
}

inline bool HasChildren(long pid) {
    return ChildOf(pid) != 0;
}

inline bool IgnoresSignal(long pid, int signal) {
    std::ifstream status(ProcessFolder(pid) / "status");
    for (std::string line; std::getline(status, line);) {
        if (!line.starts_with("SigIgn:")) continue;
        return (std::stoull(line.substr(7), nullptr, 16) >> (signal - 1) & 1) != 0;
    }
    return false;
}

// How often its threads have begun to wait, all together.
inline uint64_t VoluntarySwitchesOf(long pid) {
    uint64_t switches = 0;
    for (const auto& task : std::filesystem::directory_iterator(ProcessFolder(pid) / "task")) {
        std::ifstream status(task.path() / "status");
        for (std::string line; std::getline(status, line);) {
            if (line.starts_with("voluntary_ctxt_switches:"))
                switches += std::stoull(line.substr(24));
        }
    }
    return switches;
}

// Resident memory, kB.
inline size_t ResidentKilobytesOf(long pid) {
    std::ifstream status(ProcessFolder(pid) / "status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) return std::stoul(line.substr(6));
    }
    return 0;
}

// Memory that no other process shares and no file holds, kB: what a leak grows.
inline size_t PrivateKilobytesOf(long pid) {
    std::ifstream sums(ProcessFolder(pid) / "smaps_rollup");
    for (std::string line; std::getline(sums, line);) {
        if (line.starts_with("Private_Dirty:")) return std::stoul(line.substr(14));
    }
    return 0;
}

}  // namespace receiver
