#include "session/session_events.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "wire/messages.h"

namespace receiver {

using nlohmann::json;

namespace {

const char* NameOf(SessionStatus::State state) {
    using State = SessionStatus::State;
    switch (state) {
        case State::kPreparing:
            return kStatePreparing;
        case State::kScanning:
            return kStateScanning;
        case State::kReady:
            return kStateReady;
        case State::kOpened:
            return kStateOpened;
        case State::kCancelling:
            return kStateCancelling;
        case State::kStopping:
            return kStateStopping;
        case State::kFinished:
            break;
    }
    return kStateFinished;
}

const char* NameOf(SessionStatus::Reason reason) {
    using Reason = SessionStatus::Reason;
    switch (reason) {
        case Reason::kEof:
            return kReasonEof;
        case Reason::kCancelled:
            return kReasonCancelled;
        case Reason::kError:
            break;
    }
    return kReasonError;
}

const char* NameOf(ProgramEndReason reason) {
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

}  // namespace

json MakeEvent(std::string_view type, const std::string& sessionId, uint64_t sequence, json body) {
    body["version"] = kProtocolVersion;
    body["type"] = type;
    body["sessionId"] = sessionId;
    body["sequence"] = sequence;
    return body;
}

json MakeProgramEndBody(const ProgramEnd& end) {
    return {{"program", MakeProgramObject(end)}};
}

json MakeReadyBody(const std::string& uri, uint64_t startSample) {
    return {{"uri", uri}, {"sourceSample", startSample}};
}

json MakeSourceErrorBody(const CRubberBufferAudioFile::Stats& stats, bool canDrain) {
    return {{"error", stats.error},
            {"buffer", MakeStatisticsObject(stats)},
            {"canDrain", canDrain},
            {"sourceEndSample", stats.nextSample}};
}

json MakeSnapshotObject(const SessionStatus& status) {
    json object = {{"sessionId", status.sessionId},
                   {"state", NameOf(status.state)},
                   {"sequence", status.sequence},
                   {"matches", json::array()}};
    for (const SessionMatch& match : status.matches) {
        object["matches"].push_back(MakeMatchObject(match));
    }
    if (status.uri) object["uri"] = *status.uri;
    if (status.startSample) object["sourceSample"] = *status.startSample;
    if (status.program) object["program"] = MakeProgramObject(*status.program);
    if (status.sourceError) {
        object["sourceError"] = status.sourceError->code;
        object["sourceEndSample"] = status.sourceError->endSample;
    }
    if (status.canDrain) object["canDrain"] = *status.canDrain;
    if (status.outcome) {
        object["reason"] = NameOf(status.outcome->reason);
        object["message"] = status.outcome->message;
    }
    if (status.buffer) object["buffer"] = MakeStatisticsObject(*status.buffer);
    return object;
}

json MakeMatchObject(const SessionMatch& match) {
    return {{"referenceId", match.referenceId},
            {"role", NameOf(match.role)},
            {"sample", match.sample},
            {"observedAfterSample", match.observedAfterSample},
            {"ber", match.ber}};
}

json MakeProgramObject(const ProgramEnd& end) {
    return {{"startSample", end.startSample},
            {"endSample", end.endSample},
            {"sampleRate", kStreamSampleRate},
            {"fadeFrames", end.fadeFrames},
            {"reason", NameOf(end.reason)}};
}

json MakeStatisticsObject(const CRubberBufferAudioFile::Stats& stats) {
    return {{"receivedBytes", stats.receivedBytes},
            {"retainedBytes", stats.retainedBytes},
            {"peakRetainedBytes", stats.peakRetainedBytes},
            {"readBytes", stats.readBytes},
            {"readSample", stats.readSample},
            {"firstSample", stats.firstSample},
            {"nextSample", stats.nextSample},
            {"availableBytes", stats.availableBytes},
            {"sampleRate", stats.sampleRate},
            {"blockAlign", stats.blockAlign},
            {"blocks", stats.blocks},
            {"error", stats.error},
            {"finished", stats.finished},
            {"ownerThread", stats.ownerThread}};
}

}  // namespace receiver
