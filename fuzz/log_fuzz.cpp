// The log's line of arbitrary JSON: one line, with every value of the message under its name,
// in order, and nothing else. What the formatter writes is read here character by character.
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz.h"
#include "host/log_record.h"
#include "log/log.h"
#include "testing/memory_log.h"

namespace receiver {
namespace {

using nlohmann::json;

// Records are flattened by recursion: what the receiver logs is its own, and shallow.
constexpr auto kDeepestLogged = 200;

class RecordReader final {
public:
    explicit RecordReader(std::string_view record) : rest_(record) {}

    void Take(std::string_view expected) {
        Expect(rest_.starts_with(expected));
        rest_.remove_prefix(expected.size());
    }
    // Text that must stay on the line, but is not quoted.
    void TakePlain(std::string_view text) {
        for (const char c : text) Take(c == '\n' ? "\\n" : c == '\r' ? "\\r" : std::string(1, c));
    }
    void TakeValue(std::string_view text) {
        if (text.find_first_of(" =\"\r\n") == std::string_view::npos) return Take(text);
        Take("\"");
        for (const char c : text) c == '"' ? Take("\\\"") : TakePlain({&c, 1});
        Take("\"");
    }
    bool AtEnd() const { return rest_.empty(); }

private:
    std::string_view rest_;
};

void TakeFields(const json& value, const std::string& name, RecordReader& reader) {
    if (value.is_object() && !value.empty()) {
        for (const auto& [key, item] : value.get_ref<const json::object_t&>()) {
            TakeFields(item, name + "." + key, reader);
        }
    } else if (value.is_array() && !value.empty()) {
        for (size_t i = 0; i < value.size(); ++i) {
            TakeFields(value[i], name + "." + std::to_string(i), reader);
        }
    } else {
        reader.Take(" ");
        reader.TakePlain(name);
        reader.Take("=");
        reader.TakeValue(value.is_string() ? value.get_ref<const std::string&>() : value.dump());
    }
}

void ExpectAllOfIt(const json& message, const std::string& record) {
    RecordReader reader(record);
    reader.Take("RECEIVER ");
    const auto type = message.find("type");
    if (type != message.end() && type->is_string()) reader.TakePlain(type->get<std::string>());
    for (const auto& [key, value] : message.get_ref<const json::object_t&>()) {
        if (key != "type") TakeFields(value, key, reader);
    }
    Expect(reader.AtEnd());
}

void ExpectOneLogLine(int32_t level, const std::string& record) {
    std::vector<std::string> written;
    CLog(std::make_unique<MemoryLog>(written), {}).Write(level, record);
    Expect(written.front().ends_with(" : Message : " + record + "\n"));
    Expect(std::count(written.front().begin(), written.front().end(), '\n') == 1);
    const auto frontBytes = static_cast<std::ptrdiff_t>(written.front().size() - record.size());
    const std::string front(written.front().begin(), written.front().begin() + frontBytes);
    Expect(front.find(level == CLog::kError ? "LOG ERROR" : "LOG INFO") != std::string::npos);
}

}  // namespace
}  // namespace receiver

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace receiver;
    const auto opened = std::count(data, data + size, '[') + std::count(data, data + size, '{');
    if (opened > kDeepestLogged) return 0;
    const auto message = nlohmann::json::parse(data, data + size, nullptr, false);
    if (!message.is_object()) return 0;
    const std::string record = FormatLogRecord(message);
    Expect(record.find_first_of("\r\n") == std::string::npos);
    ExpectAllOfIt(message, record);
    ExpectOneLogLine(LogLevelOf(message), record);
    return 0;
}
