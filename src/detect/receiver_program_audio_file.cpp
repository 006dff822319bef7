#include "detect/receiver_program_audio_file.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "wire/messages.h"

namespace receiver {
namespace {

int16_t Scaled(int16_t sample, uint64_t numerator, uint64_t denominator) {
    const auto product = static_cast<int64_t>(numerator) * sample;
    return static_cast<int16_t>(product / static_cast<int64_t>(denominator));
}

}  // namespace

CReceiverProgramAudioFile::CReceiverProgramAudioFile(CAudioFile& source, uint64_t startSample,
                                                     BoundaryCallback boundary)
    : source_(source),
      startSample_(startSample),
      position_(startSample),
      boundary_(std::move(boundary)) {
    const WAVEFORMATEX* format = FormatOf16BitPcm(source_);
    if (!format) throw std::runtime_error(kFinishedProgramFormat);
    record_ = *format;
    format_ = &record_;
    bytesPerSecond_ = record_.nAvgBytesPerSec;
    open_ = 1;
}

BOOL CReceiverProgramAudioFile::Close() {
    open_ = 0;
    return 1;
}

int32_t CReceiverProgramAudioFile::Read(void* buffer, uint32_t count) {
    if (!IsOpen() || !buffer) return -1;
    const uint32_t blockAlign = record_.nBlockAlign;
    const ReceiverProgramBoundary before = boundary_();
    if (position_ >= before.end) return 0;
    const uint64_t wanted = std::min<uint64_t>(before.end - position_, count / blockAlign);
    if (wanted == 0) return 0;
    const int32_t read = source_.Read(buffer, static_cast<uint32_t>(wanted) * blockAlign);
    if (read < 1) return read;
    if (static_cast<uint32_t>(read) % blockAlign != 0) return -1;

    // The end may have moved to the front while the source was waited for.
    const ReceiverProgramBoundary after = boundary_();
    if (position_ >= after.end) return 0;
    const uint64_t frames =
        std::min<uint64_t>(after.end - position_, static_cast<uint32_t>(read) / blockAlign);
    Fade(buffer, frames, after);
    position_ += frames;
    return static_cast<int32_t>(frames * blockAlign);
}

BOOL CReceiverProgramAudioFile::Seek(float position) {
    return position == 0.0f && position_ == startSample_;
}

void CReceiverProgramAudioFile::Fade(void* pcm, uint64_t frames,
                                     const ReceiverProgramBoundary& boundary) const {
    const uint64_t framesToEnd = boundary.end - position_;
    const uint64_t plain =
        framesToEnd > boundary.fadeFrames ? framesToEnd - boundary.fadeFrames : 0;
    auto* bytes = static_cast<unsigned char*>(pcm);
    for (uint64_t frame = std::min(plain, frames); frame < frames; ++frame) {
        const uint64_t remaining = framesToEnd - frame - 1;
        for (uint32_t channel = 0; channel < record_.nChannels; ++channel) {
            unsigned char* at = bytes + frame * record_.nBlockAlign + channel * sizeof(int16_t);
            int16_t sample;
            std::memcpy(&sample, at, sizeof(sample));
            sample = Scaled(sample, remaining, boundary.fadeFrames);
            std::memcpy(at, &sample, sizeof(sample));
        }
    }
}

}  // namespace receiver
