// What takes signals, named pipes and a small disk to show.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <utility>

#include "folder_watch_posix.h"
#include "platform/clock.h"
#include "platform/text.h"
#include "record_run.h"
#include "stalled_output_posix.h"
#include "testing/process_probe_posix.h"
#include "testing/receiver_driver.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

// Gone with the test, also with one that fails half-way.
class SmallDisk {
public:
    SmallDisk(fs::path path, const char* options) : path_(std::move(path)) {
        fs::create_directory(path_);
        if (mount("tmpfs", path_.c_str(), "tmpfs", 0, options) != 0) error_ = errno;
    }
    ~SmallDisk() {
        if (!IsMounted()) return;
        EXPECT_EQ(umount(path_.c_str()), 0);
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    bool IsMounted() const { return error_ == 0; }
    const char* Refusal() const { return std::strerror(error_); }
    const fs::path& Path() const { return path_; }

private:
    const fs::path path_;
    int error_ = 0;
};

// As ffprobe reads them, of the file and its stream, with lower-case keys.
std::map<std::string, std::string> TagsOf(const std::string& path) {
    ChildProcess probe("ffprobe", {"-v", "error", "-show_entries", "format_tags:stream_tags", "-of",
                                   "json", path});
    const std::string output = probe.ReadAllOutput(TickMs() + kRunPatienceMs).value_or("");
    const nlohmann::json json = nlohmann::json::parse(output);
    std::map<std::string, std::string> tags;
    for (const nlohmann::json& part : {json["format"], json["streams"][0]}) {
        const nlohmann::json found = part.value("tags", nlohmann::json::object());
        for (const auto& [key, value] : found.items()) {
            tags[ToLowerAscii(key)] = value;
        }
    }
    return tags;
}

const std::string kRecordingFrom = "Recording from sample ";

class ReceiverRecordPosixTest : public testing::Test, public RecordRun {
protected:
    // The stream stands still in the middle of the programme; the recorder has at least
    // the jingle on disk.
    std::unique_ptr<ChildProcess> StartAndRecordASecond() {
        StationRoute route;
        route.stallAfter = BodyBytes(broadcast_.programmeFrame + 88200);
        Serve(route);
        auto process = std::make_unique<ChildProcess>(
            RecordProgram(), Arguments({"--max", "1m", "-o", OutputFile()}),
            ChildProcess::ErrorStream::kCapture);
        EXPECT_TRUE(watch_.WaitForSize(OutputFile() + ".part", 44100 * 4));
        return process;
    }
    void ExpectPlayableBeginning() const {
        const nlohmann::json sidecar = Sidecar();
        EXPECT_EQ(sidecar["complete"], false);
        const std::vector<int16_t> recorded = Recorded();
        EXPECT_GT(recorded.size(), 44100u);
        EXPECT_EQ(recorded,
                  Slice(broadcast_.audio, sidecar["startSample"].get<size_t>(), recorded.size() / 2)
                      .samples);
    }
    static std::optional<int> Exit(ChildProcess& process) {
        return process.WaitForExit(TickMs() + kRunPatienceMs);
    }

    FolderWatch watch_{folder_.Path()};
};

}  // namespace

TEST_F(ReceiverRecordPosixTest, CtrlCKeepsWhatCameAndSaysSo) {
    const auto process = StartAndRecordASecond();
    process->Interrupt();
    EXPECT_EQ(Exit(*process), 5);
    EXPECT_EQ(Sidecar()["outcome"], "interrupted");
    ExpectPlayableBeginning();
}

TEST_F(ReceiverRecordPosixTest, CtrlCBeforeTheStartLeavesNoFile) {
    StationRoute route;
    route.stallAfter = BodyBytes(broadcast_.startJingleFrame);
    Serve(route);
    ChildProcess process(RecordProgram(), Arguments({"-o", OutputFile()}),
                         ChildProcess::ErrorStream::kCapture);
    ASSERT_TRUE(WaitForErrorLine(process, "Connected"));
    process.Interrupt();
    EXPECT_EQ(Exit(process), 5);
    EXPECT_FALSE(fs::exists(OutputFile()));
    EXPECT_FALSE(fs::exists(OutputFile() + ".part"));
}

TEST_F(ReceiverRecordPosixTest, AJoinedReceiverThatIsKilledLeavesAPlayableFile) {
    StationRoute route;
    route.stallAfter = BodyBytes(broadcast_.programmeFrame + 88200);
    Serve(route);
    ReceiverDriver receiver;
    ChildProcess process(
        RecordProgram(),
        Arguments({"--control", receiver.Uri(), "--max", "1m", "-o", OutputFile()}),
        ChildProcess::ErrorStream::kCapture);
    ASSERT_TRUE(watch_.WaitForSize(OutputFile() + ".part", 44100 * 4));
    receiver.Kill();
    EXPECT_EQ(Exit(process), 1);
    ExpectPlayableBeginning();
}

// The station stands still just behind the outro, so that the recorder is served what
// follows it before the receiver can have recognised it.
TEST_F(ReceiverRecordPosixTest, ARecordingAtTheLiveEdgeEndsWithTheOutroToTheFrame) {
    constexpr size_t kBeyondOutro = 900;  // the outro is recognised after some 1500
    StationRoute route;
    route.gated = true;
    Serve(route);
    station_.Release("/live", BodyBytes(broadcast_.tailFrame + kBeyondOutro));
    ChildProcess process(
        RecordProgram(),
        Arguments({"--end", folder_.File("outro.wav"), "--block", "1024", "-o", OutputFile()}),
        ChildProcess::ErrorStream::kCapture);
    ASSERT_TRUE(WaitForErrorLine(process, "Recording from sample"));
    station_.ReleaseAll("/live");
    EXPECT_EQ(Exit(process), 0);
    const nlohmann::json sidecar = Sidecar();
    const auto start = sidecar["program"]["startSample"].get<size_t>();
    const auto end = sidecar["program"]["endSample"].get<size_t>();
    EXPECT_EQ(sidecar["program"]["reason"], "outro");
    EXPECT_EQ(sidecar["endSample"], end);
    EXPECT_EQ(Recorded(), Slice(broadcast_.audio, start, end - start).samples);
}

// The receiver gives up on a client that does not read for a second. Here nobody reads
// the recorder's output for longer, and not before the receiver has sent everything: far
// more than the pipes between hold, so that the recorder must have taken it in meanwhile.
TEST_F(ReceiverRecordPosixTest, AnOutputThatStandsStillDoesNotHarmTheRecording) {
    StationRoute route;
    route.gated = true;
    Serve(route);
    station_.Release("/live", BodyBytes(broadcast_.tailFrame));
    StalledOutput output(folder_.File("fifo"));
    std::vector<std::string> arguments = {"-c", "fifo=$0; exec \"$@\" > \"$fifo\"",
                                          folder_.File("fifo"), RecordProgram()};
    for (const std::string& argument : Arguments({"-o", "-"})) arguments.push_back(argument);
    ChildProcess process("/bin/sh", arguments, ChildProcess::ErrorStream::kCapture);
    ASSERT_TRUE(output.WaitUntilWriterIsBlocked());

    std::string told;
    const uint64_t stallEnd = TickMs() + 1500;
    while (const auto line = process.ReadErrorLine(stallEnd)) told += *line + "\n";
    EXPECT_GE(TickMs(), stallEnd) << told;
    const size_t recording = told.find(kRecordingFrom);
    ASSERT_NE(recording, std::string::npos) << told;
    station_.ReleaseAll("/live");
    EXPECT_TRUE(WaitForErrorLine(process, "The session has finished: eof")) << told;

    WriteFileBytes(OutputFile(), output.ReadAll());
    EXPECT_EQ(Exit(process), 0);
    const size_t start = broadcast_.startJingleFrame;
    EXPECT_EQ(Recorded(),
              Slice(broadcast_.audio, start, broadcast_.audio.Frames() - start).samples);
}

TEST_F(ReceiverRecordPosixTest, AReaderOfStandardOutputThatGoesAwayIsAnOutputError) {
    Serve();
    std::vector<std::string> arguments = {
        "-c", "set -o pipefail; \"$0\" \"$@\" | head -c 100 > /dev/null", RecordProgram()};
    for (const std::string& argument : Arguments({"-o", "-"})) arguments.push_back(argument);
    ChildProcess process("/bin/bash", arguments, ChildProcess::ErrorStream::kCapture);
    EXPECT_EQ(Exit(process), 6);
}

TEST_F(ReceiverRecordPosixTest, AFullDiskLeavesAPlayableFileAndIsAnOutputError) {
    Serve();
    const SmallDisk disk(folder_.Path() / "disk", "size=400k");
    if (!disk.IsMounted()) GTEST_SKIP() << "no small disk can be mounted: " << disk.Refusal();
    const std::string output = (disk.Path() / "out.wav").string();
    EXPECT_EQ(Execute({"-o", output}), 6) << testing::PrintToString(Errors());
    EXPECT_GT(fs::file_size(output), 300000u);
    const std::vector<int16_t> recorded = DecodeStream(output).samples;
    EXPECT_GT(recorded.size() * 2, 300000u);
}

class TagsOfFormatTest : public ReceiverRecordPosixTest,
                         public testing::WithParamInterface<const char*> {};

TEST_P(TagsOfFormatTest, TheTagsTellSourceStartEndAndReason) {
    Serve();
    const std::string output = folder_.File("tagged") + GetParam();
    ASSERT_EQ(Execute({"--end", folder_.File("outro.wav"), "-o", output}), 0)
        << testing::PrintToString(Errors());
    std::ifstream file(output + ".json");
    const nlohmann::json sidecar = nlohmann::json::parse(file);
    const std::string start = to_string(sidecar["startSample"]);
    const std::string end = to_string(sidecar["endSample"]);
    std::map<std::string, std::string> tags = TagsOf(output);
    const std::string comment = tags["comment"];
    EXPECT_EQ(comment.rfind("Recorded from " + station_.Url("/live") + ", from sample " + start +
                                " to " + end + ", ended by outro, ",
                            0),
              0u)
        << comment;
    EXPECT_NE(comment.find("; heard start jingle at sample " + start), std::string::npos);
    EXPECT_NE(comment.find(", end outro at sample "), std::string::npos);
    EXPECT_EQ(tags["date"], sidecar["startedAt"]);
    if (tags.count("end_sample") != 0) {
        EXPECT_EQ(tags["end_sample"], end);
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, TagsOfFormatTest,
                         testing::Values(".wav", ".flac", ".opus", ".ogg", ".mp3", ".m4a"),
                         [](const auto& extension) { return extension.param + 1; });

TEST_F(ReceiverRecordPosixTest, TheTagsOfAnInterruptedRecordingSaySo) {
    const auto process = StartAndRecordASecond();
    process->Interrupt();
    EXPECT_EQ(Exit(*process), 5);
    const std::string end = to_string(Sidecar()["endSample"]);
    EXPECT_NE(TagsOf(OutputFile())["comment"].find(" to " + end + ", ended by interrupted, "),
              std::string::npos);
}

// The recording is complete; only the copy under its last tags does not fit beside it.
TEST_F(ReceiverRecordPosixTest, ADiskWithoutRoomForTheTagsStillHasTheWholeRecording) {
    Serve();
    const SmallDisk disk(folder_.Path() / "disk", "size=500k");
    if (!disk.IsMounted()) GTEST_SKIP() << "no small disk can be mounted: " << disk.Refusal();
    const std::string output = (disk.Path() / "out.wav").string();
    EXPECT_EQ(Execute({"--max", "2s", "-o", output}), 0);
    const std::vector<std::string> told = Errors();
    EXPECT_TRUE(std::any_of(told.begin(), told.end(), [](const std::string& line) {
        return line.find("The tags do not say where and why the recording ended: No space left") !=
               std::string::npos;
    })) << testing::PrintToString(told);
    EXPECT_EQ(DecodeStream(output).samples.size(), 88200u * 2);
    EXPECT_TRUE(fs::exists(output + ".json"));
}

// Every airing of the jingle is heard as each of 31 references with long names: soon the
// session's snapshot is longer than a message may be, and the receiver hangs up instead of
// sending the acknowledgement of CANCEL, a welcome or FINISHED.
class OverlongSnapshotTest : public ReceiverRecordPosixTest {
protected:
    OverlongSnapshotTest() {
        const TestPcm noise = MakeNoise(7, 44100, 2, 13230);
        std::vector<TestPcm> parts = {noise};
        for (size_t i = 0; i < kAirings; ++i) {
            parts.push_back(broadcast_.startJingle);
            parts.push_back(noise);
        }
        audio_ = Concatenate(parts);
        for (int i = 0; i < 31; ++i) {
            further_.push_back("--other");
            further_.push_back(std::string(70, 'x') + std::to_string(i) + "=" +
                               folder_.File("jingle.wav"));
        }
    }
    void Broadcast(StationRoute route) {
        route.contentType = "audio/wav";
        route.body = WavBytes(audio_);
        station_.Serve("/live", route);
    }
    std::vector<std::string> With(const std::vector<std::string>& more) const {
        std::vector<std::string> all = further_;
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }
    static void ExpectTooLong(const nlohmann::json& sidecar) {
        EXPECT_GT(sidecar["matches"].dump().size(), 65536u);
    }

    static constexpr size_t kAirings = 14;
    TestPcm audio_;
    std::vector<std::string> further_;
};

TEST_F(OverlongSnapshotTest, TheRecordingIsCompleteThoughItsLastMessageIsLost) {
    Broadcast({});
    ASSERT_EQ(Execute(With({"-o", OutputFile()})), 0) << testing::PrintToString(Errors());
    ExpectTooLong(Sidecar());
    EXPECT_EQ(Sidecar()["endSample"], audio_.Frames());
    EXPECT_EQ(Recorded(), Slice(audio_, Sidecar()["startSample"], Sidecar()["frames"]).samples);
}

TEST_F(OverlongSnapshotTest, ASourceThatEndsEarlyIsStillASourceError) {
    Broadcast({});
    EXPECT_EQ(Execute(With({"--max", "1m", "-o", OutputFile()})), 4)
        << testing::PrintToString(Errors());
    ExpectTooLong(Sidecar());
    EXPECT_EQ(Sidecar()["endSample"], audio_.Frames());
}

TEST_F(OverlongSnapshotTest, CtrlCStillEndsIt) {
    StationRoute route;
    route.stallAfter = WavBytes(audio_).size() - 4000;
    Broadcast(route);
    ChildProcess process(RecordProgram(), Arguments(With({"-o", OutputFile()})),
                         ChildProcess::ErrorStream::kCapture);
    std::string told;
    for (size_t heard = 0; heard < (kAirings - 1) * 32;) {
        const auto line = process.ReadErrorLine(TickMs() + kRunPatienceMs);
        ASSERT_TRUE(line) << told;
        told += *line + "\n";
        if (line->find("Heard") != std::string::npos) ++heard;
    }
    process.Interrupt();
    EXPECT_EQ(Exit(process), 5) << process.ReadAllErrors(TickMs() + kRunPatienceMs).value_or("");
    ExpectTooLong(Sidecar());
    EXPECT_GT(Recorded().size(), 44100u * 2 * 10);
}

}  // namespace receiver
