#include "receiver_scan/listen/programme.h"

#include <algorithm>
#include <limits>

namespace receiver {
namespace {

std::optional<ForcedEnd> EndOfSource(const HeardAudio& heard) {
    switch (heard.end) {
        case HearingEnd::kSourceEnded:
            return ForcedEnd{heard.frames, ProgramEndReason::kSourceEnded};
        case HearingEnd::kSourceFailed:
            return ForcedEnd{heard.frames, ProgramEndReason::kInterrupted};
        case HearingEnd::kStopped:
            break;
    }
    return std::nullopt;
}

Programme FindProgramme(uint64_t start, const std::vector<HeardReference>& references,
                        const HeardAudio& heard, const std::optional<ProgrammeLimits>& limits) {
    const std::optional<ForcedEnd> sourceEnd = EndOfSource(heard);
    Programme programme;
    programme.startSample = start;
    if (limits) {
        const ProgramBounds bounds{start, limits->maximumMs, limits->fadeMs};
        const ProgramEnd end = ComputeProgramEnd(bounds, references, sourceEnd);
        programme.endSample = end.endSample;
        programme.fadeFrames = end.fadeFrames;
        programme.reason = end.reason;
    } else if (sourceEnd) {
        programme.endSample = sourceEnd->sample;
        programme.reason = sourceEnd->reason;
    }
    programme.goesOn = !sourceEnd && (!limits || programme.endSample > heard.frames);
    if (programme.goesOn && !limits) programme.endSample = heard.frames;
    return programme;
}

// A reference that was told of may pass the threshold again a moment later.
bool IsHeardAgain(const std::vector<JudgedMatch>& before, const DetectorMatch& match,
                  uint64_t length) {
    return std::any_of(before.begin(), before.end(), [&](const JudgedMatch& earlier) {
        return earlier.fate != MatchFate::kHeardAgain &&
               earlier.match.referenceIndex == match.referenceIndex &&
               match.sample < earlier.match.sample + length;
    });
}

}  // namespace

Judgement Judge(const std::vector<DetectorMatch>& matches,
                const std::vector<ScanReference>& references, const HeardAudio& heard,
                const std::optional<ProgrammeLimits>& limits) {
    std::vector<HeardReference> heardReferences;
    std::optional<uint64_t> start;
    for (const DetectorMatch& match : matches) {
        const ScanReference& reference = references[match.referenceIndex];
        heardReferences.push_back({reference.role, match.sample, reference.LengthFrames()});
        if (!start && reference.role == ReferenceRole::kStart) start = match.sample;
    }
    Judgement judgement;
    if (start) judgement.programme = FindProgramme(*start, heardReferences, heard, limits);

    bool begun = false;
    bool ended = false;
    for (const DetectorMatch& match : matches) {
        const ScanReference& reference = references[match.referenceIndex];
        const uint64_t candidate = match.sample + reference.LengthFrames();
        const auto& programme = judgement.programme;
        MatchFate fate = MatchFate::kReportedOnly;
        if (IsHeardAgain(judgement.matches, match, reference.LengthFrames())) {
            fate = MatchFate::kHeardAgain;
        } else if (reference.role == ReferenceRole::kStart && !begun) {
            fate = MatchFate::kStartsProgramme;
            begun = true;
        } else if (reference.role == ReferenceRole::kEnd &&
                   (!programme || match.sample < programme->startSample)) {
            fate = MatchFate::kEndBeforeStart;
        } else if (reference.role == ReferenceRole::kEnd && !ended && limits &&
                   programme->reason == ProgramEndReason::kOutro &&
                   candidate == programme->endSample) {
            fate = MatchFate::kEndsProgramme;
            ended = true;
        } else if (reference.role == ReferenceRole::kOther) {
            fate = MatchFate::kReportedOnly;
        } else if (match.sample >= programme->endSample) {
            fate = MatchFate::kAfterProgramme;
        } else {
            fate = reference.role == ReferenceRole::kEnd ? MatchFate::kEndTooLate
                                                         : MatchFate::kStartAfterStart;
        }
        judgement.matches.push_back({match, fate});
    }
    return judgement;
}

}  // namespace receiver
