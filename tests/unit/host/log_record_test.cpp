#include "host/log_record.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "log/log.h"

namespace receiver {

using nlohmann::json;

TEST(LogRecord, TheTypeComesFirstThenTheKeysInOrder) {
    EXPECT_EQ(FormatLogRecord({{"type", "ACK"}, {"version", 1}, {"command", "CANCEL"}}),
              "RECEIVER ACK command=CANCEL version=1");
}

TEST(LogRecord, WithoutATypeItsPlaceStaysEmpty) {
    EXPECT_EQ(FormatLogRecord({{"a", 1}}), "RECEIVER  a=1");
}

TEST(LogRecord, NestedObjectsAreNamedByTheirPath) {
    EXPECT_EQ(FormatLogRecord({{"type", "T"}, {"a", {{"type", "inner"}, {"b", {{"c", 2}}}}}}),
              "RECEIVER T a.b.c=2 a.type=inner");
}

TEST(LogRecord, ArrayElementsAreNamedByTheirIndexInOrder) {
    json list = json::array();
    for (int i = 0; i < 11; ++i) list.push_back(i);
    list.push_back({{"x", json::array({true})}});
    EXPECT_EQ(FormatLogRecord({{"type", "T"}, {"a", list}}),
              "RECEIVER T a.0=0 a.1=1 a.2=2 a.3=3 a.4=4 a.5=5 a.6=6 a.7=7 a.8=8 a.9=9 a.10=10"
              " a.11.x.0=true");
}

TEST(LogRecord, EmptyArraysAndObjectsAreValues) {
    EXPECT_EQ(FormatLogRecord({{"type", "T"}, {"a", json::array()}, {"b", json::object()}}),
              "RECEIVER T a=[] b={}");
}

TEST(LogRecord, ScalarsAreCompactJsonAndStringsStandAsTheyAre) {
    EXPECT_EQ(FormatLogRecord({{"type", "T"},
                               {"a", nullptr},
                               {"b", false},
                               {"c", 0.125},
                               {"d", UINT64_MAX},
                               {"e", "plain\\text\t\xC3\xA9"},
                               {"f", ""}}),
              "RECEIVER T a=null b=false c=0.125 d=18446744073709551615 e=plain\\text\t\xC3\xA9"
              " f=");
}

TEST(LogRecord, TextWithASeparatorIsQuoted) {
    EXPECT_EQ(FormatLogRecord({{"type", "T"}, {"a", "two words"}}), "RECEIVER T a=\"two words\"");
    EXPECT_EQ(FormatLogRecord({{"type", "T"}, {"a", "k=v"}}), "RECEIVER T a=\"k=v\"");
    EXPECT_EQ(FormatLogRecord({{"type", "T"}, {"a", "say \"x\""}}),
              "RECEIVER T a=\"say \\\"x\\\"\"");
    EXPECT_EQ(FormatLogRecord({{"type", "T"}, {"a", "1\r\n2"}}), "RECEIVER T a=\"1\\r\\n2\"");
}

TEST(LogRecord, ALineEndInATypeOrANameDoesNotEndTheLine) {
    EXPECT_EQ(FormatLogRecord({{"type", "A\r\nB"}, {"c\nd", {{"\r", 1}}}}),
              "RECEIVER A\\r\\nB c\\nd.\\r=1");
}

TEST(LogRecord, ErrorsRejectionsAndFailuresAreLoggedAsErrors) {
    for (const char* type : {"SOURCE_ERROR", "REJECTED", "X_FAILED_Y"}) {
        EXPECT_EQ(LogLevelOf({{"type", type}, {"x", 1}}), CLog::kError) << type;
    }
    for (const char* type : {"WELCOME", "FINISHED", "error", ""}) {
        EXPECT_EQ(LogLevelOf({{"type", type}, {"message", "ERROR"}}), CLog::kInformation) << type;
    }
    EXPECT_EQ(LogLevelOf(json::object()), CLog::kInformation);
}

}  // namespace receiver
