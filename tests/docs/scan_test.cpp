// The examples of docs/scan.md, made anew by the code that writes them.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <regex>
#include <set>

#include "docs/document_text.h"
#include "receiver_scan/listen/result_json.h"
#include "unit/tools/receiver_scan/listen/small_result.h"

namespace receiver {
namespace {

using nlohmann::json;

std::string Document() {
    return TextOf(std::filesystem::path(SOURCE_PATH) / "docs/scan.md");
}

std::string Lines() {
    const std::string fence = "\n```json lines\n";
    const std::string text = Document();
    const size_t begin = text.find(fence);
    const size_t end = text.find("```\n", begin + fence.size());
    if (begin == std::string::npos || end == std::string::npos) return "no block";
    return text.substr(begin + fence.size(), end - begin - fence.size());
}

void CollectKeys(const json& value, std::set<std::string>& keys) {
    for (const auto& [key, inner] : value.items()) {
        if (value.is_object()) keys.insert(key);
        if (inner.is_structured()) CollectKeys(inner, keys);
    }
}

}  // namespace

TEST(ScanDocument, TheExampleIsWhatItsScanGives) {
    std::string lines;
    for (const json& object : ResultObjects(SmallResult())) lines += object.dump() + "\n";
    EXPECT_EQ(Lines(), lines);
}

TEST(ScanDocument, EveryKeyIsExplained) {
    std::set<std::string> written;
    for (const json& object : ResultObjects(SmallResult())) CollectKeys(object, written);
    const std::string text = Document();
    for (const std::string& key : written) {
        EXPECT_NE(text.find("`" + key + "`"), std::string::npos) << key;
    }
}

TEST(ScanDocument, EveryFateAndCauseIsExplained) {
    const std::string text = Document();
    for (int fate = 0; fate <= static_cast<int>(MatchFate::kAfterProgramme); ++fate) {
        const char* name = NameOf(static_cast<MatchFate>(fate));
        EXPECT_NE(text.find(std::string("| `") + name + "` |"), std::string::npos) << name;
    }
    for (int kind = 0; kind <= static_cast<int>(CauseKind::kChance); ++kind) {
        const char* name = NameOf(static_cast<CauseKind>(kind));
        EXPECT_NE(text.find(std::string("| `") + name + "` |"), std::string::npos) << name;
    }
}

}  // namespace receiver
