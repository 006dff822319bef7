#include "session/prepared_program.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string_view>

#include "platform/files.h"
#include "platform/text.h"
#include "session/request_values.h"
#include "wire/identifier.h"
#include "wire/prepare_limits.h"
#include "wire/rejections.h"

namespace receiver {
namespace {

using nlohmann::json;

std::string ReadString(const json& object, const char* key) {
    return object.at(key).get<std::string>();
}

bool IsHttpUrl(std::string_view url) {
    return url.size() <= kMaxUrlBytes &&
           (url.starts_with("http://") || url.starts_with("https://"));
}

void ReadPacing(const json& message, PreparedProgram& program) {
    const uint64_t ioTimeoutMs = ReadOptionalUnsigned(message, "ioTimeoutMs", program.ioTimeoutMs);
    const uint64_t blockBytes = ReadOptionalUnsigned(message, "blockBytes", program.blockBytes);
    RequireOfRequest(ioTimeoutMs >= kMinIoTimeoutMs && ioTimeoutMs <= kMaxIoTimeoutMs,
                     kRejectedIoTimeout);
    RequireOfRequest(blockBytes >= kMinBlockBytes && blockBytes <= kMaxBlockBytes,
                     kRejectedBlockBytes);
    program.ioTimeoutMs = static_cast<uint32_t>(ioTimeoutMs);
    program.blockBytes = static_cast<uint32_t>(blockBytes);
}

void ReadBounds(const json& message, PreparedProgram& program) {
    const auto bounds = message.find("program");
    if (bounds == message.end()) return;
    program.maximumMs = ReadUnsigned<uint32_t>(bounds->at("maximumMs"));
    program.fadeMs = ReadUnsigned<uint32_t>(bounds->at("fadeMs"));
    RequireOfRequest(program.maximumMs >= kMinProgramMs && program.maximumMs <= kMaxProgramMs,
                     kRejectedMaximum);
    RequireOfRequest(program.fadeMs <= kMaxFadeMs, kRejectedFade);
}

PreparedReference ReadReference(const json& element, std::set<std::string>& seenIds) {
    const std::string id = ReadString(element, "id");
    const std::string roleName = ReadString(element, "role");
    const std::string path = ReadString(element, "path");
    RequireOfRequest(IsValidSessionId(id) && seenIds.insert(id).second, kRejectedReferenceId);
    const std::optional<ReferenceRole> role = ReferenceRoleNamed(roleName);
    RequireOfRequest(role.has_value(), kRejectedReferenceRole);
    RequireOfRequest(
        !path.empty() && path.size() <= kMaxPathBytes && path.find("://") == std::string::npos,
        kRejectedReferencePath);
    PreparedReference reference{id, *role, Utf8ToAnsi(path)};
    RequireOfRequest(IsExistingFile(reference.path), kRejectedReferenceMissing);
    return reference;
}

void ReadReferences(const json& message, PreparedProgram& program) {
    const json& references = message.at("references");
    const bool startsNow = program.additions.startNow;
    RequireOfRequest(references.is_array() && (startsNow || !references.empty()) &&
                         references.size() <= kMaxReferences,
                     kRejectedReferenceCount);
    std::set<std::string> seenIds;
    bool hasStart = startsNow;
    for (const json& element : references) {
        program.references.push_back(ReadReference(element, seenIds));
        hasStart = hasStart || program.references.back().role == ReferenceRole::kStart;
    }
    RequireOfRequest(hasStart, kRejectedNoStart);
}

}  // namespace

PreparedProgram ParsePreparedProgram(const json& message) {
    PreparedProgram program;
    program.sessionId = ReadString(message, "sessionId");
    RequireOfRequest(IsValidSessionId(program.sessionId), kRejectedSessionId);
    const std::string url = ReadString(message, "url");
    RequireOfRequest(IsHttpUrl(url), kRejectedUrl);
    program.url = Utf8ToAnsi(url);
    ReadPacing(message, program);
    ReadBounds(message, program);
    program.additions.startNow = AsksToStartNow(message);
    ReadReferences(message, program);
    program.additions = ReadAdditions(message);
    return program;
}

}  // namespace receiver
