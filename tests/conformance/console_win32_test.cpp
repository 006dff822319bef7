// The receiver as a console program of Windows: its standard output, and Ctrl+C.
#include <gmock/gmock.h>
#include <windows.h>

#include <chrono>
#include <future>

#include "platform/unique_handle_win32.h"
#include "testing/receiver_fixture.h"

namespace receiver {
namespace {

class ConsoleTest : public ReceiverTest {
protected:
    void SetUp() override {
        ReceiverTest::SetUp();
        if (GetConsoleCP() != 0) {
            GTEST_SKIP() << "from a console, children ignore Ctrl+C";  // as their process group
        }
    }

    // What the system does in a process to tell it of Ctrl+C, of its console's end, and so on.
    void Tell(uintptr_t request) {
        const UniqueHandle process =
            OwnHandle(OpenProcess(PROCESS_ALL_ACCESS, FALSE, receiver_.Process().ProcessId()));
        const auto routine = reinterpret_cast<LPTHREAD_START_ROUTINE>(reinterpret_cast<void*>(
            GetProcAddress(GetModuleHandleA("kernelbase.dll"), "CtrlRoutine")));
        ASSERT_NE(routine, nullptr);
        EXPECT_TRUE(OwnHandle(CreateRemoteThread(process.Get(), nullptr, 0, routine,
                                                 reinterpret_cast<void*>(request), 0, nullptr))
                        .IsValid());
    }
    void PressCtrlC() { Tell(CTRL_C_EVENT); }

    void ExpectHostStoppedLast() {
        receiver_.ExpectCleanEnd();
        EXPECT_THAT(receiver_.LogLines().back(), testing::HasSubstr(" RECEIVER HOST_STOPPED "));
    }
};

// A program that others start, with a pipe of the plainest kind as standard output.
class PipedReceiver {
public:
    PipedReceiver(const std::string& uri, const std::string& logPath) {
        SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
        HANDLE reading = nullptr, writing = nullptr;
        if (!CreatePipe(&reading, &writing, &inheritable, 0)) throw std::runtime_error("no pipe");
        output_ = OwnHandle(reading);
        const UniqueHandle childOutput = OwnHandle(writing);
        STARTUPINFOA startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdOutput = childOutput.Get();
        std::string line = "\"" + ReceiverDriver::ProgramPath() + "\" " + uri + " " + logPath;
        PROCESS_INFORMATION information{};
        if (!CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                            &startup, &information)) {
            throw std::runtime_error("no receiver");
        }
        OwnHandle(information.hThread);
        process_ = OwnHandle(information.hProcess);
    }
    ~PipedReceiver() { End(); }
    PipedReceiver(const PipedReceiver&) = delete;
    PipedReceiver& operator=(const PipedReceiver&) = delete;

    // What one read finds; nothing at the end of the stream.
    std::string ReadOnce() {
        std::string bytes(1024, '\0');
        DWORD moved = 0;
        ReadFile(output_.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &moved, nullptr);
        bytes.resize(moved);
        return bytes;
    }
    void End() {
        TerminateProcess(process_.Get(), 1);
        WaitForSingleObject(process_.Get(), INFINITE);
    }

private:
    UniqueHandle output_;
    UniqueHandle process_;
};

}  // namespace

TEST_F(ConsoleTest, CtrlCWhileNoClientIsThereEndsCleanly) {
    receiver_.Disconnect();
    PressCtrlC();
    ExpectHostStoppedLast();
}

TEST_F(ConsoleTest, CtrlCInASessionStopsItAndLogsItsEnd) {
    const Broadcast broadcast = MakeBroadcast(44100, 2);
    const std::string url = ServeHalf(WavRoute(broadcast.audio));
    receiver_.Ask(PrepareCommand("s", url, SaveJingles(broadcast), 60000, 0));
    receiver_.WaitFor("READY");
    PressCtrlC();
    ExpectHostStoppedLast();
    EXPECT_THAT(receiver_.LogText(),
                testing::ContainsRegex(" RECEIVER FINISHED .*reason=cancelled"));
}

// The handler does not return from these; that must not keep the receiver from its end.
TEST_F(ConsoleTest, TheEndOfTheConsoleInASessionStopsItAndLogsItsEnd) {
    const Broadcast broadcast = MakeBroadcast(44100, 2);
    const std::string url = ServeHalf(WavRoute(broadcast.audio));
    receiver_.Ask(PrepareCommand("s", url, SaveJingles(broadcast), 60000, 0));
    receiver_.WaitFor("READY");
    Tell(CTRL_CLOSE_EVENT);
    ExpectHostStoppedLast();
}

TEST_F(ConsoleTest, ShutDownWhileNoClientIsThereEndsCleanly) {
    receiver_.Disconnect();
    Tell(CTRL_SHUTDOWN_EVENT);
    ExpectHostStoppedLast();
}

TEST(StandardOutput, TheListeningLineComesAtOnceInOnePieceThatEndsInALineFeedAlone) {
    const TempFolder folder;
    const std::string uri = ReceiverDriver::UniqueUri();
    PipedReceiver receiver(uri, folder.File("receiver.log"));
    auto first = std::async(std::launch::async, [&] { return receiver.ReadOnce(); });
    const auto outcome = first.wait_for(std::chrono::milliseconds(kPatienceMs));
    receiver.End();  // which also ends a read that would wait for ever
    EXPECT_EQ(outcome, std::future_status::ready);
    EXPECT_EQ(first.get(), "LISTENING " + uri + "\n");
}

}  // namespace receiver
