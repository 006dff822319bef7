#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include "pipe/endpoint_directory_posix.h"
#include "pipe/pcm_pipe.h"
#include "pipe/pipe_uri.h"
#include "platform/clock.h"
#include "platform/error_codes.h"
#include "platform/ids.h"
#include "platform/unique_fd_posix.h"

namespace receiver {

namespace fs = std::filesystem;

namespace {

constexpr uint32_t kSoonMs = 10000;
constexpr uid_t kStranger = 54321;

size_t OpenDescriptors() {
    return static_cast<size_t>(std::distance(fs::directory_iterator("/proc/self/fd"), {}));
}

rlim_t LowestFreeDescriptor() {
    const UniqueFd probe(dup(STDIN_FILENO));
    return static_cast<rlim_t>(probe.Get());
}

// The child of a fork, which is killed if the test leaves it.
class Child {
public:
    template <typename Body>
    explicit Child(Body body) : pid_(fork()) {
        if (pid_ == 0) _exit(body());
    }
    ~Child() {
        if (pid_ > 0) Kill();
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    void Kill() {
        kill(pid_, SIGKILL);
        ExitCode();
    }
    int ExitCode() {
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t pid_;
};

class PcmPipePosixTest : public testing::Test {
protected:
    // The entries of the directory that belong to this test's name.
    std::set<std::string> Entries() const {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(EndpointDirectoryPath())) {
            const std::string name = entry.path().filename();
            if (name.ends_with(name_)) names.insert(name);
        }
        return names;
    }
    std::string LockPath() const { return EndpointDirectoryPath() + "/lock." + name_; }
    size_t TemporaryEntries() const {
        size_t count = 0;
        for (const auto& entry : fs::directory_iterator(EndpointDirectoryPath())) {
            if (entry.path().filename().string().starts_with("bind.")) ++count;
        }
        return count;
    }

    const std::string name_ = "unit-" + CreateInstanceId();
    const std::string uri_ = "pcm-pipe://" + name_;
    const std::string path_ = *MapPipeUri(uri_);
    CPcmPipe server_{std::make_shared<CPcmPipeCancellation>()};
    CPcmPipe client_{std::make_shared<CPcmPipeCancellation>()};
};

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

TEST_F(PcmPipePosixTest, CloseLeavesNothingInTheDirectory) {
    ASSERT_TRUE(server_.Listen(uri_));
    server_.Close();

    EXPECT_TRUE(Entries().empty());
    EXPECT_EQ(TemporaryEntries(), 0u);
}

TEST_F(PcmPipePosixTest, AFailedListenLeavesNothingOfItsOwn) {
    fs::create_directory(path_);  // the rename fails
    EXPECT_FALSE(server_.Listen(uri_));
    fs::remove(path_);

    EXPECT_EQ(server_.LastError(), kErrorGeneralFailure);
    EXPECT_TRUE(Entries().empty());
    EXPECT_EQ(TemporaryEntries(), 0u);
}

TEST_F(PcmPipePosixTest, ASecondServerFailsWithAccessDeniedAndHarmsNothing) {
    CPcmPipe second(std::make_shared<CPcmPipeCancellation>());
    ASSERT_TRUE(server_.Listen(uri_));
    EXPECT_FALSE(second.Listen(uri_));
    EXPECT_EQ(second.LastError(), kErrorAccessDenied);

    EXPECT_EQ(Entries().size(), 2u);
    EXPECT_TRUE(client_.Connect(uri_, 0));
}

TEST_F(PcmPipePosixTest, TheSocketThatAKilledServerLeftIsReplaced) {
    UniqueFd listening;
    {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        listening.Reset(ends[0]);
        UniqueFd told(ends[1]);
        Child receiver([&] {
            if (!server_.Listen(uri_) || write(told.Get(), "x", 1) != 1) return 1;
            pause();
            return 0;
        });
        told.Reset();
        char byte = 0;
        ASSERT_EQ(read(listening.Get(), &byte, 1), 1);
        receiver.Kill();
    }
    ASSERT_EQ(Entries().size(), 2u);
    ASSERT_FALSE(client_.Connect(uri_, 0));
    EXPECT_EQ(client_.LastError(), kErrorPipeBusy);

    ASSERT_TRUE(server_.Listen(uri_)) << server_.LastError();
    EXPECT_TRUE(client_.Connect(uri_, 0)) << client_.LastError();
    EXPECT_TRUE(server_.Accept(kSoonMs));
    server_.Close();
    EXPECT_TRUE(Entries().empty());
}

TEST_F(PcmPipePosixTest, AServerThatWaitsMakesItsNameAnewWhenItIsRemoved) {
    ASSERT_TRUE(server_.Listen(uri_));
    fs::remove(path_);
    fs::remove(LockPath());
    std::thread server([this] { EXPECT_TRUE(server_.Accept(kSoonMs)); });
    EXPECT_TRUE(client_.Connect(uri_, kSoonMs)) << client_.LastError();
    server.join();
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

// In a process of another user, who has a directory of his own that a test may damage.
class PcmPipeOfAStrangerTest : public PcmPipePosixTest {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
        fs::remove_all(directory_);
    }
    void TearDown() override { fs::remove_all(directory_); }

    // LastError of a Listen or Connect by that user.
    template <typename Operation>
    static int ErrorOf(Operation operation) {
        Child child([&] {
            if (setresuid(kStranger, kStranger, kStranger) != 0) return 200;
            CPcmPipe pipe(std::make_shared<CPcmPipeCancellation>());
            operation(pipe);
            return static_cast<int>(pipe.LastError());
        });
        return child.ExitCode();
    }
    int ListenError() const {
        return ErrorOf([this](CPcmPipe& pipe) { pipe.Listen(uri_); });
    }
    int ConnectError() const {
        return ErrorOf([this](CPcmPipe& pipe) { pipe.Connect(uri_, 0); });
    }
    void MakeDirectory(fs::perms permissions, uid_t owner) const {
        fs::create_directory(directory_);
        fs::permissions(directory_, permissions);
        ASSERT_EQ(chown(directory_.c_str(), owner, owner), 0);
    }

    const std::string directory_ = "/tmp/corvadel-" + std::to_string(kStranger);
};

TEST_F(PcmPipeOfAStrangerTest, ListenMakesTheDirectoryForItsUserAlone) {
    EXPECT_EQ(ListenError(), 0);
    struct stat status {};
    ASSERT_EQ(stat(directory_.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, kStranger);
    EXPECT_EQ(status.st_mode & 07777u, 0700u);
    EXPECT_TRUE(fs::is_empty(directory_));
}

TEST_F(PcmPipeOfAStrangerTest, ConnectDoesNotMakeTheDirectory) {
    EXPECT_EQ(ConnectError(), static_cast<int>(kErrorFileNotFound));
    EXPECT_FALSE(fs::exists(directory_));
}

TEST_F(PcmPipeOfAStrangerTest, ASymbolicLinkInTheDirectorysPlaceIsRefused) {
    const std::string target = directory_ + "-target";
    fs::create_directory(target);
    fs::permissions(target, fs::perms::owner_all);
    EXPECT_EQ(chown(target.c_str(), kStranger, kStranger), 0);
    fs::create_directory_symlink(target, directory_);

    EXPECT_EQ(ListenError(), static_cast<int>(kErrorAccessDenied));
    EXPECT_EQ(ConnectError(), static_cast<int>(kErrorAccessDenied));
    fs::remove(directory_);
    fs::remove(target);
}

TEST_F(PcmPipeOfAStrangerTest, AFileInTheDirectorysPlaceIsRefused) {
    std::ofstream(directory_).put('x');
    EXPECT_EQ(ListenError(), static_cast<int>(kErrorAccessDenied));
    EXPECT_EQ(ConnectError(), static_cast<int>(kErrorAccessDenied));
}

TEST_F(PcmPipeOfAStrangerTest, ADirectoryThatGroupOrOthersMayEnterIsRefused) {
    for (const auto extra : {fs::perms::group_exec, fs::perms::group_read, fs::perms::others_write,
                             fs::perms::others_exec}) {
        MakeDirectory(fs::perms::owner_all | extra, kStranger);
        EXPECT_EQ(ListenError(), static_cast<int>(kErrorAccessDenied));
        EXPECT_EQ(ConnectError(), static_cast<int>(kErrorAccessDenied));
        fs::remove_all(directory_);
    }
}

TEST_F(PcmPipeOfAStrangerTest, ADirectoryOfAnotherUserIsRefused) {
    MakeDirectory(fs::perms::owner_all, kStranger + 1);
    EXPECT_EQ(ListenError(), static_cast<int>(kErrorAccessDenied));
    EXPECT_EQ(ConnectError(), static_cast<int>(kErrorAccessDenied));
}

// Runs the receiver as one user and its caller as another; the directory is opened for the
// test, since a private one does not even let a stranger reach the socket.
class PcmPipePeerTest : public PcmPipeOfAStrangerTest {
protected:
    // Connects as `user` to the socket at `path`, then says whether the server kept the
    // connection: it writes a byte to those it accepts.
    static int ConnectAs(uid_t user, const std::string& path) {
        if (setresuid(user, user, user) != 0) return 200;
        const UniqueFd stream(socket(AF_UNIX, SOCK_STREAM, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        if (connect(stream.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            return 201;
        }
        char byte = 0;
        return read(stream.Get(), &byte, 1) == 1 ? kKept : kDropped;
    }
    static constexpr int kKept = 1;
    static constexpr int kDropped = 0;
};

TEST_F(PcmPipePeerTest, AStrangerIsDroppedAndWaitingGoesOn) {
    ASSERT_TRUE(server_.Listen(uri_));
    fs::permissions(EndpointDirectoryPath(), static_cast<fs::perms>(0711));
    fs::permissions(path_, static_cast<fs::perms>(0666));
    int strangersEnd = -1;
    {
        Child stranger([this] { return ConnectAs(kStranger, path_); });
        std::thread server([this] { EXPECT_TRUE(server_.Accept(kSoonMs)); });
        strangersEnd = stranger.ExitCode();
        fs::permissions(EndpointDirectoryPath(), fs::perms::owner_all);
        EXPECT_TRUE(client_.Connect(uri_, kSoonMs)) << client_.LastError();
        server.join();
    }

    EXPECT_EQ(strangersEnd, kDropped);
    EXPECT_TRUE(client_.Write("x", 1, TickMs() + kSoonMs));
    char byte = 0;
    EXPECT_TRUE(server_.Read(&byte, 1, TickMs() + kSoonMs));
}

TEST_F(PcmPipePeerTest, RootIsWelcomeAtAnotherUsersReceiver) {
    MakeDirectory(fs::perms::owner_all, kStranger);
    const std::string path = directory_ + "/Corvadel.PCM." + name_;
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    UniqueFd listening(ends[0]);
    UniqueFd told(ends[1]);
    Child receiver([&] {
        if (setresuid(kStranger, kStranger, kStranger) != 0) return 200;
        CPcmPipe pipe(std::make_shared<CPcmPipeCancellation>());
        if (!pipe.Listen(uri_) || write(told.Get(), "x", 1) != 1) return 201;
        if (!pipe.Accept(kSoonMs)) return 202;
        return pipe.Write("x", 1, TickMs() + kSoonMs) ? 0 : 203;
    });
    told.Reset();
    char byte = 0;
    ASSERT_EQ(read(listening.Get(), &byte, 1), 1);

    Child root([&] { return ConnectAs(0, path); });
    EXPECT_EQ(root.ExitCode(), kKept);
    EXPECT_EQ(receiver.ExitCode(), 0);
}

}  // namespace
}  // namespace receiver
