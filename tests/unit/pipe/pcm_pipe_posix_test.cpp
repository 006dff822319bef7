#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "pipe/endpoint_names_posix.h"
#include "platform/clock.h"
#include "platform/error_codes.h"
#include "platform/unique_fd_posix.h"
#include "testing/forked_child_posix.h"
#include "testing/test_task.h"
#include "unit/pipe/pcm_pipe_posix_fixture.h"

namespace receiver {

namespace fs = std::filesystem;

namespace {

constexpr uint32_t kSoonMs = 10000;

size_t OpenDescriptors() {
    return static_cast<size_t>(std::distance(fs::directory_iterator("/proc/self/fd"), {}));
}

rlim_t LowestFreeDescriptor() {
    const UniqueFd probe(dup(STDIN_FILENO));
    return static_cast<rlim_t>(probe.Get());
}

TEST_F(PcmPipePosixTest, ListeningShowsTheSocketAndTheLock) {
    ASSERT_TRUE(server_.Listen(uri_));

    EXPECT_EQ(Entries(), (std::set<std::string>{"Corvadel.PCM." + name_, "lock." + name_}));
    EXPECT_TRUE(fs::is_socket(path_));
    EXPECT_EQ(fs::status(EndpointDirectoryPath()).permissions(), fs::perms::owner_all);
}

TEST_F(PcmPipePosixTest, OnceAClientIsAcceptedTheSocketsNameIsGoneAndTheLockStays) {
    ASSERT_TRUE(server_.Listen(uri_));
    ASSERT_TRUE(client_.Connect(uri_, 0));
    ASSERT_TRUE(server_.Accept(kSoonMs));

    EXPECT_EQ(Entries(), (std::set<std::string>{"lock." + name_}));
    CPcmPipe second(std::make_shared<CPcmPipeCancellation>());
    EXPECT_FALSE(second.Connect(uri_, 0));
    EXPECT_EQ(second.LastError(), kErrorFileNotFound);
}

TEST_F(PcmPipePosixTest, ASecondServerFailsWithAccessDeniedAndHarmsNothing) {
    CPcmPipe second(std::make_shared<CPcmPipeCancellation>());
    ASSERT_TRUE(server_.Listen(uri_));
    EXPECT_FALSE(second.Listen(uri_));
    EXPECT_EQ(second.LastError(), kErrorAccessDenied);

    EXPECT_EQ(Entries().size(), 2u);
    EXPECT_TRUE(client_.Connect(uri_, 0));
}

TEST_F(PcmPipePosixTest, AServerThatWaitsMakesItsNameAnewWhenItIsRemoved) {
    ASSERT_TRUE(server_.Listen(uri_));
    fs::remove(path_);
    fs::remove(LockPath());
    TestTask server("the server", [this] { EXPECT_TRUE(server_.Accept(kSoonMs)); });
    EXPECT_TRUE(client_.Connect(uri_, kSoonMs)) << client_.LastError();
    server.Get();
    EXPECT_TRUE(fs::exists(LockPath()));
}

TEST_F(PcmPipePosixTest, AServerThatLooksForBytesTakesItsLockAnewWhenItIsRemoved) {
    ASSERT_TRUE(server_.Listen(uri_));
    ASSERT_TRUE(client_.Connect(uri_, 0));
    ASSERT_TRUE(server_.Accept(kSoonMs));
    fs::remove(LockPath());
    const uint64_t deadline = TickMs() + kSoonMs;
    size_t available = 0;
    while (!fs::exists(LockPath()) && TickMs() < deadline) {
        ASSERT_TRUE(server_.Peek(&available));
        server_.Cancellation().Event().Wait(10);
    }
    EXPECT_TRUE(fs::exists(LockPath()));
}

TEST_F(PcmPipePosixTest, AServerThatWaitsEndsItsWaitWhenAnotherHasTakenTheName) {
    CPcmPipe other(std::make_shared<CPcmPipeCancellation>());
    ASSERT_TRUE(server_.Listen(uri_));
    fs::remove(LockPath());
    ASSERT_TRUE(other.Listen(uri_));
    EXPECT_FALSE(server_.Accept(kSoonMs));
    EXPECT_EQ(server_.LastError(), kErrorAccessDenied);
    server_.Close();
    EXPECT_TRUE(client_.Connect(uri_, 0)) << client_.LastError();
}

TEST_F(PcmPipePosixTest, EndpointsDoNotLeakDescriptors) {
    // Counted after one round: what the runtime opens once is not ours.
    size_t before = 0;
    for (int round = 0; round < 101; ++round) {
        ASSERT_TRUE(server_.Listen(uri_));
        ASSERT_TRUE(client_.Connect(uri_, 0));
        ASSERT_TRUE(server_.Accept(kSoonMs));
        client_.Close();
        server_.Close();
        if (round == 0) before = OpenDescriptors();
    }
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(PcmPipePosixTest, WritingToAClientThatIsGoneRaisesNoSignal) {
    ASSERT_TRUE(server_.Listen(uri_));
    ASSERT_TRUE(client_.Connect(uri_, 0));
    ASSERT_TRUE(server_.Accept(kSoonMs));
    client_.Close();

    EXPECT_FALSE(server_.Write("x", 1, TickMs() + kSoonMs));
    EXPECT_EQ(server_.LastError(), kErrorNoData);
}

TEST_F(PcmPipePosixTest, TooManyOpenFilesIsReportedAndLeavesNothing) {
    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &old), 0);
    // Each number of free descriptors fails another step, until all have what they need.
    bool succeeded = false;
    int failures = 0;
    for (rlim_t limit = LowestFreeDescriptor(); !succeeded && limit < 64; ++limit) {
        const rlimit low{limit, old.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
        succeeded = server_.Listen(uri_);
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &old), 0);
        if (succeeded) break;
        ++failures;
        EXPECT_EQ(server_.LastError(), kErrorTooManyOpenFiles);
        EXPECT_TRUE(Entries().empty());
    }
    EXPECT_TRUE(succeeded);
    EXPECT_GE(failures, 3);  // directory, lock, socket
}

}  // namespace
// The temporary name comes from the lock file's number, which is known before the server comes.
TEST_F(PcmPipePosixTest, ALeftoverOfAServerThatWasKilledWhileItListenedIsReplaced) {
    ASSERT_TRUE(server_.Listen(uri_));  // makes the directory
    server_.Close();
    struct stat status {};
    const UniqueFd lock(open(LockPath().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_EQ(fstat(lock.Get(), &status), 0);
    const fs::path leftover = EndpointDirectoryPath() + "/" + TemporaryFileName(status.st_ino);
    const UniqueFd made(open(leftover.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_TRUE(made.IsValid());

    EXPECT_TRUE(server_.Listen(uri_)) << server_.LastError();
    EXPECT_FALSE(fs::exists(leftover));
    server_.Close();
    EXPECT_TRUE(Entries().empty());
}

TEST_F(PcmPipePosixTest, AClientThatLeavesWhatItWasSentUnreadHasBrokenThePipe) {
    ASSERT_TRUE(server_.Listen(uri_) && client_.Connect(uri_, 0) && server_.Accept(kSoonMs));
    ASSERT_TRUE(server_.Write("unread", 6, TickMs() + kSoonMs));
    client_.Close();
    size_t available = 1;
    EXPECT_FALSE(server_.Peek(&available));
    EXPECT_EQ(server_.LastError(), kErrorBrokenPipe);
    EXPECT_EQ(available, 0u);
}

}  // namespace receiver
