// Of a small made-up station, from its audio to what is said of it.
#include "receiver_scan/discover/discovery.h"

#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <set>

#include "receiver_scan/discover/discovery_page.h"
#include "receiver_scan/discover/discovery_report.h"
#include "receiver_scan/source/heard_audio.h"
#include "receiver_scan/source/opened_source.h"
#include "testing/station_day.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

class DiscoveryTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        TempFolder folder;
        StationDayPlan plan;
        plan.seed = 3;
        plan.hours = 0.3;
        plan.jingles = 4;
        plan.advertisements = 4;
        TestPcm pcm{kStationRate, 1, {}};
        heard_ = MakeStationDay(plan, [&](const std::vector<int16_t>& samples) {
            pcm.samples.insert(pcm.samples.end(), samples.begin(), samples.end());
        });
        const std::string path = folder.File("a&b.wav");
        WriteWavFile(path, pcm);
        StationFingerprint station;
        const OpenedSource source = OpenSource(path);
        AudioThinner thinner;
        HearingOptions options;
        options.onMono = [&](std::span<const int16_t> samples) { thinner.Append(samples); };
        const HeardAudio heard = Hear(*source.file, options);
        AppendSource(path, heard, thinner.Finish(), station);
        discovery_ = MakeDiscovery(
            station, GroupRepeats(station.words, station.levelsDb,
                                  FindRepeats(station.words, station.levelsDb, 2), {}));
    }

    // How often an item was on air.
    static size_t Times(HeardKind kind, int item) {
        size_t times = 0;
        for (const Heard& heard : heard_) times += heard.kind == kind && heard.item == item;
        return times;
    }

    static std::vector<Heard> heard_;
    static Discovery discovery_;
};

std::vector<Heard> DiscoveryTest::heard_;
Discovery DiscoveryTest::discovery_;

TEST_F(DiscoveryTest, EveryJingleThatIsHeardTwiceIsFoundWhereItWasHeard) {
    std::set<int> jingles;
    for (const Heard& heard : heard_) {
        if (heard.kind != HeardKind::kJingle || Times(heard.kind, heard.item) < 2) continue;
        jingles.insert(heard.item);
        bool found = false;
        for (const Discovered& one : discovery_.found) {
            for (const DiscoveredTime& time : one.times) {
                found = found || (std::abs(time.start - heard.start) < 0.05 &&
                                  std::abs(one.seconds - heard.seconds) < 0.05);
            }
        }
        EXPECT_TRUE(found) << "item " << heard.item << " at " << heard.start;
    }
    EXPECT_GE(jingles.size(), 2u);
}

TEST_F(DiscoveryTest, NothingElseIsFound) {
    for (const Discovered& one : discovery_.found) {
        for (const DiscoveredTime& time : one.times) {
            bool real = false;
            for (const Heard& heard : heard_) {
                real = real || (std::abs(time.start - heard.start) < 0.5 &&
                                Times(heard.kind, heard.item) >= 2);
            }
            EXPECT_TRUE(real) << one.name << " at " << time.start;
        }
    }
}

TEST_F(DiscoveryTest, TheTextAndTheJsonTellTheSame) {
    const std::vector<std::string> lines = DiscoveryLines(discovery_);
    const std::vector<std::string> json = DiscoveryJsonLines(discovery_);
    ASSERT_EQ(json.size(), discovery_.found.size() + 1);
    EXPECT_EQ(lines.front().substr(0, 9), "jingle-01");
    const auto first = nlohmann::json::parse(json.front());
    EXPECT_EQ(first["name"], "jingle-01");
    EXPECT_EQ(first["times"].size(), discovery_.found[0].times.size());
    EXPECT_EQ(nlohmann::json::parse(json.back())["found"], discovery_.found.size());
}

TEST_F(DiscoveryTest, ThePageHasAMarkForEachTimeAndNamesAreEscaped) {
    const std::string page = DiscoveryPage(discovery_);
    size_t marks = 0;
    for (size_t at = page.find("<rect class=\"heard"); at != std::string::npos;
         at = page.find("<rect class=\"heard", at + 1)) {
        ++marks;
    }
    size_t times = 0;
    for (const Discovered& found : discovery_.found) times += found.times.size();
    EXPECT_EQ(marks, times);
    EXPECT_NE(page.find("a&amp;b.wav"), std::string::npos);
    EXPECT_EQ(page.find("a&b"), std::string::npos);
    EXPECT_EQ(page.find("://"), std::string::npos);
    EXPECT_EQ(page.find("<script"), std::string::npos);
}

TEST_F(DiscoveryTest, ThePageHasAColumnOfFilesOnlyWhereSomeWereWritten) {
    EXPECT_EQ(DiscoveryPage(discovery_).find("<th>File</th>"), std::string::npos);
    Discovery exported = discovery_;
    for (Discovered& found : exported.found) found.exportedFile = "cuts/" + found.name + ".wav";
    const std::string page = DiscoveryPage(exported);
    EXPECT_NE(page.find("<th>File</th>"), std::string::npos);
    EXPECT_NE(page.find("cuts/jingle-01.wav"), std::string::npos);
}

TEST(StationFingerprint, TimesAreThoseWithinTheSource) {
    HeardAudio heard;
    heard.frames = 441000;
    heard.words.assign(700, 1);
    heard.levels.assign(700, {0.5F, 0.1F});
    StationFingerprint station;
    AppendSource("a", heard, {}, station);
    AppendSource("b", heard, {}, station);
    ASSERT_EQ(station.sources.size(), 2u);
    ASSERT_EQ(station.words.size(), station.levelsDb.size());
    const StationSource& second = station.sources[1];
    EXPECT_EQ(&station.SourceOf(second.firstWord + 5), &second);
    EXPECT_EQ(&station.SourceOf(second.firstWord - 600), &station.sources[0]);
    EXPECT_NEAR(
        station.SecondsWithin(second, (static_cast<double>(second.firstWord) + 80) * 0.0125), 1.0,
        1e-9);
    EXPECT_EQ(station.levelsDb[second.firstWord], -20);
}

}  // namespace
}  // namespace receiver
