#include "log/log.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "platform/ids.h"
#include "testing/memory_log.h"

namespace receiver {
namespace {

class LogTest : public testing::Test {
protected:
    std::unique_ptr<CLog> Create(CLog::Options options) {
        return std::make_unique<CLog>(std::make_unique<MemoryLog>(calls_), options);
    }
    static CLog::Options Plain() {
        CLog::Options options;
        options.flushEachLine = false;
        options.timeStamps = false;
        return options;
    }
    // The line of a message, with the ids of this thread and without a time.
    static std::string Line(const std::string& level, const std::string& message) {
        char head[100];
        std::snprintf(head, sizeof head,
                      "Process : 0x%04x : Thread : 0x%02x : Time :  : Level : ", CurrentProcessId(),
                      CurrentThreadId());
        return head + level + " : Message : " + message + "\n";
    }

    std::vector<std::string> calls_;
};

TEST_F(LogTest, ALineNamesProcessThreadLevelAndMessage) {
    Create(Plain())->Write(CLog::kInformation, "hello");
    EXPECT_EQ(calls_.front(), Line("    LOG INFO", "hello"));
}

TEST_F(LogTest, EachLevelHasItsTextRightAlignedIn12Characters) {
    CLog::Options options = Plain();
    options.levelLimit = CLog::kDebug;
    const auto log = Create(options);
    log->Write(CLog::kError, "m");
    log->Write(CLog::kWarning, "m");
    log->Write(CLog::kInformation, "m");
    log->Write(CLog::kDebug, "m");

    EXPECT_EQ(calls_,
              (std::vector<std::string>{Line("   LOG ERROR", "m"), Line(" LOG WARNING", "m"),
                                        Line("    LOG INFO", "m"), Line("   LOG DEBUG", "m")}));
}

TEST_F(LogTest, ALineAboveTheLimitWritesNothing) {
    const auto log = Create(CLog::Options{});
    EXPECT_EQ(log->Write(CLog::kDebug, "dropped"), 0);
    EXPECT_TRUE(calls_.empty());
}

TEST_F(LogTest, WriteAnswersZero) {
    EXPECT_EQ(Create(Plain())->Write(CLog::kInformation, "hello"), 0);
}

TEST_F(LogTest, AnUnknownLevelIsNamedByTheCategoryTextUncut) {
    CLog::Options options = Plain();
    options.levelLimit = 100;
    Create(options)->Write(7, "m");
    EXPECT_EQ(calls_.front(), Line(" LOG NOT IMPLEMENTED CATEGORY : ", "m"));
}

TEST_F(LogTest, ANegativeLevelIsUnknownToo) {
    Create(Plain())->Write(-1, "m");
    EXPECT_EQ(calls_.front(), Line(" LOG NOT IMPLEMENTED CATEGORY : ", "m"));
}

TEST_F(LogTest, ADerivedFrontMayNameItsOwnCategory) {
    class AuditLog final : public CLog {
    public:
        using CLog::CLog;

    private:
        const char* CategoryText() const override { return "AUDIT"; }
    };
    CLog::Options options = Plain();
    options.levelLimit = 100;
    AuditLog(std::make_unique<MemoryLog>(calls_), options).Write(7, "m");
    EXPECT_EQ(calls_.front(), Line("       AUDIT", "m"));
}

TEST_F(LogTest, TheTimeHasHoursMinutesSecondsAndMilliseconds) {
    Create(CLog::Options{})->Write(CLog::kInformation, "hello");
    EXPECT_TRUE(std::regex_match(
        calls_.front(),
        std::regex("Process : 0x[0-9a-f]{4,} : Thread : 0x[0-9a-f]{2,} : Time : "
                   "[0-2][0-9]:[0-5][0-9]:[0-6][0-9] ms:[0-9]{3} : Level :     LOG INFO"
                   " : Message : hello\n")))
        << calls_.front();
}

TEST_F(LogTest, AMessageIsWrittenWholeWhateverItsLength) {
    const std::string message(100'000, 'm');
    Create(Plain())->Write(CLog::kInformation, message);
    EXPECT_EQ(calls_.front(), Line("    LOG INFO", message));
}

TEST_F(LogTest, AMessageIsNoFormat) {
    Create(Plain())->Write(CLog::kInformation, "100%s %n");
    EXPECT_EQ(calls_.front(), Line("    LOG INFO", "100%s %n"));
}

TEST_F(LogTest, EachLineIsFlushedWhenAskedFor) {
    CLog::Options options = Plain();
    options.flushEachLine = true;
    const auto log = Create(options);
    log->Write(CLog::kInformation, "a");
    ASSERT_EQ(calls_.size(), 2u);
    EXPECT_EQ(calls_[1], "<flush>");
}

TEST_F(LogTest, ItsEndFlushesTheSink) {
    Create(Plain()).reset();
    EXPECT_EQ(calls_, std::vector<std::string>{"<flush>"});
}

}  // namespace
}  // namespace receiver
