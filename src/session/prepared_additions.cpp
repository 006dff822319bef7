#include "session/prepared_additions.h"

#include <algorithm>
#include <string_view>

#include "platform/files.h"
#include "platform/text.h"
#include "session/request_values.h"
#include "wire/messages.h"
#include "wire/prepare_limits.h"
#include "wire/rejections.h"

namespace receiver {
namespace {

using nlohmann::json;

constexpr const char* kLookBack = "lookBackMs";
constexpr const char* kReconnect = "reconnectMs";
constexpr const char* kReconnectLostOnly = "reconnectLostOnly";
constexpr const char* kStartNow = "startNow";
constexpr const char* kPreRoll = "preRollMs";
constexpr const char* kReport = "report";
constexpr const char* kHttp = "http";

bool IsTokenCharacter(char c) {
    constexpr std::string_view kOthers = "!#$%&'*+-.^_`|~";
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
           kOthers.find(c) != std::string_view::npos;
}

// A line break would let a value write headers, or a second request, of its own.
bool IsHeaderText(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte == '\t' || (byte >= 0x20 && byte != 0x7F);
    });
}

// Who the request goes to and how its body ends is for the connection to say.
bool IsReservedHeader(const std::string& name) {
    const std::string lower = ToLowerAscii(name);
    return lower == "host" || lower == "connection" || lower == "content-length" ||
           lower == "transfer-encoding" || lower == "range" || lower == "user-agent" ||
           lower == "icy-metadata";
}

void ReadReport(const json& words, PreparedAdditions& additions) {
    RequireOfRequest(words.is_array(), kRejectedReport);
    for (const json& element : words) {
        const std::string word = element.get<std::string>();
        if (word == kReportCause) {
            additions.reportsCause = true;
        } else if (word == kReportDamage) {
            additions.reportsDamage = true;
        } else if (word == kReportTitles) {
            additions.reportsTitles = true;
        } else {
            RequireOfRequest(word == kReportStation, kRejectedReport);
            additions.reportsStation = true;
        }
    }
}

void ReadHeaders(const json& headers, PreparedHttp& http) {
    RequireOfRequest(headers.is_object() && headers.size() <= kMaxHttpHeaders, kRejectedHttpHeader);
    for (const auto& [name, value] : headers.items()) {
        const std::string text = value.get<std::string>();
        RequireOfRequest(!name.empty() && name.size() + text.size() <= kMaxHttpHeaderBytes &&
                             std::all_of(name.begin(), name.end(), IsTokenCharacter) &&
                             IsHeaderText(text) && !IsReservedHeader(name),
                         kRejectedHttpHeader);
        http.headers.emplace_back(name, text);
    }
}

void ReadHttp(const json& object, PreparedHttp& http) {
    RequireOfRequest(object.is_object(), kRejectedHttp);
    if (const auto userAgent = object.find("userAgent"); userAgent != object.end()) {
        http.userAgent = userAgent->get<std::string>();
        RequireOfRequest(!http.userAgent.empty() && http.userAgent.size() <= kMaxUserAgentBytes &&
                             IsHeaderText(http.userAgent),
                         kRejectedUserAgent);
    }
    if (const auto headers = object.find("headers"); headers != object.end()) {
        ReadHeaders(*headers, http);
    }
    if (const auto caFile = object.find("caFile"); caFile != object.end()) {
        const std::string path = caFile->get<std::string>();
        RequireOfRequest(
            !path.empty() && path.size() <= kMaxPathBytes && path.find("://") == std::string::npos,
            kRejectedCaFile);
        http.caFile = Utf8ToAnsi(path);
        RequireOfRequest(IsExistingFile(http.caFile), kRejectedCaFileMissing);
    }
}

}  // namespace

bool AsksToStartNow(const json& message) {
    const auto found = message.find(kStartNow);
    return found != message.end() && found->is_boolean() && found->get<bool>();
}

PreparedAdditions ReadAdditions(const json& message) {
    PreparedAdditions additions;
    for (const char* key :
         {kLookBack, kReconnect, kReconnectLostOnly, kStartNow, kPreRoll, kReport, kHttp}) {
        if (message.contains(key)) additions.keys.emplace_back(key);
    }
    const uint64_t lookBackMs = ReadOptionalUnsigned(message, kLookBack, kMinLookBackMs);
    const uint64_t reconnectMs = ReadOptionalUnsigned(message, kReconnect, 0);
    const uint64_t preRollMs = ReadOptionalUnsigned(message, kPreRoll, 0);
    RequireOfRequest(lookBackMs >= kMinLookBackMs && lookBackMs <= kMaxLookBackMs,
                     kRejectedLookBack);
    RequireOfRequest(reconnectMs <= kMaxReconnectMs, kRejectedReconnect);
    RequireOfRequest(preRollMs <= kMaxPreRollMs, kRejectedPreRoll);
    if (message.contains(kLookBack)) additions.lookBackMs = static_cast<uint32_t>(lookBackMs);
    if (message.contains(kPreRoll)) additions.preRollMs = static_cast<uint32_t>(preRollMs);
    additions.reconnectMs = static_cast<uint32_t>(reconnectMs);
    if (const auto found = message.find(kReconnectLostOnly); found != message.end()) {
        additions.reconnectLostOnly = found->get<bool>();
    }
    if (const auto found = message.find(kStartNow); found != message.end()) {
        additions.startNow = found->get<bool>();
    }
    if (const auto found = message.find(kReport); found != message.end()) {
        ReadReport(*found, additions);
    }
    if (const auto found = message.find(kHttp); found != message.end()) {
        ReadHttp(*found, additions.http);
    }
    return additions;
}

}  // namespace receiver
