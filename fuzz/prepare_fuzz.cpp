// A PREPARE request of arbitrary JSON: refused with an exception, or within its bounds.
#include <exception>
#include <nlohmann/json.hpp>

#include "fuzz.h"
#include "session/prepared_program.h"
#include "wire/identifier.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace receiver;
    const auto message = nlohmann::json::parse(data, data + size, nullptr, false);
    PreparedProgram program;
    try {
        program = ParsePreparedProgram(message);
    } catch (const std::exception&) {
        return 0;
    }
    Expect(IsValidSessionId(program.sessionId));
    Expect(program.ioTimeoutMs >= 100 && program.ioTimeoutMs <= 60000);
    Expect(program.blockBytes >= 4 && program.blockBytes <= 1048576);
    Expect(program.maximumMs <= 3600000 && program.fadeMs <= 3600000);
    Expect(!program.references.empty() && program.references.size() <= 32);
    for (const auto& reference : program.references) Expect(IsValidSessionId(reference.id));
    return 0;
}
