#include "message_json.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

#include "wire/messages.h"

namespace receiver {
namespace {

using nlohmann::json;

Role RoleNamed(const std::string& name) {
    if (name == kRoleStart) return Role::kStart;
    return name == kRoleEnd ? Role::kEnd : Role::kOther;
}

// The JSON library converts numbers of any kind silently; positions must be what they say.
template <typename T>
T Unsigned(const json& object, const char* key) {
    const json& value = object.at(key);
    if (!value.is_number_unsigned() || value.get<uint64_t>() > std::numeric_limits<T>::max()) {
        throw std::runtime_error(std::string("'") + key + "' is no unsigned number in range");
    }
    return value.get<T>();
}

std::string Text(const json& object, const char* key) {
    return object.at(key).get<std::string>();
}

std::optional<uint64_t> OptionalSample(const json& object, const char* key) {
    if (!object.contains(key)) return {};
    return Unsigned<uint64_t>(object, key);
}

Match ParseMatch(const json& object) {
    return {Text(object, "referenceId"), RoleNamed(Text(object, "role")),
            Unsigned<uint64_t>(object, "sample"), Unsigned<uint64_t>(object, "observedAfterSample"),
            object.at("ber").get<double>()};
}

Program ParseProgram(const json& object) {
    return {Unsigned<uint64_t>(object, "startSample"), Unsigned<uint64_t>(object, "endSample"),
            Unsigned<uint32_t>(object, "sampleRate"), Unsigned<uint64_t>(object, "fadeFrames"),
            Text(object, "reason")};
}

BufferStatistics ParseStatistics(const json& object) {
    BufferStatistics statistics;
    statistics.receivedBytes = Unsigned<uint64_t>(object, "receivedBytes");
    statistics.retainedBytes = Unsigned<uint64_t>(object, "retainedBytes");
    statistics.availableBytes = Unsigned<uint64_t>(object, "availableBytes");
    statistics.firstSample = Unsigned<uint64_t>(object, "firstSample");
    statistics.readSample = Unsigned<uint64_t>(object, "readSample");
    statistics.nextSample = Unsigned<uint64_t>(object, "nextSample");
    statistics.sampleRate = Unsigned<uint32_t>(object, "sampleRate");
    statistics.blockAlign = Unsigned<uint32_t>(object, "blockAlign");
    statistics.error = Unsigned<uint32_t>(object, "error");
    statistics.finished = object.at("finished").get<bool>();
    return statistics;
}

std::optional<Cause> ParseCause(const json& object) {
    const auto found = object.find("cause");
    if (found == object.end()) return {};
    Cause cause{Text(*found, "kind"), Text(*found, "text"), {}, {}};
    if (found->contains("status")) cause.status = Unsigned<uint32_t>(*found, "status");
    if (found->contains("referenceId")) cause.referenceId = Text(*found, "referenceId");
    return cause;
}

Resumption ParseResumption(const json& object) {
    return {Unsigned<uint64_t>(object, "sample"),         Unsigned<uint64_t>(object, "outageMs"),
            Unsigned<uint64_t>(object, "repeatedFrames"), Unsigned<uint64_t>(object, "lostFrames"),
            Unsigned<uint64_t>(object, "attempts"),       object.at("exact").get<bool>()};
}

// What the request asks for beyond the basic one: nothing else makes these keys.
json AdditionsOf(const PrepareRequest& request) {
    json additions = json::object();
    if (request.lookBackMs) additions["lookBackMs"] = *request.lookBackMs;
    if (request.reconnectMs) additions["reconnectMs"] = *request.reconnectMs;
    if (request.reconnectLostOnly) additions["reconnectLostOnly"] = true;
    if (request.startNow) additions["startNow"] = true;
    if (request.preRollMs) additions["preRollMs"] = *request.preRollMs;
    json report = json::array();
    if (request.report.cause) report.push_back(kReportCause);
    if (request.report.damage) report.push_back(kReportDamage);
    if (request.report.titles) report.push_back(kReportTitles);
    if (request.report.station) report.push_back(kReportStation);
    if (!report.empty()) additions["report"] = std::move(report);
    json http = json::object();
    if (!request.http.userAgent.empty()) http["userAgent"] = request.http.userAgent;
    if (!request.http.headers.empty()) http["headers"] = request.http.headers;
    if (!request.http.caFile.empty()) http["caFile"] = request.http.caFile;
    if (!http.empty()) additions["http"] = std::move(http);
    return additions;
}

EventBody ParseBody(const std::string& type, const json& message) {
    if (type == kEventConnected) return ConnectedEvent{};
    if (type == kEventDetected) return DetectedEvent{ParseMatch(message)};
    if (type == kEventProgramEnd) return ProgramEndEvent{ParseProgram(message.at("program"))};
    if (type == kEventReady) {
        return ReadyEvent{Text(message, "uri"), Unsigned<uint64_t>(message, "sourceSample"),
                          OptionalSample(message, "servedSample")};
    }
    if (type == kEventSourceError) {
        return SourceErrorEvent{
            Unsigned<uint32_t>(message, "error"), message.at("canDrain").get<bool>(),
            Unsigned<uint64_t>(message, "sourceEndSample"), ParseCause(message)};
    }
    if (type == kEventFinished) return FinishedEvent{ParseSnapshot(message)};
    if (type == kEventResumed) return ResumedEvent{ParseResumption(message), ParseCause(message)};
    if (type == kEventDamaged) {
        return DamagedEvent{Unsigned<uint64_t>(message, "sample"),
                            Unsigned<uint64_t>(message, "frames"), Text(message, "kind")};
    }
    if (type == kEventTitle) {
        return TitleEvent{Unsigned<uint64_t>(message, "sample"), Text(message, "title")};
    }
    if (type == kEventStation) {
        return StationEvent{Unsigned<uint64_t>(message, "sample"), Text(message, "name")};
    }
    return UnknownEvent{};
}

}  // namespace

const char* RoleName(Role role) noexcept {
    switch (role) {
        case Role::kStart:
            return kRoleStart;
        case Role::kEnd:
            return kRoleEnd;
        case Role::kOther:
            break;
    }
    return kRoleOther;
}

json ToJson(const PrepareRequest& request) {
    json message = {{"sessionId", request.sessionId}, {"url", request.url}};
    if (request.ioTimeoutMs) message["ioTimeoutMs"] = *request.ioTimeoutMs;
    if (request.blockBytes) message["blockBytes"] = *request.blockBytes;
    if (request.program) {
        message["program"] = {{"maximumMs", request.program->maximumMs},
                              {"fadeMs", request.program->fadeMs}};
    }
    json references = json::array();
    for (const Reference& reference : request.references) {
        references.push_back(
            {{"id", reference.id}, {"role", RoleName(reference.role)}, {"path", reference.path}});
    }
    message["references"] = std::move(references);
    message.update(AdditionsOf(request));
    return message;
}

Welcome ParseWelcome(const json& message) {
    Welcome welcome;
    welcome.instanceId = Text(message, "instanceId");
    const json& active = message.at("active");
    if (!active.is_null()) welcome.active = ParseSnapshot(active);
    welcome.raw = message.dump();
    return welcome;
}

SessionSnapshot ParseSnapshot(const json& object) {
    SessionSnapshot snapshot;
    snapshot.sessionId = Text(object, "sessionId");
    snapshot.state = Text(object, "state");
    if (object.contains("sequence")) snapshot.sequence = Unsigned<uint64_t>(object, "sequence");
    for (const json& match : object.at("matches")) snapshot.matches.push_back(ParseMatch(match));
    if (object.contains("uri")) snapshot.uri = Text(object, "uri");
    snapshot.sourceSample = OptionalSample(object, "sourceSample");
    snapshot.servedSample = OptionalSample(object, "servedSample");
    if (object.contains("additions")) {
        snapshot.additions = object.at("additions").get<std::vector<std::string>>();
    }
    if (object.contains("gaps")) {
        for (const json& gap : object.at("gaps")) snapshot.gaps.push_back(ParseResumption(gap));
    }
    if (object.contains("program")) snapshot.program = ParseProgram(object.at("program"));
    if (object.contains("sourceError")) {
        snapshot.sourceError = Unsigned<uint32_t>(object, "sourceError");
    }
    if (object.contains("buffer")) snapshot.buffer = ParseStatistics(object.at("buffer"));
    if (object.contains("reason")) snapshot.reason = Text(object, "reason");
    if (object.contains("message")) snapshot.message = Text(object, "message");
    snapshot.cause = ParseCause(object);
    snapshot.raw = object.dump();
    return snapshot;
}

Event ParseEvent(const json& message) {
    Event event;
    event.type = Text(message, "type");
    event.body = ParseBody(event.type, message);
    if (!std::holds_alternative<UnknownEvent>(event.body)) {
        event.sessionId = Text(message, "sessionId");
        event.sequence = Unsigned<uint64_t>(message, "sequence");
    } else if (message.contains("sessionId") && message.at("sessionId").is_string()) {
        event.sessionId = Text(message, "sessionId");
    }
    event.raw = message.dump();
    return event;
}

std::string JoinKeys(const std::vector<std::string>& keys) {
    std::string joined;
    for (const std::string& key : keys) {
        if (!joined.empty()) joined += ", ";
        joined += key;
    }
    return joined;
}

std::vector<std::string> MissingAdditions(const PrepareRequest& request,
                                          const SessionSnapshot& session) {
    const std::vector<std::string> taken = session.additions.value_or(std::vector<std::string>());
    const json asked = AdditionsOf(request);
    std::vector<std::string> missing;
    for (const auto& [key, value] : asked.items()) {
        if (std::find(taken.begin(), taken.end(), key) == taken.end()) missing.push_back(key);
    }
    return missing;
}

}  // namespace receiver
