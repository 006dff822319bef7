// The stop signal that every wait of this library observes. Copies share one
// signal; it is final. Any thread.
#pragma once

#include <memory>

namespace receiver {

class CPcmPipeCancellation;

class Cancellation final {
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
