// The clients in plain Python and plain Node.js, as the documents show them.
#include "client/station_fixture.h"

namespace receiver {
namespace {

struct Script {
    const char* interpreter;
    const char* file;
};

class ScriptExampleTest : public StationTest, public testing::WithParamInterface<Script> {
protected:
    Outcome RunScript(const std::string& jingle, const std::string& maximumSeconds) {
        return Run(GetParam().interpreter,
                   {std::string(EXAMPLES_PATH "/") + GetParam().file, ReceiverDriver::ProgramPath(),
                    Url(), jingle, Output(), maximumSeconds});
    }
    void ExpectRecorded(uint64_t frames) {
        EXPECT_EQ(DecodeStream(Output()).samples,
                  Slice(broadcast_.audio, broadcast_.startJingleFrame, static_cast<size_t>(frames))
                      .samples);
    }
};

}  // namespace

TEST_P(ScriptExampleTest, RecordsAProgramme) {
    Serve();
    const Outcome outcome = RunScript(Jingle(), "2");
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
    EXPECT_NE(outcome.output.find("FINISHED\nframes 88200\n"), std::string::npos) << outcome.output;
    ExpectRecorded(88200);
}

TEST_P(ScriptExampleTest, TellsARefusalInTheReceiversWords) {
    Serve();
    const Outcome outcome = RunScript(folder_.File("missing.wav"), "2");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.errors, "The receiver refused PREPARE: Reference file does not exist\n");
}

TEST_P(ScriptExampleTest, TellsThatTheSourceBrokeOffAndKeepsWhatCame) {
    StationRoute route;
    route.closeAfter = BodyBytes(broadcast_.endJingleFrame);
    Serve(route);
    const Outcome outcome = RunScript(Jingle(), "0");
    EXPECT_EQ(outcome.exitCode, 1);
    const uint64_t frames = DecodeStream(Output()).Frames();
    EXPECT_GT(frames, 44100u);
    EXPECT_EQ(outcome.errors, "The source broke off (status 30); the " + std::to_string(frames) +
                                  " frames that came before are in " + Output() + "\n");
    ExpectRecorded(frames);
}

TEST_P(ScriptExampleTest, TellsWhyASessionFailed) {
    StationRoute route;
    route.status = 404;
    Serve(route);
    const Outcome outcome = RunScript(Jingle(), "2");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.errors, "The session ended with error: Network source Open failed\n");
}

INSTANTIATE_TEST_SUITE_P(Scripts, ScriptExampleTest,
                         testing::Values(Script{"python3", "record_program.py"},
                                         Script{"node", "record_program.js"}),
                         [](const auto& script) { return std::string(script.param.interpreter); });

}  // namespace receiver
