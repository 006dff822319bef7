// What becomes of a recording when its receiver hangs, dies, or cannot be had.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>

#include <fstream>

#include "detect/reference_loading.h"
#include "folder_watch_posix.h"
#include "platform/clock.h"
#include "record_run.h"
#include "terminal_run_posix.h"
#include "testing/fake_peer.h"
#include "testing/process_probe_posix.h"
#include "testing/receiver_driver.h"
#include "testing/wav_file.h"
#include "wire/messages.h"
#include "wire/pcm1_record.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::HasSubstr;

class ReceiverFaultsTest : public testing::Test, public RecordRun {
protected:
    void ServeUntil(size_t frame) {
        StationRoute route;
        route.stallAfter = BodyBytes(frame);
        Serve(route);
    }
    std::unique_ptr<ChildProcess> Start(const std::vector<std::string>& further) const {
        return std::make_unique<ChildProcess>(RecordProgram(), Arguments(further),
                                              ChildProcess::ErrorStream::kCapture);
    }
    // A program that can be named as the receiver.
    std::string Script(const std::string& text) const {
        const std::string path = folder_.File("receiver");
        WriteFileBytes(path, "#!/bin/sh\n" + text);
        chmod(path.c_str(), 0700);
        return path;
    }
    static std::string AllErrors(ChildProcess& process) {
        return process.ReadAllErrors(TickMs() + kRunPatienceMs).value_or("(nothing)");
    }
    static std::optional<int> Exit(ChildProcess& process) {
        return process.WaitForExit(TickMs() + kRunPatienceMs);
    }
};

}  // namespace

// SIGSTOP is what a debugger, a full memory group or a broken disk make of a process. One that
// was joined is not ours to replace.
TEST_F(ReceiverFaultsTest, AReceiverThatIsStoppedIsGivenUpAndWhatCameIsKept) {
    ServeUntil(broadcast_.programmeFrame + 44100);
    ReceiverDriver receiver;
    TerminalRun run(Arguments({"--control", receiver.Uri(), "--max", "1m", "-o", OutputFile()}),
                    100, {"TERM=xterm"});
    ASSERT_TRUE(run.ShowUntil([](const TerminalScreen& screen) {
        return screen.Lines().back().find("RECORDING  00:00:0") == 0;
    }));
    ASSERT_EQ(kill(static_cast<pid_t>(receiver.Process().ProcessId()), SIGSTOP), 0);
    EXPECT_EQ(run.Finish(), 1);
    receiver.Kill();
    EXPECT_THAT(testing::PrintToString(run.Screen().Lines()),
                HasSubstr("Incomplete: The receiver does not answer"));
    EXPECT_GT(Recorded().size(), 44100u);
    EXPECT_EQ(Sidecar()["outcome"], "failure");
}

TEST_F(ReceiverFaultsTest, CtrlCEndsAReceiverThatIsStoppedAndKeepsWhatCame) {
    ServeUntil(broadcast_.programmeFrame + 44100);
    FolderWatch watch(folder_.Path());
    const auto process = Start({"--max", "1m", "-o", OutputFile()});
    ASSERT_TRUE(watch.WaitForSize(OutputFile() + ".part", 1000));
    const long receiver = ChildOf(process->ProcessId());
    ASSERT_EQ(kill(static_cast<pid_t>(receiver), SIGSTOP), 0);
    process->Interrupt();
    EXPECT_EQ(Exit(*process), 5);
    EXPECT_FALSE(fs::exists(ProcessFolder(receiver)));
    EXPECT_EQ(Sidecar()["outcome"], "interrupted");
}

TEST_F(ReceiverFaultsTest, CtrlCEndsAStartThatHangs) {
    const std::string fifo = folder_.File("started");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const auto process =
        Start({"--receiver", Script("echo $$ > " + fifo + "\nexec tail -f /dev/null\n"), "-o",
               OutputFile()});
    long receiver = 0;
    std::ifstream(fifo) >> receiver;
    ASSERT_GT(receiver, 0);
    process->Interrupt();
    EXPECT_EQ(Exit(*process), 5);
    EXPECT_FALSE(fs::exists(ProcessFolder(receiver)));
    EXPECT_FALSE(fs::exists(OutputFile() + ".part"));
}

TEST_F(ReceiverFaultsTest, TheDeathOfAJoinedReceiverIsSaid) {
    ServeUntil(broadcast_.startJingleFrame);
    ReceiverDriver receiver;
    const auto process = Start({"--control", receiver.Uri(), "-o", OutputFile()});
    ASSERT_TRUE(WaitForErrorLine(*process, "Connected"));
    receiver.Kill();
    EXPECT_EQ(Exit(*process), 1);
    EXPECT_THAT(AllErrors(*process), HasSubstr("The receiver exited unexpectedly"));
}

// It answers to nothing but the signal: the script stands before a receiver that is stopped.
TEST_F(ReceiverFaultsTest, AReceiverThatDoesNotAnswerShutdownIsAskedToEndBeforeItIsKilled) {
    ServeUntil(broadcast_.programmeFrame + 44100);
    const std::string asked = folder_.File("asked");
    const std::string receiver = Script("'" + ReceiverDriver::ProgramPath() +
                                        "' \"$@\" &\nreceiver=$!\n"
                                        "trap 'echo TERM > " +
                                        asked +
                                        "; kill -KILL $receiver; exit 0' TERM\n"
                                        "echo $receiver > " +
                                        folder_.File("number") + "\nwait $receiver\n");
    const auto process = Start({"--receiver", receiver, "--max", "1m", "-o", OutputFile()});
    ASSERT_TRUE(WaitForErrorLine(*process, "Recording from sample"));
    ASSERT_TRUE(station_.WaitForStall("/live", kRunPatienceMs));
    long number = 0;
    std::ifstream(folder_.File("number")) >> number;
    ASSERT_EQ(kill(static_cast<pid_t>(number), SIGSTOP), 0);
    process->Interrupt();
    EXPECT_EQ(Exit(*process), 5);
    EXPECT_TRUE(fs::exists(asked));
}

TEST_F(ReceiverFaultsTest, AnAudioPipeThatCannotBeOpenedIsSaidAndTheSessionCancelled) {
    json cancel;
    FakePeer peer([&](FakePeer& p) {
        p.Welcome();
        const json prepare = p.ReceiveMessage();
        const json session = {{"sessionId", prepare["sessionId"]},
                              {"state", kStatePreparing},
                              {"sequence", 0},
                              {"matches", json::array()}};
        const auto acknowledge = [&](const json& command) {
            p.SendMessage({{"type", kReplyAck},
                           {"version", 1},
                           {"requestId", command["requestId"]},
                           {"command", command["type"]},
                           {"session", session}});
        };
        acknowledge(prepare);
        p.SendMessage({{"type", kEventReady},
                       {"sessionId", prepare["sessionId"]},
                       {"sequence", 1},
                       {"uri", "pcm-pipe://nobody-" + CreateInstanceId()},
                       {"sourceSample", 100}});
        cancel = p.ReceiveMessage();
        acknowledge(cancel);
        json finished = session;
        finished.update({{"type", kEventFinished},
                         {"sequence", 2},
                         {"state", kStateFinished},
                         {"reason", kReasonCancelled},
                         {"message", ""}});
        p.SendMessage(finished);
        p.WaitForHangUp();
    });
    EXPECT_EQ(Execute({"--control", peer.Uri(), "-o", OutputFile()}), 1);
    peer.Join();
    EXPECT_EQ(cancel["type"], kCommandCancel);
    EXPECT_THAT(Errors().back(), HasSubstr("The audio cannot be received: "));
    EXPECT_FALSE(fs::exists(OutputFile() + ".part"));
}

// The connection is lost just when the programme ends. The session waits until its audio is
// acknowledged, which the recorder puts off until it has a connection to ask through.
TEST_F(ReceiverFaultsTest, AProgrammeThatEndsWhileTheConnectionIsLostIsComplete) {
    constexpr uint32_t kFrames = 441;
    constexpr uint64_t kChunks = 140;
    constexpr uint64_t kOutroAt = 1000;  // and all of it has come
    ManualResetEvent isBack;
    ManualResetEvent acknowledged;
    FakePeer audio([&](FakePeer& p) {
        Pcm1Header header;
        header.sampleRate = 44100;
        header.channels = 2;
        header.bitsPerSample = 16;
        p.Send(&header, sizeof(header));
        for (uint64_t chunk = 0; chunk < kChunks; ++chunk) {
            const Pcm1ChunkRecord data{kPcm1Data, kFrames * 4, chunk * kFrames, 0};
            p.Send(&data, sizeof(data));
            p.Send(std::string(kFrames * 4, '\1'));
        }
        if (!isBack.Wait(kPatienceMs)) return;
        const Pcm1ChunkRecord end{kPcm1End, 0, kChunks * kFrames, 0};
        p.Send(&end, sizeof(end));
        Pcm1Acknowledgement acknowledgement;
        p.Receive(&acknowledgement, sizeof(acknowledgement));
        acknowledged.Signal();
    });
    FakePeer control([&](FakePeer& p) {
        p.Welcome();
        const json prepare = p.ReceiveMessage();
        const std::string id = prepare["sessionId"];
        json session = {{"sessionId", id},
                        {"state", kStatePreparing},
                        {"sequence", 0},
                        {"matches", json::array()}};
        p.SendMessage({{"type", kReplyAck},
                       {"version", 1},
                       {"requestId", prepare["requestId"]},
                       {"command", kCommandPrepare},
                       {"session", session}});
        p.SendMessage({{"type", kEventReady},
                       {"sessionId", id},
                       {"sequence", 1},
                       {"uri", audio.Uri()},
                       {"sourceSample", 0}});
        p.AcceptAgain();
        isBack.Signal();
        if (acknowledged.Wait(200)) {  // the session is over, and nobody can say any more
            p.Welcome();
        } else {
            const json outro = {{"referenceId", prepare["references"][1]["id"]},
                                {"role", kRoleEnd},
                                {"sample", kOutroAt},
                                {"observedAfterSample", kChunks * kFrames},
                                {"ber", 0.01}};
            session.update(
                {{"state", kStateOpened}, {"sequence", 2}, {"matches", json::array({outro})}});
            p.Welcome(session);
            session.update({{"type", kEventFinished},
                            {"sequence", 3},
                            {"state", kStateFinished},
                            {"reason", kReasonEof},
                            {"message", ""}});
            p.SendMessage(session);
        }
        p.WaitForHangUp();
    });
    EXPECT_EQ(Execute({"--end", folder_.File("outro.wav"), "--control", control.Uri(), "-o",
                       OutputFile()}),
              0)
        << testing::PrintToString(Errors());
    EXPECT_EQ(Sidecar()["program"]["reason"], "outro");
    // No outro is in this audio: it ends where the receiver, which counts at half the rate, ends
    // it.
    EXPECT_EQ(Sidecar()["endIsExact"], false);
    EXPECT_EQ(Sidecar()["frames"],
              kOutroAt + 2 * LoadReference(folder_.File("outro.wav")).sampleCount);
}

// Whatever the step that lacks one, it has an end, a message, and leaves the receiver free.
TEST_F(ReceiverFaultsTest, WithFewDescriptorsEachStepFailsWithAMessageUntilThereAreEnough) {
    Serve();
    ReceiverDriver receiver;
    int code = -1;
    size_t failures = 0;
    for (int descriptors = 4; code != 0 && descriptors < 40; ++descriptors) {
        SCOPED_TRACE(descriptors);
        std::vector<std::string> command{
            "-c", "ulimit -n " + std::to_string(descriptors) + "; exec \"$@\"", "sh",
            RecordProgram()};
        for (const std::string& argument : Arguments(
                 {"--max", "1s", "--force", "--control", receiver.Uri(), "-o", OutputFile()})) {
            command.push_back(argument);
        }
        ChildProcess process("sh", command, ChildProcess::ErrorStream::kCapture);
        const std::string told = AllErrors(process);
        code = Exit(process).value_or(-1);
        if (code == 0) break;
        ++failures;
        EXPECT_THAT(code, testing::AnyOf(1, 6, 127)) << told;
        EXPECT_NE(told, "");
    }
    EXPECT_EQ(code, 0);
    EXPECT_GT(failures, 2u);
    EXPECT_EQ(Recorded().size(), 44100u * 2);
    EXPECT_EQ(receiver.Introduce()["active"], nullptr);
}

}  // namespace receiver
