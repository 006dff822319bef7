// The README's picture shows what receiver-record says today. When this fails because a text
// has changed, scripts/picture draws it anew.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

#include "receiver_client/messages.h"
#include "receiver_record/display/record_texts.h"
#include "wire/messages.h"

namespace receiver {
namespace {

std::vector<std::string> ShownTexts() {
    std::ifstream file(SOURCE_PATH "/docs/recording.svg", std::ios::binary);
    const std::string svg{std::istreambuf_iterator<char>(file), {}};
    const std::regex text("<text [^>]*>([^<]*)</text>");
    std::vector<std::string> texts;
    for (std::sregex_iterator at(svg.begin(), svg.end(), text), end; at != end; ++at) {
        texts.push_back((*at)[1]);
    }
    return texts;
}

// Up to the first number: those differ from run to run.
std::string Words(const std::string& line) {
    return line.substr(0, line.find_first_of("0123456789"));
}

std::vector<std::string> SaidInAnyRecording() {
    FinishedEvent finished;
    finished.session.reason = kReasonEof;
    const Program program{265702, 1213820, 44100, 0, kEndOutro};
    const Match start{"opening", Role::kStart, 265702, 401408, 0.01};
    std::vector<std::string> said;
    for (const EventBody& body : std::vector<EventBody>{
             ConnectedEvent{}, DetectedEvent{start},
             DetectedEvent{{"closing", Role::kEnd, 1103602, 1216512, 0.01}},
             ProgramEndEvent{program}, ReadyEvent{"pcm-pipe://x", 265702}, finished}) {
        Event event;
        event.body = body;
        said.push_back(DescribeEvent(event));
    }
    RecordReport report;
    report.exitCode = ExitCode::kComplete;
    report.output = "programme.flac";
    report.format = {44100, 2};
    report.frames = 948118;
    report.startSample = 265702;
    report.program = program;
    report.matches = {start};
    for (const std::string& line : SummaryLines(report)) said.push_back(line);
    return said;
}

}  // namespace

TEST(Picture, ShowsWhatTheRecorderSays) {
    const std::vector<std::string> shown = ShownTexts();
    const std::vector<std::string> said = SaidInAnyRecording();
    ASSERT_EQ(said.size(), 9u);
    for (const std::string& line : said) {
        size_t times = 0;
        for (const std::string& text : shown) times += Words(text) == Words(line) ? 1 : 0;
        EXPECT_GE(times, 1u) << line;
    }
}

}  // namespace receiver
