#include "pipe/pcm_pipe_cancellation.h"

#include <stdexcept>

namespace receiver {

CPcmPipeCancellation::CPcmPipeCancellation() {
    try {
        event_ = std::make_unique<ManualResetEvent>();
    } catch (const std::runtime_error&) {
        throw std::runtime_error("Could not create pipe cancellation event");
    }
}

}  // namespace receiver
