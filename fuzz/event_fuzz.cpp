// A receiver's message as a controlling program reads it, from arbitrary bytes: refused
// with an exception, or a record that keeps all that was sent.
#include <exception>
#include <nlohmann/json.hpp>

#include "client/message_json.h"
#include "fuzz.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace receiver;
    const auto message = nlohmann::json::parse(data, data + size, nullptr, false);
    try {
        const receiver::Event event = receiver::ParseEvent(message);
        Expect(nlohmann::json::parse(event.raw) == message);
        Expect(event.type == message.at("type"));
    } catch (const std::exception&) {
    }
    try {
        const receiver::Welcome welcome = receiver::ParseWelcome(message);
        Expect(nlohmann::json::parse(welcome.raw) == message);
        Expect(welcome.active.has_value() != message.at("active").is_null());
    } catch (const std::exception&) {
    }
    return 0;
}
