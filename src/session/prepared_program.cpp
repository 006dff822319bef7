#include "session/prepared_program.h"

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <stdexcept>
#include <string_view>

#include "platform/files.h"
#include "platform/text.h"
#include "wire/identifier.h"
#include "wire/prepare_limits.h"
#include "wire/rejections.h"

namespace receiver {
namespace {

using nlohmann::json;

void Require(bool holds, const char* text) {
    if (!holds) throw std::invalid_argument(text);
}

std::string ReadString(const json& object, const char* key) {
    return object.at(key).get<std::string>();
}

// A value out of range becomes the largest one, which every range check refuses:
// converting it would be undefined.
template <typename Unsigned>
Unsigned Truncate(double value) {
    const double whole = std::trunc(value);
    const double limit = std::ldexp(1.0, std::numeric_limits<Unsigned>::digits);
    if (!(whole >= 0.0 && whole < limit)) return std::numeric_limits<Unsigned>::max();
    return static_cast<Unsigned>(whole);
}

// For uint32_t the library takes booleans and wraps integers, for uint64_t it refuses
// booleans; both refuse everything else in the library's own words.
template <typename Unsigned>
Unsigned ReadNumber(const json& value) {
    if (value.is_number_float()) return Truncate<Unsigned>(value.get<double>());
    return value.get<Unsigned>();
}

uint64_t ReadOptionalNumber(const json& object, const char* key, uint64_t absent) {
    const auto found = object.find(key);
    return found == object.end() ? absent : ReadNumber<uint64_t>(*found);
}

bool IsHttpUrl(std::string_view url) {
    return url.size() <= kMaxUrlBytes &&
           (url.starts_with("http://") || url.starts_with("https://"));
}

void ReadPacing(const json& message, PreparedProgram& program) {
    const uint64_t ioTimeoutMs = ReadOptionalNumber(message, "ioTimeoutMs", program.ioTimeoutMs);
    const uint64_t blockBytes = ReadOptionalNumber(message, "blockBytes", program.blockBytes);
    Require(ioTimeoutMs >= kMinIoTimeoutMs && ioTimeoutMs <= kMaxIoTimeoutMs, kRejectedIoTimeout);
    Require(blockBytes >= kMinBlockBytes && blockBytes <= kMaxBlockBytes, kRejectedBlockBytes);
    program.ioTimeoutMs = static_cast<uint32_t>(ioTimeoutMs);
    program.blockBytes = static_cast<uint32_t>(blockBytes);
}

void ReadBounds(const json& message, PreparedProgram& program) {
    const auto bounds = message.find("program");
    if (bounds == message.end()) return;
    program.maximumMs = ReadNumber<uint32_t>(bounds->at("maximumMs"));
    program.fadeMs = ReadNumber<uint32_t>(bounds->at("fadeMs"));
    Require(program.maximumMs >= kMinProgramMs && program.maximumMs <= kMaxProgramMs,
            kRejectedMaximum);
    Require(program.fadeMs <= kMaxFadeMs, kRejectedFade);
}

PreparedReference ReadReference(const json& element, std::set<std::string>& seenIds) {
    const std::string id = ReadString(element, "id");
    const std::string roleName = ReadString(element, "role");
    const std::string path = ReadString(element, "path");
    Require(IsValidSessionId(id) && seenIds.insert(id).second, kRejectedReferenceId);
    const std::optional<ReferenceRole> role = ReferenceRoleNamed(roleName);
    Require(role.has_value(), kRejectedReferenceRole);
    Require(!path.empty() && path.size() <= kMaxPathBytes && path.find("://") == std::string::npos,
            kRejectedReferencePath);
    PreparedReference reference{id, *role, Utf8ToAnsi(path)};
    Require(IsExistingFile(reference.path), kRejectedReferenceMissing);
    return reference;
}

void ReadReferences(const json& message, PreparedProgram& program) {
    const json& references = message.at("references");
    Require(references.is_array() && !references.empty() && references.size() <= kMaxReferences,
            kRejectedReferenceCount);
    std::set<std::string> seenIds;
    bool hasStart = false;
    for (const json& element : references) {
        program.references.push_back(ReadReference(element, seenIds));
        hasStart = hasStart || program.references.back().role == ReferenceRole::kStart;
    }
    Require(hasStart, kRejectedNoStart);
}

}  // namespace

PreparedProgram ParsePreparedProgram(const json& message) {
    PreparedProgram program;
    program.sessionId = ReadString(message, "sessionId");
    Require(IsValidSessionId(program.sessionId), kRejectedSessionId);
    const std::string url = ReadString(message, "url");
    Require(IsHttpUrl(url), kRejectedUrl);
    program.url = Utf8ToAnsi(url);
    ReadPacing(message, program);
    ReadBounds(message, program);
    ReadReferences(message, program);
    return program;
}

}  // namespace receiver
