#include "receiver_plan/plan/plan_keys.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "receiver_plan/plan/plan_reader.h"

namespace receiver {
namespace {

using nlohmann::ordered_json;

std::set<std::string> KeysOf(const ordered_json& section) {
    std::set<std::string> keys;
    for (const auto& [key, value] : section.at("properties").items()) keys.insert(key);
    return keys;
}

// Whether the reader knows the key in this section; its value is none that it takes.
bool IsKnown(const std::string& section, const std::string& key) {
    try {
        ParsePlan("[" + section + "]\n" + key + " = 1979-05-27\n", "p", "/");
    } catch (const FaultyPlan& faulty) {
        for (const PlanFault& fault : faulty.All()) {
            if (fault.text == "not a key of a plan") return false;
        }
    }
    return true;
}

}  // namespace

TEST(PlanKeys, TheCommittedSchemaIsTheOneOfTheKeys) {
    std::ifstream file(SOURCE_PATH "/docs/plan.schema.json", std::ios::binary);
    const std::string committed{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(committed, PlanSchema().dump(2) + "\n")
        << "receiver-plan schema > docs/plan.schema.json";
}

TEST(PlanKeys, ThePageExplainsEachAndItsExampleIsAPlan) {
    std::ifstream file(SOURCE_PATH "/docs/plan.md", std::ios::binary);
    const std::string page{std::istreambuf_iterator<char>(file), {}};
    for (const auto& keys : {StationKeys(), ProgramKeys()}) {
        for (const PlanKey& key : keys) {
            EXPECT_NE(page.find("`" + std::string(key.name) + "`"), std::string::npos) << key.name;
        }
    }
    const std::string fence = "\n```toml plan\n";
    const size_t begin = page.find(fence) + fence.size();
    const std::string example = page.substr(begin, page.find("\n```\n", begin) + 1 - begin);
    EXPECT_EQ(ParsePlan(example, "plan.toml", "/plans").programs.size(), 2u);
}

TEST(PlanKeys, TheReaderKnowsTheKeysOfTheSchemaAndNoOthers) {
    const ordered_json schema = PlanSchema();
    const ordered_json& sections = schema.at("properties");
    const std::set<std::string> ofDefaults = KeysOf(sections.at("defaults"));
    const std::set<std::string> ofStation =
        KeysOf(sections.at("stations").at("additionalProperties"));
    const std::set<std::string> ofProgram =
        KeysOf(sections.at("programs").at("additionalProperties"));
    std::set<std::string> all = ofProgram;
    all.insert(ofStation.begin(), ofStation.end());
    all.insert("nothing");
    EXPECT_EQ(ofProgram.size(), 16u);
    for (const std::string& key : all) {
        EXPECT_EQ(IsKnown("defaults", key), ofDefaults.contains(key)) << key;
        EXPECT_EQ(IsKnown("stations.a", key), ofStation.contains(key)) << key;
        EXPECT_EQ(IsKnown("programs.a", key), ofProgram.contains(key)) << key;
    }
}

TEST(PlanKeys, TheNearestNameIsTheOneWithTheFewestChanges) {
    const std::vector<std::string> names = {"start", "station", "max", "min"};
    EXPECT_EQ(NearestName("strat", names), "start");
    EXPECT_EQ(NearestName("statoin", names), "station");
    EXPECT_EQ(NearestName("maxi", names), "max");
    EXPECT_EQ(NearestName("xyz", names), "");
}

TEST(PlanKeys, ANameFitsIntoThatOfAUnitAndOfAFile) {
    for (const char* name :
         {"a", "evening-news", "7", "a234567890123456789012345678901234567890"}) {
        EXPECT_TRUE(IsPlanName(name)) << name;
    }
    for (const char* name : {"", "-a", "a-", "A", "a_b", "a b", "a/b", "a.b",
                             "a2345678901234567890123456789012345678901"}) {
        EXPECT_FALSE(IsPlanName(name)) << name;
    }
}

}  // namespace receiver
