// The meaning of the control messages: checks each command, carries it out on the
// session slot, answers it, and decides which session events the client may see.
//
//   Threads  the main thread only.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "host/control_channel.h"
#include "host/session_slot.h"

namespace receiver {

class ControlProtocol final {
public:
    // Channel and slot outlive the object.
    ControlProtocol(std::string instanceId, ControlChannel& channel, SessionSlot& slot);

    // Answers one message, also when it is bad. Throws ControlListenError alone.
    void Dispatch(const nlohmann::json& message);
    void ForwardEvents();
    bool IsStopRequested() const { return stopRequested_; }  // SHUTDOWN was accepted

private:
    void Handle(const nlohmann::json& message, const std::string& requestId);
    void Hello(const std::string& requestId);
    void Prepare(const nlohmann::json& message, const std::string& requestId);
    void Cancel(const nlohmann::json& message, const std::string& requestId);
    void ShutDown(const std::string& requestId);

    const std::string instanceId_;
    ControlChannel& channel_;
    SessionSlot& slot_;
    bool stopRequested_ = false;
    // requestId to its first command's text; never cleared, so that an id keeps its
    // meaning over reconnections.
    std::map<std::string, std::string> ledger_;
};

}  // namespace receiver
