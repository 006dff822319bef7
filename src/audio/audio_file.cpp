#include "audio/audio_file.h"

namespace receiver {

BOOL CAudioFile::GetInfo(AudioFileInfo* info) {
    if (open_ == 0) return 0;
    const auto length = static_cast<int64_t>(length_);
    // A wrapped source may give a rate of 0.
    const uint32_t perSecond = format_->nAvgBytesPerSec != 0 ? format_->nAvgBytesPerSec : 1;
    info->lengthBytes = static_cast<uint32_t>(length_);
    info->wholeSeconds = static_cast<uint32_t>(length / perSecond);
    info->channels = format_->nChannels;
    info->sampleRate = format_->nSamplesPerSec;
    info->milliseconds = static_cast<uint16_t>(
        static_cast<int64_t>(static_cast<double>(length) * 1000.0 / perSecond) % 1000);
    return 1;
}

uint32_t CAudioFile::GetFormat(const WAVEFORMATEX** format) {
    if (open_ == 0) return kFormatNotOpen;
    *format = format_;
    return kFormatOk;
}

void CAudioFile::GetSilenceByte(uint8_t* silence) const {
    if (open_ == 0) return;
    if (format_->wBitsPerSample == 16) *silence = 0;
    if (format_->wBitsPerSample == 8) *silence = 0x80;
}

const WAVEFORMATEX* FormatOf16BitPcm(CAudioFile& file) {
    const WAVEFORMATEX* format = nullptr;
    if (file.GetFormat(&format) != CAudioFile::kFormatOk || !format) return nullptr;
    const bool taken = format->wFormatTag == kFormatTagPcm && format->wBitsPerSample == 16 &&
                       format->nBlockAlign != 0;
    return taken ? format : nullptr;
}

}  // namespace receiver
