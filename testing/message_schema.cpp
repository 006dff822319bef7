#include "testing/message_schema.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validator.hpp>

#include "platform/thread_safety.h"
#include "testing/raw_control_client.h"

namespace receiver {
namespace {

using nlohmann::json;
using valijson::adapters::NlohmannJsonAdapter;

json TheSchema() {
    std::ifstream file(PROTOCOL_SCHEMA_PATH);
    return json::parse(file);
}

// One of the schema's definitions.
class Definition final {
public:
    Definition(json whole, const std::string& name) {
        whole.erase("anyOf");
        whole["allOf"] = {{{"$ref", "#/definitions/" + name}}};
        valijson::SchemaParser(valijson::SchemaParser::kDraft7)
            .populateSchema(NlohmannJsonAdapter(whole), schema_);
    }

    // What is wrong with the value; nothing for one that fits.
    std::string FaultOf(const json& value) const {
        valijson::Validator validator(valijson::Validator::kStrongTypes);
        valijson::ValidationResults results;
        if (validator.validate(schema_, NlohmannJsonAdapter(value), &results)) return "";
        std::string text = "does not fit: ";
        valijson::ValidationResults::Error error;
        while (results.popError(error)) text += error.description + "; ";
        return text;
    }

private:
    valijson::Schema schema_;
};

// Of the one definition that a message should fit, for a text that does not speak of the others.
std::string NameOf(const json& message) {
    const std::string type = message.is_object() ? message.value("type", "") : "";
    if (type == "ACK") return message.contains("session") ? "ackOfSession" : "ackOfShutdown";
    const json definitions = TheSchema()["definitions"];
    for (const auto& [name, definition] : definitions.items()) {
        const json constant = definition.value("/properties/type/const"_json_pointer, json());
        if (constant == type) return name;
    }
    return "message";
}

class Traffic final {
public:
    Traffic() : message_(TheSchema(), "message"), command_(TheSchema(), "command") {}

    void Sent(const std::string& body) EXCLUDES(mutex_) {
        json command = json::parse(body, nullptr, false);
        if (!command.is_object()) return;  // broken on purpose
        const auto id = command.find("requestId");
        if (id == command.end() || !id->is_string()) return;
        const auto requestId = id->get<std::string>();
        MutexLock lock(mutex_);
        // Never copied: a copy of the deepest one takes more stack than a sanitizer leaves.
        commands_[requestId] = std::move(command);
    }

    void Received(const std::string& body) EXCLUDES(mutex_) {
        const json message = json::parse(body, nullptr, false);
        if (!message_.FaultOf(message).empty()) {
            ADD_FAILURE() << "the message " << SchemaFaultOf(message, NameOf(message))
                          << body.substr(0, 2000);
        }
        if (!message.is_object()) return;
        const json type = message.value("type", json());
        if (type != "ACK" && type != "WELCOME") return;
        MutexLock lock(mutex_);
        const auto sent = commands_.find(message.value("requestId", ""));
        if (sent == commands_.end()) return;
        const std::string commandFault = command_.FaultOf(sent->second);
        if (!commandFault.empty()) {
            ADD_FAILURE() << "the accepted command " << commandFault << sent->second;
        }
    }

private:
    const Definition message_;
    const Definition command_;

    Mutex mutex_;
    std::map<std::string, json> commands_ GUARDED_BY(mutex_);  // the last with each requestId
};

}  // namespace

void CheckAllControlTraffic() {
    static Traffic traffic;
    [[maybe_unused]] static const bool listening = [] {
        RawControlClient::ObserveAll({[](const std::string& body) { traffic.Sent(body); },
                                      [](const std::string& body) { traffic.Received(body); }});
        return true;
    }();
}

std::string SchemaFaultOf(const json& value, const std::string& definition) {
    return Definition(TheSchema(), definition).FaultOf(value);
}

}  // namespace receiver
