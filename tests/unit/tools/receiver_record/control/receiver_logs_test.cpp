#include "receiver_record/control/receiver_logs.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>

#include "platform/ids.h"
#include "testing/temp_folder.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

constexpr uint32_t kNobody = 4194304 + 1;  // no system gives a process so high a number
constexpr uint32_t kUs = 4194304 + 2;

class ReceiverLogsTest : public testing::Test {
protected:
    // Written so many minutes ago.
    fs::path Put(const std::string& name, int minutes, uint64_t bytes = 1) {
        const fs::path path = folder_.Path() / name;
        std::ofstream(path) << "x";
        fs::resize_file(path, bytes);
        fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::minutes(minutes));
        return path;
    }
    static std::string Name(uint32_t process, int number) {
        return "receiver-" + std::to_string(process) + "_20260314_0926" +
               std::to_string(10 + number) + ".log";
    }
    size_t FilesLeft() const {
        return static_cast<size_t>(
            std::distance(fs::directory_iterator(folder_.Path()), fs::directory_iterator()));
    }

    const TempFolder folder_;
    const ReceiverLogs logs_{folder_.Path()};
};

}  // namespace

TEST_F(ReceiverLogsTest, OfRecordingsThatAreOverTheNewestAreKept) {
    for (int i = 0; i < 30; ++i) Put(Name(kNobody, i), 100 - i);
    logs_.Tidy(kUs);
    EXPECT_EQ(FilesLeft(), ReceiverLogs::kMaxFiles);
    EXPECT_TRUE(fs::exists(folder_.Path() / Name(kNobody, 29)));
    EXPECT_FALSE(fs::exists(folder_.Path() / Name(kNobody, 9)));
}

TEST_F(ReceiverLogsTest, TogetherTheyHaveABoundToo) {
    for (int i = 0; i < 4; ++i) Put(Name(kNobody, i), 100 - i, 100 << 20);
    logs_.Tidy(kUs);
    EXPECT_EQ(FilesLeft(), 2u);
    EXPECT_TRUE(fs::exists(folder_.Path() / Name(kNobody, 2)));
}

TEST_F(ReceiverLogsTest, OfThisRecordingTheNewestTwoAreKeptWhateverTheirSize) {
    for (int i = 0; i < 4; ++i) Put(Name(kUs, i), 100 - i);
    Put(Name(kUs, 5), 0, 300 << 20);
    logs_.Tidy(kUs);
    EXPECT_TRUE(fs::exists(folder_.Path() / Name(kUs, 5)));
    EXPECT_EQ(FilesLeft(), 1u);  // the others do not fit beside it
    fs::resize_file(folder_.Path() / Name(kUs, 5), 1);
    for (int i = 0; i < 4; ++i) Put(Name(kUs, i), 100 - i);
    logs_.Tidy(kUs);
    EXPECT_EQ(FilesLeft(), 2u);
    EXPECT_TRUE(fs::exists(folder_.Path() / Name(kUs, 3)));
}

TEST_F(ReceiverLogsTest, WhatAnotherRecordingWritesIsLeftToIt) {
    for (int i = 0; i < 30; ++i) Put(Name(CurrentProcessId(), i), 100 - i);
    logs_.Tidy(kUs);
    EXPECT_EQ(FilesLeft(), 30u);
}

TEST_F(ReceiverLogsTest, WhatHasAnotherNameIsNotOurs) {
    for (int i = 0; i < 30; ++i) Put("notes-" + std::to_string(i) + ".log", 100);
    Put("receiver-_20260314_092610.log", 100);
    Put("receiver-12.log", 100);
    logs_.Tidy(kUs);
    EXPECT_EQ(FilesLeft(), 32u);
}

TEST_F(ReceiverLogsTest, AReceiverNamesItsLogsAfterWhatItIsGiven) {
    const fs::path log = logs_.NewLog(kUs);
    EXPECT_EQ(NewestLog(log), fs::path());
    Put(Name(kUs, 1), 1);
    const fs::path newest = Put(Name(kUs, 2), 2);
    Put(Name(kNobody, 3), 1);
    Put("receiver-" + std::to_string(kUs) + "_and_much_more.log", 1);
    EXPECT_EQ(NewestLog(log), newest);
}

}  // namespace receiver
