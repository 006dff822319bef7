#include "pipe/endpoint_claim_posix.h"

#include <sys/file.h>

#include "platform/clock.h"

namespace receiver {
namespace {

constexpr uint64_t kSweepMs = 100;  // more than a sweeper holds a name

}  // namespace

uint32_t EndpointClaim::Take(const std::string& directoryPath, const std::string& name) {
    directoryPath_ = directoryPath;
    if (const uint32_t error = directory_.OpenOrCreate(directoryPath)) return error;
    ProtectDirectory();
    return lock_.Take(directory_.Fd(), name, TickMs() + kSweepMs);
}

bool EndpointClaim::IsInPlace() const {
    return directory_.IsAt(directoryPath_) && lock_.IsAtItsPath();
}

void EndpointClaim::ProtectDirectory() const {
    flock(directory_.Fd(), LOCK_SH | LOCK_NB);
}

}  // namespace receiver
