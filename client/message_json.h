// The records of receiver_client/messages.h made of JSON, and a request made into it. Pure.
//
//   Errors  the parsers throw std::runtime_error, or the JSON library's exceptions, when a key
//           that the protocol promises is missing, has another type or does not fit.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "receiver_client/messages.h"

namespace receiver {

// The command for the wire, without the keys that every command has. Bounds are not looked at.
nlohmann::json ToJson(const PrepareRequest& request);

Welcome ParseWelcome(const nlohmann::json& message);
SessionSnapshot ParseSnapshot(const nlohmann::json& object);
Event ParseEvent(const nlohmann::json& message);

// For people: "one, two".
std::string JoinKeys(const std::vector<std::string>& keys);

}  // namespace receiver
