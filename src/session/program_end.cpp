#include "session/program_end.h"

#include <algorithm>

#include "wire/messages.h"

namespace receiver {
namespace {

uint64_t FramesOf(uint64_t ms) {
    return ms * kStreamSampleRate / 1000;
}

}  // namespace

ProgramEnd ComputeProgramEnd(const ProgramBounds& bounds, std::span<const HeardReference> heard,
                             const std::optional<ForcedEnd>& forced) {
    const uint64_t start = bounds.startSample;
    ProgramEnd end{.startSample = start,
                   .endSample = start + FramesOf(bounds.maximumMs),
                   .fadeFrames = 0,
                   .reason = ProgramEndReason::kMaximum};
    for (const HeardReference& reference : heard) {
        if (reference.role != ReferenceRole::kEnd || reference.sample < start) continue;
        const uint64_t candidate = reference.sample + reference.length;
        if (candidate < end.endSample) {
            end.endSample = candidate;
            end.reason = ProgramEndReason::kOutro;
        }
    }
    if (forced && forced->sample < end.endSample) {
        end.endSample = forced->sample;
        end.reason = forced->reason;
    }
    if (end.reason != ProgramEndReason::kOutro) {
        const uint64_t length = end.endSample > start ? end.endSample - start : 0;
        end.fadeFrames = std::min(FramesOf(bounds.fadeMs), length);
    }
    return end;
}

const char* WordOf(ProgramEndReason reason) {
    switch (reason) {
        case ProgramEndReason::kMaximum:
            return kEndMaximum;
        case ProgramEndReason::kOutro:
            return kEndOutro;
        case ProgramEndReason::kInterrupted:
            return kEndInterrupted;
        case ProgramEndReason::kSourceEnded:
            break;
    }
    return kEndSourceEnded;
}

}  // namespace receiver
