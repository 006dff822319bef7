#include "pipe/pcm_pipe_cancellation.h"

#include <stdexcept>

CPcmPipeCancellation::CPcmPipeCancellation() {
    try {
        event_ = std::make_unique<CEvent>();
    } catch (const std::runtime_error&) {
        throw std::runtime_error("Could not create pipe cancellation event");
    }
}
