#include "receiver_scan/listen/result_json.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "platform/text.h"
#include "session/session_events.h"

namespace receiver {
namespace {

using nlohmann::json;

double Rounded(double value, double parts) {
    return std::round(value * parts) / parts;
}

json MatchObject(const ScanResult& result, const JudgedMatch& judged) {
    const DetectorMatch& match = judged.match;
    const ScanReference& reference = result.references[match.referenceIndex];
    json object = MakeMatchObject({.referenceId = reference.id,
                                   .role = reference.role,
                                   .sample = match.sample,
                                   .observedAfterSample = match.observedAfterSample,
                                   .ber = match.ber});
    object["type"] = "match";
    object["seconds"] = Rounded(SecondsOf(match.sample), 1e6);
    object["margin"] = Rounded(kBerThreshold - match.ber, 1e6);
    object["fate"] = NameOf(judged.fate);
    return object;
}

json CauseObject(const MissCause& cause) {
    json object = {{"kind", NameOf(cause.kind)}, {"text", Describe(cause)}};
    switch (cause.kind) {
        case CauseKind::kOtherSpeed:
            object["speedPercent"] = cause.speedPercent;
            object["speedBer"] = Rounded(cause.speedBer, 1e6);
            break;
        case CauseKind::kOtherPart:
        case CauseKind::kOverlaidPart:
            object["fromSeconds"] = Rounded(cause.fromSeconds, 1e3);
            object["toSeconds"] = Rounded(cause.toSeconds, 1e3);
            break;
        case CauseKind::kUpperBands:
        case CauseKind::kLowerBands:
            object["hz"] = std::round(cause.hz);
            break;
        case CauseKind::kOverlaid:
        case CauseKind::kChance:
            break;
    }
    return object;
}

json NearMissObject(const ScanReference& reference, const NearMiss& miss) {
    return {{"type", "near-miss"},
            {"referenceId", reference.id},
            {"role", NameOf(reference.role)},
            {"sample", miss.sample},
            {"seconds", Rounded(SecondsOf(miss.sample), 1e6)},
            {"ber", miss.ber},
            {"margin", Rounded(kBerThreshold - miss.ber, 1e6)},
            {"cause", CauseObject(miss.cause)}};
}

json ReferenceObject(const ScanResult& result, size_t index) {
    const ScanReference& reference = result.references[index];
    const ReferenceView& view = result.views[index];
    json object = {{"referenceId", reference.id},
                   {"role", NameOf(reference.role)},
                   {"file", ReplaceIllFormedUtf8(reference.path)},
                   {"words", reference.print.words.size()},
                   {"nearMisses", view.misses.size()}};
    size_t matches = 0;
    for (const JudgedMatch& judged : result.judgement.matches) {
        if (judged.match.referenceIndex == index) ++matches;
    }
    object["matches"] = matches;
    if (view.best) {
        object["bestBer"] = view.best->ber;
        object["bestSample"] = result.heard.frameAt[view.best->offset];
    }
    return object;
}

const char* NameOf(HearingEnd end) {
    switch (end) {
        case HearingEnd::kSourceEnded:
            return "source-ended";
        case HearingEnd::kSourceFailed:
            return "source-failed";
        case HearingEnd::kStopped:
            break;
    }
    return "stopped";
}

json SummaryObject(const ScanResult& result) {
    json summary = {{"type", "summary"},
                    {"source", ReplaceIllFormedUtf8(result.source)},
                    {"samples", result.heard.frames},
                    {"sampleRate", kStreamSampleRate},
                    {"channels", result.heard.channels},
                    {"end", NameOf(result.heard.end)},
                    {"threshold", kBerThreshold},
                    {"references", json::array()}};
    for (size_t i = 0; i < result.references.size(); ++i) {
        summary["references"].push_back(ReferenceObject(result, i));
    }
    if (const std::optional<Programme>& programme = result.judgement.programme) {
        summary["program"] = MakeProgramObject({.startSample = programme->startSample,
                                                .endSample = programme->endSample,
                                                .fadeFrames = programme->fadeFrames,
                                                .reason = programme->reason});
        summary["program"]["goesOn"] = programme->goesOn;
    }
    return summary;
}

}  // namespace

const char* NameOf(MatchFate fate) {
    switch (fate) {
        case MatchFate::kStartsProgramme:
            return "starts-programme";
        case MatchFate::kEndsProgramme:
            return "ends-programme";
        case MatchFate::kReportedOnly:
            return "reported-only";
        case MatchFate::kHeardAgain:
            return "heard-again";
        case MatchFate::kStartAfterStart:
            return "start-after-start";
        case MatchFate::kEndBeforeStart:
            return "end-before-start";
        case MatchFate::kEndTooLate:
            return "end-too-late";
        case MatchFate::kAfterProgramme:
            break;
    }
    return "after-programme";
}

std::vector<nlohmann::json> ResultObjects(const ScanResult& result) {
    std::vector<json> objects;
    for (const JudgedMatch& judged : result.judgement.matches) {
        objects.push_back(MatchObject(result, judged));
    }
    for (size_t i = 0; i < result.views.size(); ++i) {
        for (const NearMiss& miss : result.views[i].misses) {
            objects.push_back(NearMissObject(result.references[i], miss));
        }
    }
    objects.push_back(SummaryObject(result));
    return objects;
}

}  // namespace receiver
