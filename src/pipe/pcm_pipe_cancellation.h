// The one-way stop signal that every wait of a pipe endpoint observes; shared
// between the endpoint and whoever may stop it. Any thread.
#pragma once

#include <memory>

#include "platform/manual_reset_event.h"

namespace receiver {

class CPcmPipeCancellation final {
public:
    // Throws std::runtime_error "Could not create pipe cancellation event".
    CPcmPipeCancellation();

    void Cancel() noexcept { event_->Signal(); }
    bool IsCancelled() const noexcept { return event_->IsSignalled(); }
    ManualResetEvent& Event() noexcept { return *event_; }
    const ManualResetEvent& Event() const noexcept { return *event_; }

private:
    std::unique_ptr<ManualResetEvent> event_;
};

}  // namespace receiver
