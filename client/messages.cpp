#include "message_json.h"

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

EventBody ParseBody(const std::string& type, const json& message) {
    if (type == kEventConnected) return ConnectedEvent{};
    if (type == kEventDetected) return DetectedEvent{ParseMatch(message)};
    if (type == kEventProgramEnd) return ProgramEndEvent{ParseProgram(message.at("program"))};
    if (type == kEventReady) {
        return ReadyEvent{Text(message, "uri"), Unsigned<uint64_t>(message, "sourceSample")};
    }
    if (type == kEventSourceError) {
        return SourceErrorEvent{Unsigned<uint32_t>(message, "error"),
                                message.at("canDrain").get<bool>(),
                                Unsigned<uint64_t>(message, "sourceEndSample")};
    }
    if (type == kEventFinished) return FinishedEvent{ParseSnapshot(message)};
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
    if (object.contains("sourceSample")) {
        snapshot.sourceSample = Unsigned<uint64_t>(object, "sourceSample");
    }
    if (object.contains("program")) snapshot.program = ParseProgram(object.at("program"));
    if (object.contains("sourceError")) {
        snapshot.sourceError = Unsigned<uint32_t>(object, "sourceError");
    }
    if (object.contains("buffer")) snapshot.buffer = ParseStatistics(object.at("buffer"));
    if (object.contains("reason")) snapshot.reason = Text(object, "reason");
    if (object.contains("message")) snapshot.message = Text(object, "message");
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

}  // namespace receiver
