#include "receiver_plan/status/recording_record.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

namespace receiver {
namespace {

using namespace std::chrono;
using nlohmann::json;

constexpr UtcMoment kNoon = sys_days(2026y / March / 30) + hours(12);

json Whole() {
    return {{"complete", true},
            {"outcome", "complete"},
            {"message", ""},
            {"startedAt", "2026-03-30T12:00:00.000Z"},
            {"finishedAt", "2026-03-30T13:00:00.250Z"},
            {"sampleRate", 44100}};
}

RecordingRecord Read(const json& object) {
    return ReadRecord(object.dump());
}

}  // namespace

TEST(RecordingRecord, AWholeRecordingIsReadWithItsMoments) {
    const RecordingRecord record = Read(Whole());
    EXPECT_TRUE(record.isComplete);
    EXPECT_FALSE(record.isHealed);
    EXPECT_EQ(record.startedAt, kNoon);
    EXPECT_EQ(record.finishedAt, kNoon + hours(1) + milliseconds(250));
    EXPECT_EQ(record.missingSeconds, 0.0);
}

TEST(RecordingRecord, GapsAndDamageAreCountedAndAddedUp) {
    json object = Whole();
    object["complete"] = false;
    object["outcome"] = "complete-with-gaps";
    object["gaps"] = {{{"lostFrames", 44100}}, {{"lostFrames", 0}}};
    object["damage"] = {{{"frames", 22050}, {"kind", "undecodable"}}};
    const RecordingRecord record = Read(object);
    EXPECT_EQ(record.gaps, 2u);
    EXPECT_EQ(record.damage, 1u);
    EXPECT_DOUBLE_EQ(record.missingSeconds, 1.5);
    EXPECT_EQ(record.kinds, std::set<std::string>{"undecodable"});
}

TEST(RecordingRecord, OfAHealedFileItIsReadWhatItWasMadeOf) {
    const RecordingRecord record = Read({{"complete", false},
                                         {"sampleRate", 1000},
                                         {"copies", {"a.flac", "b.flac"}},
                                         {"pieces",
                                          {{{"frames", 5000}},
                                           {{"frames", 2000}, {"lacking", true}},
                                           {{"frames", 100}, {"lacking", false}}}}});
    EXPECT_TRUE(record.isHealed);
    EXPECT_EQ(record.copies, (std::vector<std::string>{"a.flac", "b.flac"}));
    EXPECT_DOUBLE_EQ(record.missingSeconds, 2.0);
    EXPECT_EQ(record.gaps, 1u);
}

TEST(RecordingRecord, WhatIsNoRecordIsRefused) {
    for (const std::string text :
         {"", "{", "[]", "7", "null", "\"complete\"", "{}", "{\"complete\":true}",
          "{\"pieces\":[]}", "{\"pieces\":{}}", "\xFF\xFE", "{\"complete\":true}{}"}) {
        EXPECT_THROW(ReadRecord(text), NoRecord) << text;
    }
    EXPECT_THROW(ReadRecord(std::string(1000000, '[')), NoRecord);
    std::string deep;
    for (int i = 0; i < 100000; ++i) deep += "{\"a\":";
    EXPECT_THROW(ReadRecord(deep), NoRecord);
}

TEST(RecordingRecord, ValuesOfAnotherTypeAreRefused) {
    const json lists = {{{"lostFrames", 1}}};
    for (const auto& [key, value] : std::vector<std::pair<std::string, json>>{
             {"complete", 1},
             {"complete", "true"},
             {"outcome", 0},
             {"message", json::array()},
             {"startedAt", 12},
             {"startedAt", "yesterday"},
             {"finishedAt", "2026-03-30T11:00:00.000Z"},  // before it began
             {"gaps", 5},
             {"gaps", {1, 2}},
             {"gaps", {{{"lostFrames", -1}}}},
             {"gaps", {{{"lostFrames", 1.5}}}},
             {"gaps", {{{"lostFrames", "1"}}}},
             {"damage", {{{"frames", 1}, {"kind", 7}}}},
             {"damage", {{{"frames", true}, {"kind", "a"}}}}}) {
        json object = Whole();
        object[key] = value;
        EXPECT_THROW(Read(object), NoRecord) << key << " " << value;
    }
    json object = Whole();
    object["gaps"] = lists;
    EXPECT_NO_THROW(Read(object));
    for (const json& rate : {json(0), json(-1), json("44100"), json(uint64_t{1} << 62)}) {
        object["sampleRate"] = rate;
        EXPECT_THROW(Read(object), NoRecord) << rate;
    }
}

TEST(RecordingRecord, LossesBeyondAllMeasureAddUpWithoutOverflow) {
    json object = Whole();
    for (int i = 0; i < 3; ++i) object["gaps"].push_back({{"lostFrames", UINT64_MAX}});
    EXPECT_GT(Read(object).missingSeconds, 1e15);
}

TEST(RecordingRecord, MomentsAreReadAndWritten) {
    EXPECT_EQ(ParseUtc("2026-03-30T12:00:00Z"), kNoon);
    EXPECT_EQ(ParseUtc("2026-03-30T12:00:00.007Z"), kNoon + milliseconds(7));
    EXPECT_EQ(UtcText(kNoon + milliseconds(7)), "2026-03-30T12:00:00.007Z");
    for (const char* text :
         {"", "Z", "2026-03-30", "2026-02-30T12:00:00.000Z", "2026-03-30T24:00:00.000Z",
          "2026-03-30T12:60:00.000Z", "2026-03-30 12:00:00.000Z", "2026-03-30T12:00:00.000",
          "2026-03-30T12:00:00,000Z", "2026-03-30T12:00:0x.000Z", "2026-03-30T12:00:00.0000Z"}) {
        EXPECT_FALSE(ParseUtc(text)) << text;
    }
}

}  // namespace receiver
