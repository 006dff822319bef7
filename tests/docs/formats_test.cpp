// The examples of docs/formats.md, made anew by the code that writes the files.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <string>

#include "detect/reference_hash.h"
#include "host/log_record.h"
#include "log/file_log.h"
#include "log/log.h"
#include "receiver_record/output/sidecar.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

using nlohmann::json;

std::string BytesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

const std::string& Document() {
    static const std::string text = BytesOf(SOURCE_PATH "/docs/formats.md");
    return text;
}

// The fenced block that begins with ``` and this, without its last line end.
std::string Block(const std::string& info) {
    const std::string fence = "\n```" + info + "\n";
    const size_t begin = Document().find(fence);
    const size_t end = Document().find("\n```\n", begin + fence.size());
    if (begin == std::string::npos || end == std::string::npos) return "no block " + info;
    return Document().substr(begin + fence.size(), end - begin - fence.size());
}

std::string HexDigits(const std::string& bytes) {
    std::string digits;
    for (const char byte : bytes) {
        char pair[3];
        std::snprintf(pair, sizeof(pair), "%02X", static_cast<unsigned char>(byte));
        digits += pair;
    }
    return digits;
}

class OneLine final : public IStoreLog {
public:
    explicit OneLine(std::string& line) : line_(line) {}
    void Flush() override {}
    int32_t Write(std::string_view line) override {
        line_ = line;
        return static_cast<int32_t>(line.size());
    }
    void SetBufferSize(int32_t) override {}

private:
    std::string& line_;
};

// With zeros for what differs from run to run, if it has the documented form.
std::string Normalised(const std::string& line) {
    static const std::regex head(
        "^Process : 0x[0-9a-f]{4,} : Thread : 0x[0-9a-f]{2,} : "
        "Time : [0-9]{2}:[0-9]{2}:[0-9]{2} ms:[0-9]{3} : ");
    return std::regex_replace(line, head,
                              "Process : 0x0000 : Thread : 0x0000 : Time : 00:00:00 ms:000 : ",
                              std::regex_constants::format_first_only);
}

// The example as the recorder would report it.
RecordReport ReportOf(const json& example) {
    RecordReport report;
    report.exitCode = ExitCode::kComplete;
    report.url = example.at("source");
    report.output = example.at("file");
    report.sessionId = example.at("sessionId");
    report.instanceId = example.at("receiverInstanceId");
    report.format = {44100, 2};
    report.frames = 947720;
    report.startSample = 265931;
    report.heardAt = 265702;
    report.startIsExact = report.endIsExact = true;
    report.program = Program{265931, 1213651, 44100, 0, "outro"};
    report.finishedReason = "cancelled";
    report.matches = {{"opening", Role::kStart, 265702, 401408, 0.012648809523809524},
                      {"closing", Role::kEnd, 1103602, 1216512, 0.009558823529411765}};
    report.startedAt = example.at("startedAt");
    report.finishedAt = example.at("finishedAt");
    return report;
}

}  // namespace

TEST(Formats, TheHashExampleIsTheFingerprintOfItsRecording) {
    TestPcm pcm{.rate = 22050, .channels = 1, .samples = {}};
    for (int64_t i = 0; i < 2000; ++i) {
        pcm.samples.push_back(static_cast<int16_t>(i * i * i % 2003 * 8 - 8008));
    }
    const TempFolder folder;
    const std::string path = folder.File("example.wav");
    WriteWavFile(path, pcm);
    std::string message;
    ASSERT_TRUE(DumpReferenceHash(path, &message)) << message;
    const std::string shown = std::regex_replace(Block("hex hash"), std::regex("\\s"), "");
    EXPECT_EQ(HexDigits(BytesOf(path + ".hash")), shown);
}

TEST(Formats, TheLogExampleIsTheLineOfItsMessage) {
    const json message = json::parse(Block("json log-message"));
    std::string line;
    CLog(std::make_unique<OneLine>(line), CLog::Options{})
        .Write(LogLevelOf(message), FormatLogRecord(message));
    EXPECT_EQ(Normalised(line), Normalised(Block("text log")) + "\n");
    EXPECT_NE(Normalised(line), line);  // the head has the documented form
}

TEST(Formats, TheLogsNameHasTheTimeOfItsOpening) {
    LocalTime time{};
    time.year = 2026;
    time.month = 3;
    time.day = 14;
    time.hour = 9;
    time.minute = 26;
    time.second = 53;
    EXPECT_EQ(TimeStampedLogName("receiver.log", time), Block("text log-name"));
}

TEST(Formats, TheSidecarExampleIsWhatItsReportGives) {
    const json example = json::parse(Block("json sidecar"));
    EXPECT_EQ(ToJson(ReportOf(example)).dump(2), Block("json sidecar"));
}

TEST(Formats, EveryKeyOfASidecarIsExplained) {
    std::set<std::string> explained;
    const std::regex row("\n\\| (`[^|]*`) \\|");
    const std::regex name("`([A-Za-z]+)`");
    const std::string& text = Document();
    for (std::sregex_iterator at(text.begin(), text.end(), row), end; at != end; ++at) {
        const std::string names = (*at)[1];
        for (std::sregex_iterator key(names.begin(), names.end(), name); key != end; ++key) {
            explained.insert((*key)[1]);
        }
    }
    RecordReport report = ReportOf(json::parse(Block("json sidecar")));
    report.notes.Add(Resumption{});
    report.notes.Add(DamagedEvent{});
    report.notes.Add(TitleEvent{});
    report.notes.Add(StationEvent{.name = "Radio"});
    report.programStartedAt = report.startedAt;
    report.receiverLog = "receiver.log";
    std::set<std::string> written;
    const json sidecar = ToJson(report);
    for (const auto& [key, value] : sidecar.items()) written.insert(key);
    EXPECT_EQ(explained, written);
}

TEST(Formats, EveryOutcomeIsNamedInTheOrderOfItsExitCode) {
    std::string outcomes;
    for (const int code : {0, 1, 3, 4, 5, 6, 7}) {
        RecordReport report;
        report.exitCode = static_cast<ExitCode>(code);
        outcomes += (code == 0   ? "`"
                     : code == 7 ? " or `"
                                 : ", `") +
                    ToJson(report)["outcome"].get<std::string>() + "`";
    }
    EXPECT_NE(Document().find("| `outcome` | always | " + outcomes + " |"), std::string::npos)
        << outcomes;
}

}  // namespace receiver
