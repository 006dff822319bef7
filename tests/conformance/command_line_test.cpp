// The process as its caller sees it: arguments, standard streams, exit codes, signals.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "platform/child_process.h"
#include "platform/clock.h"
#include "testing/receiver_driver.h"
#include "testing/temp_folder.h"

namespace receiver {
namespace {

constexpr char kUsage[] = "ReceiverHost pcm-pipe://receiver-control-instance receiver.log\n";

struct Outcome {
    int exitCode = -1;
    std::string output, errors;
};

Outcome RunReceiver(const std::vector<std::string>& arguments) {
    ChildProcess process(ReceiverDriver::ProgramPath(), arguments,
                         ChildProcess::ErrorStream::kCapture);
    Outcome outcome;
    outcome.exitCode = process.WaitForExit(TickMs() + kPatienceMs).value_or(-1);
    outcome.output = process.ReadAllOutput(TickMs() + kPatienceMs).value_or("(still open)");
    outcome.errors = process.ReadAllErrors(TickMs() + kPatienceMs).value_or("(still open)");
    return outcome;
}

size_t CountFiles(const std::filesystem::path& folder) {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(folder),
                                             std::filesystem::directory_iterator()));
}

class CommandLineTest : public testing::Test {
protected:
    std::string LogPath() const { return (folder_.Path() / "receiver.log").string(); }
    size_t LogFiles() const { return CountFiles(folder_.Path()); }

    TempFolder folder_;
};

}  // namespace

TEST_F(CommandLineTest, NoArgumentsGiveTheUsageLineAndExitCode2) {
    const Outcome outcome = RunReceiver({});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.errors, kUsage);
    EXPECT_EQ(outcome.output, "");
}

TEST_F(CommandLineTest, OneArgumentGivesTheUsageLineAndExitCode2) {
    const Outcome outcome = RunReceiver({ReceiverDriver::UniqueUri()});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.errors, kUsage);
    EXPECT_EQ(outcome.output, "");
}

TEST_F(CommandLineTest, ThreeArgumentsGiveTheUsageLineAndLeaveNoLog) {
    const Outcome outcome = RunReceiver({ReceiverDriver::UniqueUri(), LogPath(), "more"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.errors, kUsage);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(LogFiles(), 0u);
}

TEST_F(CommandLineTest, HelpIsNoOptionOfTheReceiver) {
    const Outcome outcome = RunReceiver({"--help"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.errors, kUsage);
}

TEST_F(CommandLineTest, ALogInAMissingFolderCannotBeOpened) {
    const Outcome outcome = RunReceiver(
        {ReceiverDriver::UniqueUri(), (folder_.Path() / "missing" / "receiver.log").string()});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.errors, "Cannot open receiver log\n");
    EXPECT_EQ(outcome.output, "");
}

TEST_F(CommandLineTest, TheLogCarriesTheTimeOfItsOpeningBeforeItsExtension) {
    EXPECT_EQ(RunReceiver({"not-a-uri", LogPath()}).exitCode, 1);
    ASSERT_EQ(LogFiles(), 1u);
    const auto log = std::filesystem::directory_iterator(folder_.Path())->path().filename();
    EXPECT_TRUE(std::regex_match(log.string(), std::regex(R"(receiver_\d{8}_\d{6}\.log)"))) << log;
}

TEST_F(CommandLineTest, ALogWithoutAnExtensionCarriesTheTimeAtItsEnd) {
    EXPECT_EQ(RunReceiver({"not-a-uri", (folder_.Path() / "receiver").string()}).exitCode, 1);
    ASSERT_EQ(LogFiles(), 1u);
    const auto log = std::filesystem::directory_iterator(folder_.Path())->path().filename();
    EXPECT_TRUE(std::regex_match(log.string(), std::regex(R"(receiver_\d{8}_\d{6})"))) << log;
}

TEST_F(CommandLineTest, AUriThatIsNoPipeNameCannotBeListenedOn) {
    for (const std::string uri :
         {"pcm-pipe://", "pcm-pipe://a/b", "pcm-pipe://a b", "http://abc", "", "abc"}) {
        SCOPED_TRACE(uri);
        const Outcome outcome = RunReceiver({uri, LogPath()});
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_EQ(outcome.errors, "Control Listen failed\n");
        EXPECT_EQ(outcome.output, "");
    }
}

TEST_F(CommandLineTest, APipeNameOf181CharactersCannotBeListenedOn) {
    const Outcome outcome = RunReceiver({"pcm-pipe://" + std::string(181, 'a'), LogPath()});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.errors, "Control Listen failed\n");
}

TEST_F(CommandLineTest, APipeNameOf180CharactersServes) {
    std::string uri = ReceiverDriver::UniqueUri();
    uri.resize(std::string("pcm-pipe://").size() + 180, 'x');
    ReceiverDriver receiver({.uri = uri});
    EXPECT_EQ(receiver.Introduce()["type"], "WELCOME");
    receiver.Shutdown();
}

TEST_F(CommandLineTest, TheUriIsPrintedAsItWasGivenAlsoWithItsPrefixInCapitals) {
    std::string uri = ReceiverDriver::UniqueUri();
    uri.replace(0, std::string("pcm-pipe://").size(), "PCM-Pipe://");
    ReceiverDriver receiver({.uri = uri});  // the driver compares the line
    EXPECT_EQ(receiver.Introduce()["type"], "WELCOME");
    receiver.Shutdown();
}

TEST_F(CommandLineTest, StandardOutputHoldsTheListeningLineToTheByte) {
    const std::string uri = ReceiverDriver::UniqueUri();
    ChildProcess process(ReceiverDriver::ProgramPath(), {uri, LogPath()});
    RawControlClient client;
    ASSERT_TRUE(client.Connect(uri));
    // A receiver that is stopped before it has begun says nothing; one that answers has begun.
    ASSERT_TRUE(client.SendFrame(R"({"type":"HELLO","requestId":"h","version":1})"));
    ASSERT_TRUE(client.Receive());
    process.Interrupt();
    EXPECT_EQ(process.WaitForExit(TickMs() + kPatienceMs), 0);
    EXPECT_EQ(process.ReadAllOutput(TickMs() + kPatienceMs), "LISTENING " + uri + "\n");
}

TEST_F(CommandLineTest, ASecondReceiverOnTheNameEndsWithExitCode1) {
    ReceiverDriver first;
    const Outcome second = RunReceiver({first.Uri(), LogPath()});
    EXPECT_EQ(second.exitCode, 1);
    EXPECT_EQ(second.errors, "Control Listen failed\n");
    EXPECT_EQ(second.output, "");
    EXPECT_EQ(first.Introduce()["type"], "WELCOME");
    first.Shutdown();
}

TEST_F(CommandLineTest, ASecondReceiverIsAlsoRefusedWhileAClientIsConnected) {
    ReceiverDriver first;
    first.Introduce();
    EXPECT_EQ(RunReceiver({first.Uri(), LogPath()}).errors, "Control Listen failed\n");
    EXPECT_EQ(first.Ask({{"type", "HELLO"}})["type"], "WELCOME");
    first.Shutdown();
}

TEST_F(CommandLineTest, InterruptWhileWaitingForAClientEndsCleanly) {
    ReceiverDriver receiver;
    receiver.Process().Interrupt();
    receiver.ExpectCleanEnd();
    EXPECT_THAT(receiver.LogLines().back(), testing::HasSubstr(" RECEIVER HOST_STOPPED "));
}

TEST_F(CommandLineTest, InterruptWithAClientEndsCleanlyAndTheClientSeesTheEnd) {
    ReceiverDriver receiver;
    receiver.Introduce();
    receiver.Process().Interrupt();
    receiver.ExpectCleanEnd();
    EXPECT_TRUE(receiver.Control().WaitForHangUp());
    EXPECT_THAT(receiver.LogLines().back(), testing::HasSubstr(" RECEIVER HOST_STOPPED "));
}

TEST_F(CommandLineTest, InterruptRightAfterTheListeningLineEndsCleanly) {
    for (int i = 0; i < 5; ++i) {
        ReceiverDriver receiver;
        receiver.Process().Interrupt();
        receiver.Process().Interrupt();
        receiver.ExpectCleanEnd();
    }
}

TEST_F(CommandLineTest, ShutdownIsAnsweredBeforeTheProcessEnds) {
    ReceiverDriver receiver;
    receiver.Introduce();
    const nlohmann::json reply = receiver.Ask({{"type", "SHUTDOWN"}});
    EXPECT_EQ(reply["type"], "ACK");
    receiver.ExpectCleanEnd();
    EXPECT_TRUE(receiver.Control().WaitForHangUp());
}

}  // namespace receiver
