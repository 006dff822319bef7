#include "receiver_record/display/live_status.h"

#include <algorithm>

#include "wire/messages.h"

namespace receiver {
namespace {

uint64_t SamplesToMs(uint64_t samples, uint32_t rate) {
    return rate == 0 ? 0 : samples * 1000 / rate;
}

}  // namespace

void LiveStatus::SetSession(const SessionRecord& session, bool stopping) {
    status_.state = stopping && !session.finished ? kStateStopping : session.state;
    programFrames_ = ProgramFrames(session);
    if (session.matches.empty()) return;
    status_.matchId = session.matches.back().referenceId;
    status_.matchBer = session.matches.back().ber;
}

void LiveStatus::SetBuffer(const BufferStatistics& buffer) {
    status_.streamMs = SamplesToMs(buffer.nextSample, buffer.sampleRate);
    if (buffer.blockAlign == 0) return;
    status_.bufferMs = SamplesToMs(buffer.availableBytes / buffer.blockAlign, buffer.sampleRate);
}

void LiveStatus::SetAudio(const AudioProgress& audio, double peak) {
    if (audio.framesQueued == 0) return;
    const uint32_t rate = audio.format.sampleRate;
    status_.programMs = SamplesToMs(audio.framesQueued, rate);
    status_.peak = NextMeterPeak(status_.peak.value_or(0), peak);
    if (!programFrames_) return;
    const uint64_t remaining = *programFrames_ - std::min(*programFrames_, audio.framesQueued);
    status_.remainingMs = SamplesToMs(remaining, rate);
}

}  // namespace receiver
