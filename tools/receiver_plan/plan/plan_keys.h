// The keys of a plan file: what the reader takes, and what docs/plan.schema.json tells editors.
// Pure.
#pragma once

#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>

namespace receiver {

enum class PlanValue {
    kText,
    kTexts,  // one text, or a list of them
    kDuration,
    kAge,    // a duration that may be in days or weeks
    kTrim,   // start, end or both
    kCount,  // of copies
};

struct PlanKey {
    const char* name;
    PlanValue value;
    bool isRequired;
    bool hasDefault;  // may stand in [defaults], too
    const char* meaning;
};

inline constexpr const char* kDefaultsSection = "defaults";
inline constexpr const char* kStationsSection = "stations";
inline constexpr const char* kProgramsSection = "programs";
inline constexpr unsigned kMaxCopies = 9;
// Of stations and programmes: what every engine can use as a name.
inline constexpr const char* kPlanNamePattern = "^[a-z0-9]([a-z0-9-]{0,38}[a-z0-9])?$";

std::span<const PlanKey> StationKeys();
std::span<const PlanKey> ProgramKeys();
bool IsPlanName(std::string_view name);

// The one of these names that a mistyped one may have meant; empty when none is near.
std::string NearestName(std::string_view typed, std::span<const std::string> names);

nlohmann::ordered_json PlanSchema();

}  // namespace receiver
