// Pipe names out of arbitrary text: one that is accepted is safe as a file name.
#include <string_view>

#include "fuzz.h"
#include "pipe/pipe_uri.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace receiver;
    const std::string_view uri(reinterpret_cast<const char*>(data), size);
    const auto name = PipeNameFromUri(uri);
    Expect(MapPipeUri(uri).has_value() == name.has_value());
    if (!name) return 0;
    constexpr std::string_view kAllowed =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._";
    Expect(!name->empty() && name->size() <= 180);
    Expect(name->find_first_not_of(kAllowed) == std::string::npos);
    Expect(uri.ends_with(*name));
    return 0;
}
