#include "host/canonical_text.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

namespace receiver {

using nlohmann::json;

namespace {

std::string Nested(const std::string& open, const std::string& core, const std::string& close,
                   size_t depth) {
    std::string text;
    for (size_t i = 0; i < depth; ++i) text += open;
    text += core;
    for (size_t i = 0; i < depth; ++i) text += close;
    return text;
}

}  // namespace

TEST(CanonicalText, IsTheLibrarysCompactText) {
    for (const char* text :
         {"null", "true", "-1", "18446744073709551615", "0.1", "1e300", R"("a\"\\\u0007é😀")", "[]",
          "{}", R"({"":[]})", R"([[],{},[{}],{"a":[]}])",
          R"({"b":1,"a":{"d":[1,2,{"e":null}],"c":false},"é":"ü"})"}) {
        const json value = json::parse(text);
        EXPECT_EQ(CanonicalText(value), value.dump());
    }
}

TEST(CanonicalText, TheOrderOfKeysDoesNotMatter) {
    EXPECT_EQ(CanonicalText(json::parse(R"({ "a" : 1, "b" : [ 2 ] })")),
              CanonicalText(json::parse(R"({"b":[2],"a":1})")));
}

TEST(CanonicalText, AnIntegerDiffersFromTheEqualFloat) {
    EXPECT_NE(CanonicalText(json::parse("1")), CanonicalText(json::parse("1.0")));
}

TEST(CanonicalText, ArraysNestAsDeepAsAFrameAllows) {
    const std::string text = Nested("[", "", "]", 32768);
    EXPECT_EQ(CanonicalText(json::parse(text)), text);
}

TEST(CanonicalText, ObjectsNestAsDeepAsAFrameAllows) {
    const std::string text = Nested(R"({"":)", "1", "}", 13107);
    EXPECT_EQ(CanonicalText(json::parse(text)), text);
}

}  // namespace receiver
