#include "host/control_protocol.h"

#include <stdexcept>
#include <utility>

#include "host/canonical_text.h"
#include "host/event_filter.h"
#include "session/prepared_program.h"
#include "wire/identifier.h"
#include "wire/messages.h"
#include "wire/rejections.h"

namespace receiver {

using nlohmann::json;

namespace {

void Require(bool holds, const char* text) {
    if (!holds) throw std::invalid_argument(text);
}

bool HasSupportedVersion(const json& message) {
    const auto version = message.find("version");
    return version != message.end() && version->is_number_integer() && *version == kProtocolVersion;
}

}  // namespace

ControlProtocol::ControlProtocol(std::string instanceId, ControlChannel& channel, SessionSlot& slot)
    : instanceId_(std::move(instanceId)), channel_(channel), slot_(slot) {}

void ControlProtocol::Dispatch(const json& message) {
    std::string requestId;
    try {
        Require(message.is_object(), kRejectedNoObject);
        requestId = message.value("requestId", std::string());
        Handle(message, requestId);
    } catch (const ControlListenError&) {
        throw;
    } catch (const std::exception& error) {
        channel_.Reject(requestId, error.what());
    }
}

void ControlProtocol::Handle(const json& message, const std::string& requestId) {
    Require(IsValidSessionId(requestId), kRejectedRequestId);
    Require(HasSupportedVersion(message), kRejectedVersion);
    const std::string type = message.at("type").get<std::string>();
    if (type == kCommandHello) return Hello(requestId);
    Require(channel_.IsIntroduced(), kRejectedNoHello);

    // Made before anything is done, and merged in without needing memory: a command that was
    // carried out and acknowledged is not rejected afterwards.
    std::map<std::string, std::string> entry{{requestId, CanonicalText(message)}};
    const auto known = ledger_.find(requestId);
    Require(known == ledger_.end() || known->second == entry.at(requestId),
            kRejectedRequestIdReused);
    if (type == kCommandPrepare) {
        Prepare(message, requestId);
    } else if (type == kCommandCancel) {
        Cancel(message, requestId);
    } else if (type == kCommandShutdown) {
        ShutDown(requestId);
    } else {
        throw std::invalid_argument(kRejectedUnknownCommand);
    }
    ledger_.merge(entry);
}

void ControlProtocol::Hello(const std::string& requestId) {
    channel_.SetIntroduced();
    channel_.Send({{"type", kReplyWelcome},
                   {"requestId", requestId},
                   {"instanceId", instanceId_},
                   {"active", slot_.SnapshotOf("")}});
}

void ControlProtocol::Prepare(const json& message, const std::string& requestId) {
    slot_.Create(ParsePreparedProgram(message));
    try {
        channel_.Send({{"type", kReplyAck},
                       {"command", kCommandPrepare},
                       {"requestId", requestId},
                       {"session", slot_.SnapshotOf("")}});
        slot_.Start();
    } catch (...) {
        slot_.Discard();  // a session that never runs would never finish, nor let another in
        throw;
    }
}

void ControlProtocol::Cancel(const json& message, const std::string& requestId) {
    const std::string sessionId = message.at("sessionId").get<std::string>();
    Require(!sessionId.empty() && slot_.Holds(sessionId), kRejectedUnknownSession);
    slot_.RequestStop();
    channel_.Send({{"type", kReplyAck},
                   {"command", kCommandCancel},
                   {"requestId", requestId},
                   {"session", slot_.SnapshotOf(sessionId)}});
}

void ControlProtocol::ShutDown(const std::string& requestId) {
    channel_.ExpectStop();
    channel_.Send({{"type", kReplyAck}, {"command", kCommandShutdown}, {"requestId", requestId}});
    stopRequested_ = true;
}

void ControlProtocol::ForwardEvents() {
    for (json& event : slot_.TakeEvents()) {
        const auto session = slot_.StandingOf(event.value("sessionId", std::string()));
        if (IsOvertaken(event.value("type", std::string()), session)) continue;
        if (channel_.IsConnected() && channel_.IsIntroduced()) {
            channel_.Send(std::move(event));
        } else {
            channel_.LogMessage(std::move(event));
        }
    }
}

}  // namespace receiver
