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

const char* NameOf(SourceFailure::Kind kind) {
    using Kind = SourceFailure::Kind;
    switch (kind) {
        case Kind::kNameLookup:
            return kCauseNameLookup;
        case Kind::kRefused:
            return kCauseRefused;
        case Kind::kUnreachable:
            return kCauseUnreachable;
        case Kind::kTls:
            return kCauseTls;
        case Kind::kHttp:
            return kCauseHttp;
        case Kind::kTimeout:
            return kCauseTimeout;
        case Kind::kNotAudio:
            return kCauseNotAudio;
        case Kind::kEnded:
            return kCauseEnded;
        case Kind::kReset:
            return kCauseReset;
        case Kind::kOther:
            break;
    }
    return kCauseOther;
}

const char* NameOf(SessionCause::Kind kind) {
    using Kind = SessionCause::Kind;
    switch (kind) {
        case Kind::kReference:
            return kCauseReference;
        case Kind::kMemory:
            return kCauseMemory;
        case Kind::kAudioPipe:
            return kCauseAudioPipe;
        case Kind::kSource:
            break;
    }
    return kCauseOther;
}

const char* NameOf(SourceDamage::Kind kind) {
    return kind == SourceDamage::Kind::kDiscontinuity ? kDamageDiscontinuity : kDamageUndecodable;
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

json MakeReadyBody(const std::string& uri, uint64_t startSample,
                   const std::optional<uint64_t>& servedSample) {
    json body = {{"uri", uri}, {"sourceSample", startSample}};
    if (servedSample) body["servedSample"] = *servedSample;
    return body;
}

json MakeSourceErrorBody(const CRubberBufferAudioFile::Stats& stats, bool canDrain,
                         const std::optional<SessionCause>& cause) {
    json body = {{"error", stats.error},
                 {"buffer", MakeStatisticsObject(stats)},
                 {"canDrain", canDrain},
                 {"sourceEndSample", stats.nextSample}};
    if (cause) body["cause"] = MakeCauseObject(*cause);
    return body;
}

json MakeResumedBody(const SourceResumption& resumption, bool withCause) {
    json body = {{"sample", resumption.sample},
                 {"outageMs", resumption.outageMs},
                 {"repeatedFrames", resumption.repeatedFrames},
                 {"lostFrames", resumption.lostFrames},
                 {"attempts", resumption.attempts},
                 {"exact", resumption.exact}};
    if (withCause) {
        body["cause"] =
            MakeCauseObject({.source = resumption.cause, .referenceId = {}, .text = {}});
    }
    return body;
}

json MakeDamagedBody(const SourceDamage& damage) {
    return {{"sample", damage.sample}, {"frames", damage.frames}, {"kind", NameOf(damage.kind)}};
}

json MakeTitleBody(const SourceTitle& title) {
    return {{"sample", title.sample}, {"title", title.title}};
}

json MakeStationBody(const SourceStation& station) {
    return {{"sample", station.sample}, {"name", station.name}};
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
    if (status.servedSample) object["servedSample"] = *status.servedSample;
    if (!status.additions.empty()) object["additions"] = status.additions;
    if (status.gaps) {
        object["gaps"] = json::array();
        for (const SourceResumption& gap : *status.gaps) {
            object["gaps"].push_back(MakeResumedBody(gap, false));
        }
    }
    if (status.program) object["program"] = MakeProgramObject(*status.program);
    if (status.sourceError) {
        object["sourceError"] = status.sourceError->code;
        object["sourceEndSample"] = status.sourceError->endSample;
    }
    if (status.canDrain) object["canDrain"] = *status.canDrain;
    if (status.outcome) {
        object["reason"] = NameOf(status.outcome->reason);
        object["message"] = status.outcome->message;
        if (status.outcome->cause) object["cause"] = MakeCauseObject(*status.outcome->cause);
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
            {"reason", WordOf(end.reason)}};
}

json MakeCauseObject(const SessionCause& cause) {
    const bool isSource = cause.kind == SessionCause::Kind::kSource;
    json object = {{"kind", isSource ? NameOf(cause.source.kind) : NameOf(cause.kind)},
                   {"text", isSource ? cause.source.text : cause.text}};
    if (isSource && cause.source.httpStatus != 0) object["status"] = cause.source.httpStatus;
    if (cause.kind == SessionCause::Kind::kReference) object["referenceId"] = cause.referenceId;
    return object;
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
