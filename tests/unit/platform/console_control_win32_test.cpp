#include <gtest/gtest.h>
#include <windows.h>

#include "platform/child_process.h"
#include "platform/clock.h"
#include "platform/executable_path.h"
#include "platform/unique_handle_win32.h"

namespace receiver {
namespace {

uint64_t Soon() {
    return TickMs() + 10000;
}

// What the system does in a process to tell it of a request: a thread that calls the handlers.
UniqueHandle Tell(const ChildProcess& child, uintptr_t request) {
    const UniqueHandle process =
        OwnHandle(OpenProcess(PROCESS_ALL_ACCESS, FALSE, child.ProcessId()));
    const auto routine = reinterpret_cast<LPTHREAD_START_ROUTINE>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("kernelbase.dll"), "CtrlRoutine")));
    return OwnHandle(CreateRemoteThread(process.Get(), nullptr, 0, routine,
                                        reinterpret_cast<void*>(request), 0, nullptr));
}

class ConsoleControlWin32Test : public testing::TestWithParam<int> {
protected:
    static std::string Program() {
        return (ExecutableDirectory() / "unit_platform_child").string();
    }
};

// The system would end the process when the handler returned.
TEST_P(ConsoleControlWin32Test, TheHandlerDoesNotReturnBeforeTheProcessHasEnded) {
    constexpr DWORD kTimeToReturnMs = 200;
    ChildProcess child(Program(), {"linger"});
    ASSERT_EQ(child.ReadLine(Soon()), "waiting");
    const UniqueHandle handler = Tell(child, static_cast<uintptr_t>(GetParam()));
    ASSERT_TRUE(handler.IsValid());
    EXPECT_EQ(child.ReadLine(Soon()), "asked to end");
    EXPECT_EQ(WaitForSingleObject(handler.Get(), kTimeToReturnMs),
              static_cast<DWORD>(WAIT_TIMEOUT));
}

TEST_P(ConsoleControlWin32Test, AHandlerThatWaitsDoesNotKeepTheProcessFromItsEnd) {
    ChildProcess child(Program(), {"wait"});
    ASSERT_EQ(child.ReadLine(Soon()), "waiting");
    ASSERT_TRUE(Tell(child, static_cast<uintptr_t>(GetParam())).IsValid());
    EXPECT_EQ(child.WaitForExit(Soon()), 3);
}

INSTANTIATE_TEST_SUITE_P(Requests, ConsoleControlWin32Test,
                         testing::Values(CTRL_CLOSE_EVENT, CTRL_LOGOFF_EVENT, CTRL_SHUTDOWN_EVENT));

}  // namespace
}  // namespace receiver
