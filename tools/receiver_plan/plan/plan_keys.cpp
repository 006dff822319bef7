#include "receiver_plan/plan/plan_keys.h"

#include <algorithm>
#include <regex>
#include <vector>

#include "receiver_record/request/command_line.h"

namespace receiver {
namespace {

using nlohmann::ordered_json;

constexpr PlanKey kStationKeys[] = {
    {"url", PlanValue::kText, true, false, "The stream, http:// or https://"},
    {"zone", PlanValue::kText, true, false,
     "The time zone in which its programmes are announced, as Europe/Berlin"},
};

constexpr PlanKey kProgramKeys[] = {
    {"station", PlanValue::kText, true, true, "The name of its station"},
    {"when", PlanValue::kTexts, true, false,
     "When recorders begin to listen, in the station's time zone, as Mon..Fri 18:25"},
    {"start", PlanValue::kTexts, false, true,
     "Recordings whose beginning starts the programme; without any it begins at once"},
    {"end", PlanValue::kTexts, false, true, "Recordings whose end ends the programme"},
    {"other", PlanValue::kTexts, false, true, "Recordings that are only reported"},
    {"wait", PlanValue::kDuration, false, true,
     "How long to wait for a start recording; 15m where nothing is said"},
    {"max", PlanValue::kDuration, true, true, "The longest programme, 1s to 24h"},
    {"min", PlanValue::kDuration, false, true,
     "The shortest programme: an end recording that begins earlier does not end it"},
    {"fade", PlanValue::kDuration, false, true,
     "Fade out before the end, unless an end recording ends the programme"},
    {"trim", PlanValue::kTrim, false, true, "Cut off the recordings themselves"},
    {"folder", PlanValue::kText, true, true,
     "Where recordings go, each programme's into a folder of its own"},
    {"format", PlanValue::kText, false, true,
     "The extension of the files, as flac; flac where nothing is said"},
    {"name", PlanValue::kText, false, true,
     "The name of a file without its extension, with the fields of receiver-record; \"%F %H%M\" "
     "where nothing is said"},
    {"run", PlanValue::kText, false, true,
     "A command for the shell when a recording is complete; $RECORDINGS is the programme's folder"},
    {"keep", PlanValue::kAge, false, true,
     "How long recordings are kept, as 30d; for ever where nothing is said"},
    {"copies", PlanValue::kCount, false, true,
     "By how many machines it is recorded; 1 where nothing is said"},
};

ordered_json SchemaOf(PlanValue value) {
    switch (value) {
        case PlanValue::kText:
            return {{"type", "string"}, {"minLength", 1}};
        case PlanValue::kTexts: {
            const ordered_json text = {{"type", "string"}, {"minLength", 1}};
            return {{"anyOf", {text, {{"type", "array"}, {"items", text}, {"minItems", 1}}}}};
        }
        case PlanValue::kDuration:
        case PlanValue::kAge:
            return {{"type", "string"}, {"pattern", "^[0-9]"}};
        case PlanValue::kTrim:
            return {{"enum", {kTrimStart, kTrimEnd, kTrimBoth}}};
        case PlanValue::kCount:
            break;
    }
    return {{"type", "integer"}, {"minimum", 1}, {"maximum", kMaxCopies}};
}

ordered_json SectionSchema(std::span<const PlanKey> keys, bool ofDefaults) {
    ordered_json properties = ordered_json::object();
    ordered_json required = ordered_json::array();
    for (const PlanKey& key : keys) {
        if (ofDefaults && !key.hasDefault) continue;
        ordered_json property = {{"description", key.meaning}};
        property.update(SchemaOf(key.value));
        properties[key.name] = std::move(property);
        if (!ofDefaults && key.isRequired && !key.hasDefault) required.push_back(key.name);
    }
    ordered_json section = {{"type", "object"}, {"additionalProperties", false}};
    if (!required.empty()) section["required"] = required;
    section["properties"] = std::move(properties);
    return section;
}

ordered_json NamedSections(const char* description, std::span<const PlanKey> keys) {
    return {{"description", description},
            {"type", "object"},
            {"minProperties", 1},
            {"propertyNames", {{"pattern", kPlanNamePattern}}},
            {"additionalProperties", SectionSchema(keys, false)}};
}

// How many letters are changed, left out, added or swapped with the next one.
size_t Distance(std::string_view a, std::string_view b) {
    std::vector<std::vector<size_t>> least(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i) {
        for (size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                least[i][j] = i + j;
                continue;
            }
            const size_t changed = least[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            least[i][j] = std::min({least[i - 1][j] + 1, least[i][j - 1] + 1, changed});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                least[i][j] = std::min(least[i][j], least[i - 2][j - 2] + 1);
            }
        }
    }
    return least[a.size()][b.size()];
}

}  // namespace

std::span<const PlanKey> StationKeys() {
    return kStationKeys;
}

std::span<const PlanKey> ProgramKeys() {
    return kProgramKeys;
}

bool IsPlanName(std::string_view name) {
    static const std::regex pattern(kPlanNamePattern);
    return std::regex_match(name.begin(), name.end(), pattern);
}

std::string NearestName(std::string_view typed, std::span<const std::string> names) {
    std::string nearest;
    size_t least = std::max<size_t>(2, typed.size() / 2);
    for (const std::string& name : names) {
        const size_t distance = Distance(typed, name);
        if (distance > least || (distance == least && !nearest.empty())) continue;
        least = distance;
        nearest = name;
    }
    return nearest;
}

ordered_json PlanSchema() {
    ordered_json schema = {{"$schema", "http://json-schema.org/draft-07/schema#"},
                           {"title", "A plan of recordings for receiver-plan"},
                           {"type", "object"},
                           {"additionalProperties", false},
                           {"required", {kStationsSection, kProgramsSection}}};
    ordered_json& properties = schema["properties"];
    properties[kDefaultsSection] = SectionSchema(ProgramKeys(), true);
    properties[kDefaultsSection]["description"] = "What counts for every programme without its own";
    properties[kStationsSection] = NamedSections("The streams, by their names", StationKeys());
    properties[kProgramsSection] = NamedSections("What is recorded, by its name", ProgramKeys());
    return schema;
}

}  // namespace receiver
