// What becomes of endpoints whose files somebody else removes, and of files whose servers are
// gone. In a directory of the test's own.
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "pipe/local_socket_posix.h"
#include "platform/clock.h"
#include "platform/error_codes.h"
#include "platform/poll_posix.h"
#include "testing/forked_child_posix.h"
#include "testing/temp_folder.h"
#include "testing/test_task.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

constexpr uint32_t kSoonMs = 10000;

class EndpointUpkeepTest : public testing::Test {
protected:
    std::string File(const std::string& name) const { return directory_ + "/" + name; }
    std::set<std::string> Entries() const {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(directory_)) {
            names.insert(entry.path().filename());
        }
        return names;
    }
    bool CanConnect() const {
        UniqueFd stream;
        return ConnectToServer(directory_, "name", stream) == kErrorNone;
    }
    uint32_t ErrorOfSecondServer() const {
        ServerSocket second;
        return second.Open(directory_, "name");
    }
    // Connects, and takes the connection.
    void Serve(UniqueFd& client, UniqueFd& stream) {
        ASSERT_EQ(ConnectToServer(directory_, "name", client), kErrorNone);
        ASSERT_EQ(server_.Accept(stream), kErrorNone);
        ASSERT_TRUE(stream.IsValid());
    }
    // A process that opens the name and is killed.
    void LeaveBehind(const std::string& name) const {
        ChildSignal opened;
        ForkedChild child([&] {
            ServerSocket server;
            if (server.Open(directory_, name) != 0 || !opened.Give()) return 1;
            pause();
            return 0;
        });
        ASSERT_TRUE(opened.Wait());
        child.Kill();
    }

    const TempFolder folder_;
    const std::string directory_ = folder_.File("endpoints");
    ServerSocket server_;
};

TEST_F(EndpointUpkeepTest, WhatIsInPlaceStaysAsItIs) {
    ASSERT_EQ(server_.Open(directory_, "name"), kErrorNone);
    const int listener = server_.Fd();
    EXPECT_EQ(server_.Restore(), kErrorNone);
    EXPECT_EQ(server_.Fd(), listener);
    EXPECT_TRUE(CanConnect());
}

TEST_F(EndpointUpkeepTest, ANameThatIsGoneIsMadeAnew) {
    ASSERT_EQ(server_.Open(directory_, "name"), kErrorNone);
    fs::remove(File("Corvadel.PCM.name"));
    ASSERT_FALSE(CanConnect());
    EXPECT_EQ(server_.Restore(), kErrorNone);
    EXPECT_TRUE(CanConnect());
    EXPECT_EQ(Entries(), (std::set<std::string>{"Corvadel.PCM.name", "lock.name"}));
}

TEST_F(EndpointUpkeepTest, ALockThatIsGoneIsTakenAnew) {
    ASSERT_EQ(server_.Open(directory_, "name"), kErrorNone);
    fs::remove(File("lock.name"));
    EXPECT_EQ(server_.Restore(), kErrorNone);
    EXPECT_EQ(ErrorOfSecondServer(), kErrorAccessDenied);
    EXPECT_TRUE(CanConnect());
}

TEST_F(EndpointUpkeepTest, ADirectoryThatIsGoneIsMadeAnew) {
    ASSERT_EQ(server_.Open(directory_, "name"), kErrorNone);
    fs::remove_all(directory_);
    EXPECT_EQ(server_.Restore(), kErrorNone);
    EXPECT_TRUE(CanConnect());
    EXPECT_EQ(ErrorOfSecondServer(), kErrorAccessDenied);
}

TEST_F(EndpointUpkeepTest, ADirectoryThatWasMovedAwayIsMadeAnew) {
    ASSERT_EQ(server_.Open(directory_, "name"), kErrorNone);
    fs::rename(directory_, folder_.File("elsewhere"));
    EXPECT_EQ(server_.Restore(), kErrorNone);
    EXPECT_TRUE(CanConnect());
}

TEST_F(EndpointUpkeepTest, AServerWithItsClientKeepsItsClaimToTheName) {
    ASSERT_EQ(server_.Open(directory_, "name"), kErrorNone);
    UniqueFd client, stream;
    Serve(client, stream);
    fs::remove_all(directory_);
    EXPECT_EQ(server_.Restore(), kErrorNone);
    EXPECT_EQ(ErrorOfSecondServer(), kErrorAccessDenied);
    EXPECT_EQ(Entries(), (std::set<std::string>{"lock.name"}));
}

TEST_F(EndpointUpkeepTest, ANameThatAnotherServerHasTakenMeanwhileIsLeftToIt) {
    ServerSocket other;
    {
        ServerSocket robbed;
        ASSERT_EQ(robbed.Open(directory_, "name"), kErrorNone);
        fs::remove_all(directory_);
        ASSERT_EQ(other.Open(directory_, "name"), kErrorNone);
        EXPECT_EQ(robbed.Restore(), kErrorAccessDenied);
    }
    EXPECT_EQ(Entries(), (std::set<std::string>{"Corvadel.PCM.name", "lock.name"}));
    EXPECT_TRUE(CanConnect());
}

TEST_F(EndpointUpkeepTest, AServerThatCannotComeBackYetGoesOnAndTriesAgain) {
    ASSERT_EQ(server_.Open(directory_, "name"), kErrorNone);
    fs::remove_all(directory_);
    std::ofstream(directory_).put('x');
    EXPECT_NE(server_.Restore(), kErrorNone);
    fs::remove(directory_);
    EXPECT_EQ(server_.Restore(), kErrorNone);
    EXPECT_TRUE(CanConnect());
}

// systemd-tmpfiles leaves a directory alone that it cannot lock for itself.
TEST_F(EndpointUpkeepTest, WhileAServerLivesItsDirectoryIsLockedAgainstCleaners) {
    {
        ServerSocket first, second;
        ASSERT_EQ(first.Open(directory_, "name"), kErrorNone);
        ASSERT_EQ(second.Open(directory_, "other"), kErrorNone);
        const UniqueFd cleaner(open(directory_.c_str(), O_RDONLY | O_DIRECTORY));
        EXPECT_NE(flock(cleaner.Get(), LOCK_EX | LOCK_NB), 0);
    }
    const UniqueFd cleaner(open(directory_.c_str(), O_RDONLY | O_DIRECTORY));
    EXPECT_EQ(flock(cleaner.Get(), LOCK_EX | LOCK_NB), 0);
    // A server that comes while a cleaner is at work gets its share later.
    ASSERT_EQ(server_.Open(directory_, "name"), kErrorNone);
    ASSERT_EQ(flock(cleaner.Get(), LOCK_UN), 0);
    ASSERT_EQ(server_.Restore(), kErrorNone);
    EXPECT_NE(flock(cleaner.Get(), LOCK_EX | LOCK_NB), 0);
}

TEST_F(EndpointUpkeepTest, ASweepTakesWhatKilledServersLeftAndNothingElse) {
    LeaveBehind("dead");
    LeaveBehind("dead-without-lock");
    fs::remove(File("lock.dead-without-lock"));
    LeaveBehind("dead-without-socket");
    fs::remove(File("Corvadel.PCM.dead-without-socket"));
    std::ofstream(File("bind.0")).put('x');

    ServerSocket other;
    ASSERT_EQ(other.Open(directory_, "other"), kErrorNone);
    ASSERT_EQ(server_.Open(directory_, "name"), kErrorNone);
    UniqueFd client, stream;
    Serve(client, stream);
    struct stat lock {};
    ASSERT_EQ(stat(File("lock.name").c_str(), &lock), 0);
    const std::string binding = "bind." + std::to_string(lock.st_ino);
    std::ofstream(File(binding)).put('x');

    other.SweepDirectory();
    EXPECT_EQ(Entries(),
              (std::set<std::string>{"Corvadel.PCM.other", "lock.other", "lock.name", binding}));
}

// Another's sweep must not keep a server from the name that a killed one had.
TEST_F(EndpointUpkeepTest, ALockWaitsForAHolderThatLetsGoInTime) {
    EndpointDirectory directory;
    ASSERT_EQ(directory.OpenOrCreate(directory_), kErrorNone);
    auto sweeper = std::make_unique<EndpointLock>();
    ASSERT_EQ(sweeper->Take(directory.Fd(), "name", 0), kErrorNone);
    EndpointLock lock;
    TestTask taken("the taker",
                   [&] { return lock.Take(directory.Fd(), "name", DeadlineTickMs(kSoonMs)); });
    EXPECT_FALSE(taken.HasEndedWithin(50));
    sweeper.reset();
    EXPECT_EQ(taken.Get(), kErrorNone);
    EXPECT_TRUE(lock.IsAtItsPath());
}

}  // namespace
}  // namespace receiver
