#include "receiver_client/cancellation.h"

#include "pipe/pcm_pipe_cancellation.h"

namespace receiver {

Cancellation::Cancellation() : shared_(std::make_shared<CPcmPipeCancellation>()) {}

void Cancellation::Cancel() noexcept {
    shared_->Cancel();
}

bool Cancellation::IsCancelled() const noexcept {
    return shared_->IsCancelled();
}

}  // namespace receiver
