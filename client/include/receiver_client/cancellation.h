// The stop signal that every wait of this library observes. Copies share one
// signal; it is final.
//
//   Threads  any. Cancel may also be called in a signal handler, on an object that outlives it.
//   Errors   only the constructor can fail; a copy cannot.
#pragma once

#include <memory>

#include "receiver_client/export.h"

namespace receiver {

class CPcmPipeCancellation;

class RECEIVER_API Cancellation final {
public:
    Cancellation();  // throws std::runtime_error when the system refuses an event

    void Cancel() noexcept;
    bool IsCancelled() const noexcept;

    // For this library's own use.
    const std::shared_ptr<CPcmPipeCancellation>& Shared() const { return shared_; }

private:
    std::shared_ptr<CPcmPipeCancellation> shared_;
};

}  // namespace receiver
