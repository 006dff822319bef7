// What receiver-scan says of a stream is what the receiver makes of it: every match, to the
// sample and the last bit of its rate, and the programme.
#include <gtest/gtest.h>

#include "scan_run.h"
#include "testing/audio_encoder.h"
#include "testing/broadcast.h"
#include "testing/http_station.h"
#include "testing/receiver_driver.h"
#include "testing/recording.h"
#include "testing/sound_effects.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

using nlohmann::json;

// A broadcast with the jingles in it more than once, under a voice, too.
TestPcm MakeAircheck() {
    const int rate = 44100;
    const TestPcm start = MakeMusic(1, rate, 2, 12 * rate / 10);
    const TestPcm end = MakeMusic(2, rate, 2, 15 * rate / 10);
    const TestPcm voiced = MixedAt(start, MakeVoice(3, rate, 2, start.Frames()), 0, -12);
    return Concatenate({MakeMusic(10, rate, 2, 30011), end, MakeMusic(11, rate, 2, 20011), start,
                        MakeMusic(12, rate, 2, 3 * rate), voiced, MakeMusic(13, rate, 2, rate), end,
                        MakeMusic(14, rate, 2, rate)});
}

class SameAsReceiverTest : public testing::TestWithParam<AudioCoding> {
protected:
    void SetUp() override {
        if (!CanEncode(GetParam())) GTEST_SKIP() << "FFmpeg has no encoder for it";
        WriteWavFile(folder_.File("start.wav"), MakeMusic(1, 44100, 2, 12 * 44100 / 10));
        WriteWavFile(folder_.File("end.wav"), MakeMusic(2, 44100, 2, 15 * 44100 / 10));
        body_ = EncodeAudio(MakeAircheck(), GetParam());
    }

    const TempFolder folder_;
    std::string body_;
};

// The keys that a match of the receiver has.
json AsReceiverTells(json match) {
    for (const char* key : {"type", "seconds", "margin", "fate"}) match.erase(key);
    return match;
}

}  // namespace

TEST_P(SameAsReceiverTest, EveryMatchAndTheProgramme) {
    HttpStation station;
    StationRoute route;
    route.contentType = MimeTypeOf(GetParam());
    route.body = body_;
    station.Serve("/live", route);
    ReceiverDriver receiver;
    receiver.Introduce();
    const Recording recording =
        Record(receiver, PrepareCommand("s", station.Url("/live"),
                                        {{"in", "start", folder_.File("start.wav")},
                                         {"out", "end", folder_.File("end.wav")}},
                                        3600000, 500));
    // The whole stream has been heard before its last sample is served.
    const json snapshot = recording.finished;
    ASSERT_GE(snapshot["matches"].size(), 4u) << snapshot;

    const std::vector<std::string> arguments = {"listen",
                                                station.Url("/live"),
                                                "--json",
                                                "--max",
                                                "1h",
                                                "--fade",
                                                "500ms",
                                                "--start",
                                                "in=" + folder_.File("start.wav"),
                                                "--end",
                                                "out=" + folder_.File("end.wav")};
    const ScanRun scan = RunScan(arguments);
    EXPECT_EQ(scan.exitCode, 0) << scan.errors;
    json matches = json::array();
    for (const json& match : scan.Objects("match")) matches.push_back(AsReceiverTells(match));
    EXPECT_EQ(matches, snapshot["matches"]);
    json program = scan.Objects("summary").at(0).at("program");
    EXPECT_EQ(program["goesOn"], false);
    program.erase("goesOn");
    EXPECT_EQ(program, snapshot["program"]);

    // A file of the same bytes is heard as the stream is.
    WriteFileBytes(folder_.File("aircheck"), body_);
    std::vector<std::string> ofFile = arguments;
    ofFile[1] = folder_.File("aircheck");
    const ScanRun scanOfFile = RunScan(ofFile);
    EXPECT_EQ(scanOfFile.exitCode, 0) << scanOfFile.errors;
    json matchesOfFile = json::array();
    for (const json& match : scanOfFile.Objects("match")) {
        matchesOfFile.push_back(AsReceiverTells(match));
    }
    EXPECT_EQ(matchesOfFile, matches);
}

INSTANTIATE_TEST_SUITE_P(Codings, SameAsReceiverTest,
                         testing::Values(AudioCoding::kMp3, AudioCoding::kAacAdts,
                                         AudioCoding::kOggOpus, AudioCoding::kFlac),
                         [](const auto& coding) { return std::string(NameOf(coding.param)); });

}  // namespace receiver
