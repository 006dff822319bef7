#include "receiver_client/cancellation.h"

#include "pipe/pcm_pipe_cancellation.h"

namespace receiver {

CCancellation::CCancellation() : shared_(std::make_shared<CPcmPipeCancellation>()) {}

void CCancellation::Cancel() noexcept {
    shared_->Cancel();
}

bool CCancellation::IsCancelled() const noexcept {
    return shared_->IsCancelled();
}

}  // namespace receiver
