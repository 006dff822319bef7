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
    isLive_ = !session.finished && !session.sourceFailed;
    if (session.matches.empty()) return;
    status_.matchId = session.matches.back().referenceId;
    status_.matchBer = session.matches.back().ber;
}

void LiveStatus::SetBuffer(const BufferStatistics& buffer, uint64_t now) {
    constexpr uint64_t kMinPaceMs = 500;  // over less time it tells nothing
    if (toldAt_ != 0 && now >= toldAt_ + kMinPaceMs) {
        const uint64_t samples = buffer.nextSample - std::min(buffer.nextSample, told_.nextSample);
        const auto ms = static_cast<double>(SamplesToMs(samples, buffer.sampleRate));
        pace_ = std::min(ms / static_cast<double>(now - toldAt_), 1.0);
    }
    told_ = buffer;
    toldAt_ = now;
    audioFramesThen_ = audioFrames_;
    SetTime(now);
}

void LiveStatus::SetTime(uint64_t now) {
    if (toldAt_ == 0) return;
    const bool comes = isLive_ && !told_.finished;
    const double passed = comes ? static_cast<double>(now - toldAt_) * pace_ : 0;
    const auto come = static_cast<uint64_t>(passed * told_.sampleRate / 1000);
    status_.streamMs = SamplesToMs(told_.nextSample + come, told_.sampleRate);
    if (told_.blockAlign == 0) return;
    const uint64_t held = told_.availableBytes / told_.blockAlign + come;
    const uint64_t fetched = audioFrames_ - audioFramesThen_;
    status_.bufferMs = SamplesToMs(held - std::min(held, fetched), told_.sampleRate);
}

void LiveStatus::SetAudio(const AudioProgress& audio, double peak) {
    if (audio.framesQueued == 0) return;
    audioFrames_ = audio.framesQueued;
    const uint32_t rate = audio.format.sampleRate;
    status_.programMs = SamplesToMs(audio.framesQueued, rate);
    status_.peak = NextMeterPeak(status_.peak.value_or(0), peak);
    if (!programFrames_) return;
    const uint64_t remaining = *programFrames_ - std::min(*programFrames_, audio.framesQueued);
    status_.remainingMs = SamplesToMs(remaining, rate);
}

}  // namespace receiver
