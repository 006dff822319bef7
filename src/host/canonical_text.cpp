#include "host/canonical_text.h"

#include <nlohmann/json.hpp>
#include <vector>

namespace receiver {
namespace {

using nlohmann::json;

// An array or object that has been opened and not yet closed.
struct Open {
    const json* value;
    json::const_iterator next;
};

}  // namespace

std::string CanonicalText(const json& value) {
    std::string text;
    std::vector<Open> opened;
    const auto write = [&](const json& item) {
        if (item.is_structured()) {
            text += item.is_array() ? '[' : '{';
            opened.push_back({&item, item.begin()});
        } else {
            text += item.dump();
        }
    };
    write(value);
    while (!opened.empty()) {
        auto& [container, next] = opened.back();
        if (next == container->end()) {
            text += container->is_array() ? ']' : '}';
            opened.pop_back();
            continue;
        }
        if (next != container->begin()) text += ',';
        if (container->is_object()) text += json(next.key()).dump() + ':';
        const json& item = *next++;
        write(item);
    }
    return text;
}

}  // namespace receiver
