// The directory that all endpoints of a user share: who may be in it, and what is left there.
// These tests take directories away and open them to others, or look for names in them that any
// other endpoint has for a moment: nothing runs beside them.
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

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
constexpr uid_t kStranger = 54321;

size_t TemporaryEntries() {
    size_t count = 0;
    for (const auto& entry : fs::directory_iterator(EndpointDirectoryPath())) {
        if (entry.path().filename().string().starts_with("bind.")) ++count;
    }
    return count;
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

// Any endpoint that begins to listen would sweep up what the killed one left.
TEST_F(PcmPipePosixTest, TheSocketThatAKilledServerLeftIsReplaced) {
    ChildSignal listening;
    ForkedChild receiver([&] {
        if (!server_.Listen(uri_) || !listening.Give()) return 1;
        pause();
        return 0;
    });
    ASSERT_TRUE(listening.Wait());
    receiver.Kill();
    ASSERT_EQ(Entries().size(), 2u);
    ASSERT_FALSE(client_.Connect(uri_, 0));
    EXPECT_EQ(client_.LastError(), kErrorPipeBusy);

    ASSERT_TRUE(server_.Listen(uri_)) << server_.LastError();
    EXPECT_TRUE(client_.Connect(uri_, 0)) << client_.LastError();
    EXPECT_TRUE(server_.Accept(kSoonMs));
    server_.Close();
    EXPECT_TRUE(Entries().empty());
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
        ForkedChild child([&] {
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
        ForkedChild stranger([this] { return ConnectAs(kStranger, path_); });
        TestTask server("the server", [this] { EXPECT_TRUE(server_.Accept(kSoonMs)); });
        strangersEnd = stranger.ExitCode();
        fs::permissions(EndpointDirectoryPath(), fs::perms::owner_all);
        EXPECT_TRUE(client_.Connect(uri_, kSoonMs)) << client_.LastError();
        server.Get();
    }

    EXPECT_EQ(strangersEnd, kDropped);
    EXPECT_TRUE(client_.Write("x", 1, TickMs() + kSoonMs));
    char byte = 0;
    EXPECT_TRUE(server_.Read(&byte, 1, TickMs() + kSoonMs));
}

TEST_F(PcmPipePeerTest, RootIsWelcomeAtAnotherUsersReceiver) {
    MakeDirectory(fs::perms::owner_all, kStranger);
    const std::string path = directory_ + "/Corvadel.PCM." + name_;
    ChildSignal listening;
    ForkedChild receiver([&] {
        if (setresuid(kStranger, kStranger, kStranger) != 0) return 200;
        CPcmPipe pipe(std::make_shared<CPcmPipeCancellation>());
        if (!pipe.Listen(uri_) || !listening.Give()) return 201;
        if (!pipe.Accept(kSoonMs)) return 202;
        return pipe.Write("x", 1, TickMs() + kSoonMs) ? 0 : 203;
    });
    ASSERT_TRUE(listening.Wait());

    ForkedChild root([&] { return ConnectAs(0, path); });
    EXPECT_EQ(root.ExitCode(), kKept);
    EXPECT_EQ(receiver.ExitCode(), 0);
}

}  // namespace
}  // namespace receiver
