#include "receiver_record/output/sidecar.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "testing/temp_folder.h"
#include "unit/tools/receiver_record/complete_report.h"

namespace receiver {

TEST(Sidecar, TheSidecarCarriesSourceSamplesReasonAndMatches) {
    const nlohmann::json json = ToJson(CompleteReport());
    EXPECT_EQ(json["source"], "http://radio/");
    EXPECT_EQ(json["outcome"], "complete");
    EXPECT_EQ(json["complete"], true);
    EXPECT_EQ(json["startSample"], 44100);
    EXPECT_EQ(json["endSample"], 132300);
    EXPECT_EQ(json["program"]["reason"], "outro");
    EXPECT_EQ(json["matches"][0]["referenceId"], "jingle");
    EXPECT_EQ(json["matches"][0]["ber"], 0.0123);
    EXPECT_EQ(json["channels"], 2);
}

TEST(Sidecar, ItTellsWhetherTheCutIsExact) {
    RecordReport report = CompleteReport();
    EXPECT_FALSE(ToJson(report).contains("startIsExact"));
    EXPECT_FALSE(ToJson(report).contains("endIsExact"));
    EXPECT_FALSE(ToJson(report).contains("heardAtSample"));
    report.heardAt = 44000;
    report.startIsExact = true;
    report.endIsExact = false;
    EXPECT_EQ(ToJson(report)["heardAtSample"], 44000);
    EXPECT_EQ(ToJson(report)["startIsExact"], true);
    EXPECT_EQ(ToJson(report)["endIsExact"], false);
}

TEST(Sidecar, ItIsReplacedAsAWhole) {
    const TempFolder folder;
    const std::string path = folder.File("a.wav.json");
    std::ofstream(path) << "something that is longer than what follows" << std::string(5000, ' ');
    WriteSidecar(path, CompleteReport(), true);
    std::ifstream file(path);
    EXPECT_EQ(nlohmann::json::parse(file), ToJson(CompleteReport()));
    EXPECT_FALSE(std::filesystem::exists(path + ".part"));
}

TEST(Sidecar, OneThatExistsIsReplacedOnlyByForce) {
    const TempFolder folder;
    const std::string path = folder.File("a.wav.json");
    std::ofstream(path) << "precious";
    EXPECT_THROW(WriteSidecar(path, CompleteReport(), false), std::runtime_error);
    EXPECT_EQ(std::filesystem::file_size(path), 8u);
}

TEST(Sidecar, WhatACrashHasLeftOfOneIsNoObstacle) {
    const TempFolder folder;
    const std::string path = folder.File("a.wav.json");
    std::ofstream(path + ".part") << "{";
    WriteSidecar(path, CompleteReport(), false);
    EXPECT_TRUE(std::filesystem::exists(path));
}

TEST(Sidecar, OneThatCannotBeWrittenSaysWhy) {
    const TempFolder folder;
    EXPECT_THROW(WriteSidecar(folder.File("none/a.wav.json"), CompleteReport(), false),
                 std::runtime_error);
}

TEST(Sidecar, WhatBefellTheStreamIsToldWhereThereIsSomething) {
    RecordReport report = CompleteReport();
    for (const char* key :
         {"gaps", "damage", "titles", "station", "programStartedAt", "receiverLog"}) {
        EXPECT_FALSE(ToJson(report).contains(key)) << key;
    }
    Resumption gap;
    gap.sample = 50000;
    gap.lostFrames = 10;
    gap.exact = true;
    report.notes.Add(gap);
    report.notes.Add(DamagedEvent{60000, 5, "undecodable"});
    report.notes.Add(TitleEvent{40000, "A song"});
    report.notes.Add(StationEvent{0, "Radio"});
    report.programStartedAt = "2026-03-14T09:26:53.000Z";
    report.receiverLog = "/r.log";
    const nlohmann::json object = ToJson(report);
    EXPECT_EQ(object["gaps"][0]["lostFrames"], 10);
    EXPECT_EQ(object["gaps"][0]["exact"], true);
    EXPECT_EQ(object["damage"][0]["kind"], "undecodable");
    EXPECT_EQ(object["titles"][0]["title"], "A song");
    EXPECT_EQ(object["station"], "Radio");
    EXPECT_EQ(object["programStartedAt"], "2026-03-14T09:26:53.000Z");
    EXPECT_EQ(object["receiverLog"], "/r.log");
}

}  // namespace receiver
