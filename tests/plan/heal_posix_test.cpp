// "receiver-plan heal" as people run it, on what decoders really give.
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "audio/ffmpeg_streaming_decoder.h"
#include "plan/plan_run.h"
#include "receiver_plan/status/recording_record.h"
#include "testing/audio_generator.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using Samples = std::vector<int16_t>;

constexpr int kRate = 44100;

Samples Decoded(const std::string& path) {
    CFFmpegStreamingDecoder decoder;
    decoder.SetOutputSampleRate(0);
    EXPECT_TRUE(decoder.Open(path)) << path;
    Samples samples;
    std::vector<int16_t> block(16384);
    for (;;) {
        const int32_t read = decoder.Read(block.data(), static_cast<uint32_t>(block.size() * 2));
        if (read <= 0) break;
        samples.insert(samples.end(), block.begin(), block.begin() + read / 2);
    }
    return samples;
}

// A minute of a stereo broadcast, its stream, and copies of what a decoder makes of it.
class PlanHealRunTest : public testing::Test {
protected:
    void SetUp() override {
        WriteWavFile(folder_.File("broadcast.wav"), MakeMusic(7, kRate, 2, size_t{60} * kRate));
        const PlanRun encoded =
            RunProgram("ffmpeg", {"-nostdin", "-loglevel", "error", "-i",
                                  folder_.File("broadcast.wav"), "-b:a", "128k", "-f", "mp3",
                                  "-write_xing", "0", folder_.File("stream.mp3")});
        ASSERT_EQ(encoded.exitCode, 0) << encoded.errors;
        stream_ = BytesOfFile(folder_.File("stream.mp3"));
        whole_ = Decoded(folder_.File("stream.mp3"));
        ASSERT_GT(whole_.size(), size_t{50} * kRate * 2);
    }

    // What a receiver keeps that loses its station after `from` seconds, has another connection
    // at `to` seconds, and stands in for the rest with silence of about that length.
    std::string CopyWithGap(const std::string& name, int from, int to, int clockError) const {
        std::ofstream(folder_.File("rest.mp3"), std::ios::binary)
            << stream_.substr(static_cast<size_t>(to) * 16000 + 77);  // amid a frame
        const Samples rest = Decoded(folder_.File("rest.mp3"));
        const auto lost = static_cast<size_t>((to - from) * kRate + clockError);
        TestPcm copy{.rate = kRate, .channels = 2, .samples = whole_};
        copy.samples.resize(static_cast<size_t>(from) * kRate * 2);
        copy.samples.resize(copy.samples.size() + lost * 2);
        copy.samples.insert(copy.samples.end(), rest.begin(), rest.end());
        const std::string path = folder_.File(name);
        WriteWavFile(path, copy);
        std::ofstream(path + ".json") << json{
            {"startSample", 5000},
            {"gaps", {{{"sample", 5000 + from * kRate}, {"lostFrames", lost}, {"exact", false}}}}};
        return path;
    }

    // A copy in a machine's folder, as its recorder leaves it.
    std::string Recorded(const std::string& name, int from, int to) const {
        fs::create_directories(fs::path(folder_.File(name)).parent_path());
        const std::string path = CopyWithGap(name, from, to, 0);
        json sidecar = json::parse(BytesOfFile(path + ".json"));
        const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
        sidecar["complete"] = false;
        sidecar["outcome"] = "complete-with-gaps";
        sidecar["message"] = "The stream was lost";
        sidecar["sampleRate"] = kRate;
        sidecar["startedAt"] = UtcText(now - std::chrono::minutes(2));
        sidecar["finishedAt"] = UtcText(now - std::chrono::minutes(1));
        std::ofstream(path + ".json") << sidecar;
        return path;
    }
    PlanRun HealAll() const {
        return RunPlan({"heal-all", folder_.File("one"), folder_.File("two")});
    }

    Samples whole_;
    std::string stream_;
    const TempFolder folder_;
};

}  // namespace

TEST_F(PlanHealRunTest, TwoCopiesWithDifferentGapsAreTheWholeBitForBit) {
    const std::string a = CopyWithGap("a.wav", 10, 18, 331);
    const std::string b = CopyWithGap("b.wav", 30, 41, -712);
    ASSERT_NE(Decoded(a), whole_);
    const std::string healed = folder_.File("c.flac");
    const PlanRun run = RunPlan({"heal", a, b, "-o", healed});
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(run.errors, "");
    EXPECT_EQ(Decoded(healed), whole_);

    const json sidecar = json::parse(BytesOfFile(healed + ".json"));
    EXPECT_EQ(sidecar["complete"], true);
    EXPECT_EQ(sidecar["frames"], whole_.size() / 2);
    EXPECT_EQ(sidecar["copies"], (json{a, b}));
    ASSERT_EQ(sidecar["pieces"].size(), 3u);
    EXPECT_EQ(sidecar["pieces"][0]["copy"], 0);
    EXPECT_EQ(sidecar["pieces"][1]["copy"], 1);
    EXPECT_EQ(sidecar["pieces"][2]["copy"], 0);
    EXPECT_LE(sidecar["pieces"][1]["frame"], 10 * kRate);
    EXPECT_EQ(sidecar["pieces"][1]["frame"], sidecar["pieces"][1]["copyFrame"]);
}

TEST_F(PlanHealRunTest, WhatEveryCopyLacksIsTold) {
    const std::string a = CopyWithGap("a.wav", 10, 18, 0);
    const std::string b = CopyWithGap("b.wav", 12, 25, 0);
    const PlanRun run = RunPlan({"heal", a, b, "-o", folder_.File("c.wav")});
    EXPECT_EQ(run.exitCode, 3) << run.errors;
    EXPECT_NE(run.output.find("lacking in every copy"), std::string::npos) << run.output;
    EXPECT_EQ(json::parse(BytesOfFile(folder_.File("c.wav.json")))["complete"], false);
}

TEST_F(PlanHealRunTest, WhatCannotBePutTogetherLeavesNoFile) {
    const std::string a = CopyWithGap("a.wav", 10, 18, 0);
    const std::string other = folder_.File("other.wav");
    WriteWavFile(other, MakeNoise(99, kRate, 2, size_t{10} * kRate));
    const PlanRun run = RunPlan({"heal", a, other, "-o", folder_.File("c.wav")});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_NE(run.errors.find("no sound in common"), std::string::npos) << run.errors;
    EXPECT_EQ(RunPlan({"heal", a, "-o", folder_.File("c.wav")}).exitCode, 2);
    EXPECT_EQ(RunPlan({"heal", a, a, "-o", folder_.File("c.mp3")}).exitCode, 2);
    EXPECT_FALSE(std::ifstream(folder_.File("c.wav")));
    EXPECT_FALSE(std::ifstream(folder_.File("c.wav.part")));
}

TEST_F(PlanHealRunTest, ExistingFilesAreKeptUnlessItIsForced) {
    const std::string a = CopyWithGap("a.wav", 10, 18, 0);
    const std::string b = CopyWithGap("b.wav", 30, 41, 0);
    std::ofstream(folder_.File("c.wav.json")) << "mine";
    EXPECT_EQ(RunPlan({"heal", a, b, "-o", folder_.File("c.wav")}).exitCode, 6);
    EXPECT_EQ(BytesOfFile(folder_.File("c.wav.json")), "mine");
    EXPECT_FALSE(std::ifstream(folder_.File("c.wav")));
    EXPECT_EQ(RunPlan({"heal", a, b, "-o", folder_.File("c.wav"), "--force"}).exitCode, 0);
}

TEST_F(PlanHealRunTest, TheCopiesOfEachRunAreFoundAndPutTogetherOnce) {
    Recorded("one/news/a.copy1.wav", 10, 18);
    Recorded("two/news/a.copy2.wav", 30, 41);
    Recorded("one/talk/b.copy1.wav", 10, 18);
    std::ofstream(folder_.File("one/news/a.copy3.wav.part.1")) << "nothing that can be read";
    const PlanRun run = HealAll();
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(run.output, folder_.File("one/news/a.wav") + ": 2 copies put together\n");
    EXPECT_EQ(Decoded(folder_.File("one/news/a.wav")), whole_);
    const PlanRun again = HealAll();
    EXPECT_EQ(again.exitCode, 0) << again.errors;
    EXPECT_EQ(again.output, "");
    const PlanRun status = RunPlan({"status", "--json", folder_.File("one"), folder_.File("two")});
    EXPECT_NE(status.output.find("\"state\":\"complete\""), std::string::npos) << status.output;
}

TEST_F(PlanHealRunTest, OfEachRunIsToldWhatEveryCopyLacksAndWhatCannotBeDone) {
    Recorded("one/news/a.copy1.wav", 10, 18);
    Recorded("two/news/a.copy2.wav", 12, 25);
    const PlanRun lacking = HealAll();
    EXPECT_EQ(lacking.exitCode, 3) << lacking.errors;
    EXPECT_NE(lacking.output.find("2 copies put together, all of which lack 00:00:0"),
              std::string::npos)
        << lacking.output;
    Recorded("one/talk/b.copy1.wav", 10, 18);
    Recorded("two/talk/b.copy2.wav", 30, 41);
    std::ofstream(folder_.File("one/talk/b.wav")) << "mine";
    const PlanRun refused = HealAll();
    EXPECT_EQ(refused.exitCode, 6) << refused.errors;
    EXPECT_EQ(BytesOfFile(folder_.File("one/talk/b.wav")), "mine");
    EXPECT_EQ(RunPlan({"heal-all", folder_.File("none")}).exitCode, 4);
    EXPECT_EQ(RunPlan({"heal-all", "--days", "0", folder_.File("one")}).exitCode, 2);
}

}  // namespace receiver
