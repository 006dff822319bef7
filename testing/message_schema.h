// What goes over control pipes against docs/protocol.schema.json: each message of the receiver,
// and each command that it accepted.
//
//   Threads  any.
//   Errors   told to GoogleTest as failures of the running test.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace receiver {

// From now on every RawControlClient of the process is listened to. May be repeated; the first
// time no client may be in use.
void CheckAllControlTraffic();

// What is wrong with the value, which should be one of the schema's definitions ("command",
// "message", "prepare", ...); nothing for one that fits.
std::string SchemaFaultOf(const nlohmann::json& value, const std::string& definition);

}  // namespace receiver
