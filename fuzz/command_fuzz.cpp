// The canonical text of arbitrary JSON, however deep: it says the same as the message.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>

#include "fuzz.h"
#include "host/canonical_text.h"

namespace receiver {
namespace {

// What the library writes and compares by recursion, with the stack of a sanitizer.
constexpr auto kDeepestRecursion = 200;

}  // namespace
}  // namespace receiver

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace receiver;
    const auto message = nlohmann::json::parse(data, data + size, nullptr, false);
    if (message.is_discarded()) return 0;
    const std::string text = CanonicalText(message);
    const auto readBack = nlohmann::json::parse(text);
    Expect(CanonicalText(readBack) == text);

    const auto opened = std::count(data, data + size, '[') + std::count(data, data + size, '{');
    if (opened > kDeepestRecursion) return 0;
    Expect(readBack == message);
    Expect(text == message.dump());
    return 0;
}
