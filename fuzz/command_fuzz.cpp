// What the host does with every message that it parses or logs: the canonical text
// says the same as the message, and a log record stays on its line.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>

#include "fuzz.h"
#include "host/canonical_text.h"
#include "host/log_record.h"

namespace receiver {
namespace {

// Records are flattened by recursion: what the receiver logs is its own, and shallow.
constexpr auto kDeepestLogged = 200;

}  // namespace
}  // namespace receiver

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace receiver;
    const auto message = nlohmann::json::parse(data, data + size, nullptr, false);
    if (message.is_discarded()) return 0;
    const std::string text = CanonicalText(message);
    Expect(CanonicalText(nlohmann::json::parse(text)) == text);

    const auto opened = std::count(data, data + size, '[') + std::count(data, data + size, '{');
    if (!message.is_object() || opened > kDeepestLogged) return 0;
    Expect(text == message.dump());
    const std::string record = FormatLogRecord(message);
    Expect(record.starts_with("RECEIVER "));
    Expect(LogLevelOf(message) >= 0);
    return 0;
}
