#include "host/log_record.h"

#include <nlohmann/json.hpp>
#include <string_view>

#include "log/log.h"

namespace receiver {
namespace {

using nlohmann::json;

std::string TypeOf(const json& message) {
    const auto type = message.find("type");
    return type != message.end() && type->is_string() ? type->get<std::string>() : std::string();
}

// Text that stays on its line.
std::string OnOneLine(std::string_view text) {
    std::string line;
    for (const char c : text) {
        switch (c) {
            case '\n':
                line += "\\n";
                break;
            case '\r':
                line += "\\r";
                break;
            default:
                line += c;
        }
    }
    return line;
}

std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : OnOneLine(text)) {
        if (c == '"') quoted += '\\';
        quoted += c;
    }
    return quoted + '"';
}

void AppendField(const std::string& name, const json& value, std::string& line) {
    if (value.is_structured() && !value.empty()) {
        for (const auto& [key, item] : value.items()) {
            std::string itemName = name;
            itemName.append(".").append(key);
            AppendField(itemName, item, line);
        }
        return;
    }
    const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
    const bool needsQuotes = text.find_first_of(" =\"\r\n") != std::string::npos;
    line += " " + OnOneLine(name) + "=" + (needsQuotes ? Quoted(text) : text);
}

}  // namespace

std::string FormatLogRecord(const json& message) {
    std::string line = "RECEIVER " + OnOneLine(TypeOf(message));
    for (const auto& [key, value] : message.items()) {
        if (key != "type") AppendField(key, value, line);
    }
    return line;
}

int32_t LogLevelOf(const json& message) {
    const std::string type = TypeOf(message);
    for (const char* mark : {"ERROR", "REJECTED", "FAILED"}) {
        if (type.find(mark) != std::string::npos) return CLog::kError;
    }
    return CLog::kInformation;
}

}  // namespace receiver
