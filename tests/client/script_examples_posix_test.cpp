// The clients in plain Python and plain Node.js, as the documents show them.
#include "client/station_fixture.h"

namespace receiver {
namespace {

// By the interpreter.
class ScriptExampleTest : public StationTest, public testing::WithParamInterface<std::string> {
protected:
    Outcome RunScript(const std::string& jingle, const std::string& maximumSeconds,
                      const std::vector<std::string>& additions = {}) {
        const std::string script = GetParam() == "node" ? "record_program.js" : "record_program.py";
        std::vector<std::string> arguments = {EXAMPLES_PATH "/" + script,
                                              ReceiverDriver::ProgramPath(),
                                              Url(),
                                              jingle,
                                              Output(),
                                              maximumSeconds};
        arguments.insert(arguments.end(), additions.begin(), additions.end());
        return Run(GetParam(), arguments);
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

TEST_P(ScriptExampleTest, AsksForWhatItsArgumentsSay) {
    Serve();
    const Outcome outcome = RunScript(Jingle(), "2",
                                      {"preRollMs=300", "lookBackMs=1000", "reconnectMs=2000",
                                       R"(http={"userAgent":"Radio/1"})"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    constexpr size_t kPreRoll = 13230;
    EXPECT_EQ(
        DecodeStream(Output()).samples,
        Slice(broadcast_.audio, broadcast_.startJingleFrame - kPreRoll, kPreRoll + 88200).samples);
    // The station's file may have ended, and been asked for again, before the programme did.
    const std::vector<std::string> heads = station_.RequestHeads(kPath);
    ASSERT_FALSE(heads.empty());
    for (const std::string& head : heads) {
        EXPECT_NE(head.find("User-Agent: Radio/1"), std::string::npos) << head;
    }
}

TEST_P(ScriptExampleTest, NeedsNoJingleToStartNow) {
    StationRoute route;
    route.icyMetaInterval = 8000;
    Serve(route);
    const Outcome outcome = RunScript("-", "1", {"startNow=true", R"(report=["titles"])"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_NE(outcome.output.find("TITLE\n  Evening programme\n"), std::string::npos)
        << outcome.output;
    EXPECT_EQ(DecodeStream(Output()).samples, Slice(broadcast_.audio, 0, 44100).samples);
}

TEST_P(ScriptExampleTest, TellsTheCauseOfAFailure) {
    StationRoute route;
    route.status = 404;
    Serve(route);
    const Outcome outcome = RunScript(Jingle(), "2", {R"(report=["cause"])"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_TRUE(outcome.errors.starts_with("the server answers 404 Not Found\n")) << outcome.errors;
}

// A key that the receiver does not know either way.
TEST_P(ScriptExampleTest, TellsWhatTheReceiverDoesNotKnow) {
    Serve();
    const Outcome outcome = RunScript(Jingle(), "2", {"laterKey=1", "preRollMs=0"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.errors, "The receiver does not know laterKey\n");
}

INSTANTIATE_TEST_SUITE_P(Scripts, ScriptExampleTest,
                         testing::Values(std::string("python3"), std::string("node")),
                         [](const auto& interpreter) { return interpreter.param; });

}  // namespace receiver
