#include "audio/live_connection.h"

#include <cmath>
#include <utility>

namespace receiver {
namespace {

// Few enough to tell when they came.
constexpr size_t kPieceFrames = 512;

bool IsOrAny(uint32_t value, uint32_t required) {
    return required == 0 || value == required;
}

}  // namespace

LiveConnection::LiveConnection(SourceConnection source, const std::function<uint64_t()>& nowMs)
    : source_(std::move(source)), nowMs_(nowMs) {}

bool LiveConnection::Open(const std::string& path, const ConnectionFormat& format) {
    const bool opened = source_.file && source_.file->Open(path) != 0;
    const WAVEFORMATEX* pcm = opened ? FormatOf16BitPcm(*source_.file) : nullptr;
    if (!pcm || pcm->nSamplesPerSec == 0 || pcm->nChannels == 0 || pcm->nChannels > kMaxChannels ||
        pcm->nBlockAlign != pcm->nChannels * sizeof(int16_t) ||
        !IsOrAny(pcm->nSamplesPerSec, format.sampleRate) ||
        !IsOrAny(pcm->nChannels, format.channels)) {
        NoteBreak(SourceBreak::Phase::kOpening);
        return false;
    }
    format_ = {pcm->nSamplesPerSec, pcm->nChannels};
    clock_ = ArrivalClock(format_.sampleRate);
    return true;
}

int32_t LiveConnection::Read(std::vector<int16_t>& samples) {
    const size_t before = samples.size();
    const size_t frameBytes = format_.channels * sizeof(int16_t);
    samples.resize(before + kPieceFrames * format_.channels);
    const int32_t read = source_.file->Read(samples.data() + before,
                                            static_cast<uint32_t>(kPieceFrames * frameBytes));
    const bool whole = read > 0 && static_cast<size_t>(read) % frameBytes == 0 &&
                       static_cast<size_t>(read) <= kPieceFrames * frameBytes;
    const size_t frames = whole ? static_cast<size_t>(read) / frameBytes : 0;
    samples.resize(before + frames * format_.channels);
    if (!whole) {
        NoteBreak(read == 0 ? SourceBreak::Phase::kEnded : SourceBreak::Phase::kReading);
        return read == 0 ? 0 : -1;
    }
    frames_ += frames;
    // What waits for the rest of its frame has arrived all the same.
    const double ahead = source_.secondsAhead ? source_.secondsAhead() : 0.0;
    clock_.Note(frames_ + static_cast<uint64_t>(std::llround(ahead * format_.sampleRate)),
                nowMs_());
    return read;
}

std::vector<ConnectionNote> LiveConnection::TakeNotes() {
    return source_.notes ? source_.notes->Take() : std::vector<ConnectionNote>{};
}

void LiveConnection::NoteBreak(SourceBreak::Phase phase) {
    break_.phase = phase;
    if (source_.failure) break_.failure = source_.failure();
}

}  // namespace receiver
