#include "audio/decoded_pcm.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace receiver {
namespace {

constexpr size_t kInitialKeptBytes = 32768;

}  // namespace

bool DecodedPcm::Open(const AVCodecContext& codec, uint32_t outputRate, int outputBits,
                      int outputChannels) {
    kept_.resize(kInitialKeptBytes);
    keptStart_ = keptEnd_ = 0;
    return converter_.Open(codec, outputRate, outputBits, outputChannels);
}

void DecodedPcm::Close() {
    converter_.Close();
    kept_ = {};
    keptStart_ = keptEnd_ = 0;
}

bool DecodedPcm::Restart() {
    keptStart_ = keptEnd_ = 0;
    return converter_.Restart();
}

uint32_t DecodedPcm::TakeKept(uint8_t* buffer, uint32_t room) {
    const auto taken = static_cast<uint32_t>(std::min<size_t>(room, keptEnd_ - keptStart_));
    if (taken == 0) return 0;
    std::memcpy(buffer, kept_.data() + keptStart_, taken);
    keptStart_ += taken;
    return taken;
}

uint32_t DecodedPcm::Convert(const AVFrame& frame, int skip, uint8_t* buffer, uint32_t room,
                             uint32_t* bytes) {
    *bytes = 0;
    if (!converter_.Accept(frame)) return kDecoderErrorResampler;
    const auto blockAlign = static_cast<int64_t>(BlockAlign());
    const int64_t bound = converter_.OutputBound(frame.nb_samples - skip);
    if (bound < 0 || bound > std::numeric_limits<int32_t>::max() / blockAlign) {
        return kDecoderErrorOutOfMemory;
    }
    const int64_t needed = bound * blockAlign;
    const bool direct = needed <= room;
    if (!direct && static_cast<size_t>(needed) > kept_.size()) {
        kept_.resize(static_cast<size_t>(needed));
    }
    const int converted =
        converter_.Convert(frame, skip, direct ? buffer : kept_.data(), static_cast<int>(bound));
    if (converted == AVERROR(ENOMEM)) return kDecoderErrorOutOfMemory;
    if (converted < 0) return kDecoderErrorResampler;
    const auto made = static_cast<uint32_t>(converted * blockAlign);
    keptStart_ = 0;
    keptEnd_ = direct ? 0 : made;
    if (direct) *bytes = made;
    return kDecoderErrorNone;
}

}  // namespace receiver
