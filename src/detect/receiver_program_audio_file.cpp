#include "detect/receiver_program_audio_file.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "detect/fade_out.h"
#include "wire/messages.h"

namespace receiver {

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
    FadeOut(buffer, frames, record_.nChannels, after.end - position_, after.fadeFrames);
    position_ += frames;
    return static_cast<int32_t>(frames * blockAlign);
}

BOOL CReceiverProgramAudioFile::Seek(float position) {
    return position == 0.0f && position_ == startSample_;
}

}  // namespace receiver
