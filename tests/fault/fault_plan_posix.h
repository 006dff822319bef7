// Which call of the system fails next in a receiver that failing_calls_library_posix.cpp was loaded
// into: a file that the test and the receiver have both mapped.
//
//   Threads  any, in both processes. The test changes the plan only while its kind is kNone,
//            which it is again once a call has failed.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

namespace receiver {

enum class FaultKind : uint32_t {
    kNone,
    kAllocation,  // ENOMEM
    kDescriptor,  // what gives a new descriptor: EMFILE
    kThread,      // EAGAIN
    kWrite,       // what writes to files and sockets: EIO, ECONNRESET
    kSocket,      // what else is done with sockets: ENOBUFS, ECONNRESET
    kWait,        // poll: ENOMEM
    kFile,        // what is done with names and locks: EIO
    kLock,        // taking a mutex, which does not fail, but waits for the release first
};

// The environment variable of failing_calls_library_posix.cpp: the file's path.
inline constexpr char kFaultPlanVariable[] = "FAULT_PLAN";

struct FaultPlan {
    static constexpr size_t kNameBytes = 24;
    static constexpr size_t kCallerBytes = 4096;

    std::atomic<FaultKind> kind{FaultKind::kNone};
    std::atomic<int64_t> callsUntilFault{0};  // the call that brings it to 0 fails
    std::array<char, kNameBytes> thread{};    // whose calls count, by its name; all when empty
    std::atomic<uint32_t> held{0};            // how many have waited
    std::atomic<uint32_t> released{0};        // how many of them may go on; a futex
    std::atomic<uint32_t> happened{0};        // the fault has; what follows is valid
    std::array<char, kNameBytes> function{};
    std::array<char, kCallerBytes> callers{};  // a line for each: its object, offset and name
};

static_assert(std::atomic<int64_t>::is_always_lock_free, "shared between processes");

}  // namespace receiver
