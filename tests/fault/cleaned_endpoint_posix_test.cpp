// What a receiver makes of a cleaner that takes its files away, and of files that killed
// receivers left behind.
#include <gmock/gmock.h>

#include "pipe/pipe_uri.h"
#include "platform/clock.h"
#include "testing/receiver_fixture.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

fs::path SocketOf(const ReceiverDriver& receiver) {
    return MapPipeUri(receiver.Uri()).value();
}

fs::path LockOf(const ReceiverDriver& receiver) {
    return SocketOf(receiver).parent_path() / ("lock." + *PipeNameFromUri(receiver.Uri()));
}

TEST(CleanedEndpoint, AReceiverThatListensCanBeReachedAgain) {
    ReceiverDriver receiver;
    fs::remove(SocketOf(receiver));
    fs::remove(LockOf(receiver));
    EXPECT_EQ(receiver.Introduce()["type"], "WELCOME");
    EXPECT_TRUE(fs::exists(LockOf(receiver)));
}

TEST(CleanedEndpoint, AReceiverWithAClientKeepsItsName) {
    ReceiverDriver receiver;
    receiver.Introduce();
    fs::remove(LockOf(receiver));
    const uint64_t deadline = TickMs() + kPatienceMs;
    while (!fs::exists(LockOf(receiver)) && TickMs() < deadline) receiver.Ask({{"type", "HELLO"}});

    const TempFolder folder;
    ChildProcess second(ReceiverDriver::ProgramPath(), {receiver.Uri(), folder.File("second.log")},
                        ChildProcess::ErrorStream::kCapture);
    EXPECT_EQ(second.WaitForExit(TickMs() + kPatienceMs), 1);
    EXPECT_EQ(second.ReadAllErrors(TickMs() + kPatienceMs), "Control Listen failed\n");
}

TEST(CleanedEndpoint, TheNextReceiverSweepsUpAfterAKilledOne) {
    ReceiverDriver killed;
    killed.Kill();
    ReceiverDriver next;
    next.Introduce();
    EXPECT_FALSE(fs::exists(SocketOf(killed)));
    EXPECT_FALSE(fs::exists(LockOf(killed)));
}

}  // namespace
}  // namespace receiver
