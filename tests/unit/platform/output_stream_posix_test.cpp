// Standard output of this process becomes a pipe that the test reads.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <string>

#include "platform/output_stream.h"
#include "platform/unique_fd_posix.h"
#include "testing/patience.h"
#include "testing/test_task.h"

namespace receiver {
namespace {

constexpr size_t kMoreThanAPipeHolds = 1 << 20;

class OutputStreamPosixTest : public testing::Test {
protected:
    OutputStreamPosixTest() {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        reader_.Reset(ends[0]);
        EXPECT_EQ(dup2(ends[1], STDOUT_FILENO), STDOUT_FILENO);
        close(ends[1]);
    }
    ~OutputStreamPosixTest() override { dup2(before_.Get(), STDOUT_FILENO); }

    std::string Read(size_t bytes) const {
        std::string text(bytes, '\0');
        size_t got = 0;
        while (got < bytes) {
            const ssize_t moved = read(reader_.Get(), text.data() + got, bytes - got);
            if (moved <= 0) break;
            got += static_cast<size_t>(moved);
        }
        text.resize(got);
        return text;
    }
    void WaitForAFullPipe() const {
        pollfd ready{STDOUT_FILENO, POLLOUT, 0};
        const Patience patience("a full pipe");
        while (poll(&ready, 1, 0) > 0) patience.Check();
    }

    const UniqueFd before_{dup(STDOUT_FILENO)};
    UniqueFd reader_;
};

}  // namespace

TEST_F(OutputStreamPosixTest, AWriteWaitsForItsReader) {
    const std::unique_ptr<OutputStream> stream = OpenStandardOutput();
    const std::string text(kMoreThanAPipeHolds, 'x');
    bool isWritten = false;
    TestTask writer("the writer", [&] { isWritten = stream->Write(text.data(), text.size()); });
    EXPECT_EQ(Read(text.size()), text);
    writer.Get();
    EXPECT_TRUE(isWritten);
}

TEST_F(OutputStreamPosixTest, AStreamThatDoesNotBlockIsWaitedForToo) {
    EXPECT_EQ(fcntl(STDOUT_FILENO, F_SETFL, O_NONBLOCK), 0);
    const std::unique_ptr<OutputStream> stream = OpenStandardOutput();
    const std::string text(kMoreThanAPipeHolds, 'x');
    bool isWritten = false;
    TestTask writer("the writer", [&] { isWritten = stream->Write(text.data(), text.size()); });
    WaitForAFullPipe();
    EXPECT_EQ(Read(text.size()), text);
    writer.Get();
    EXPECT_TRUE(isWritten);
}

TEST_F(OutputStreamPosixTest, StopEndsAWriteThatWaitsAndEveryLaterOne) {
    const std::unique_ptr<OutputStream> stream = OpenStandardOutput();
    const std::string text(kMoreThanAPipeHolds, 'x');
    bool isWritten = true;
    TestTask writer("the writer", [&] { isWritten = stream->Write(text.data(), text.size()); });
    WaitForAFullPipe();
    stream->Stop();
    writer.Get();
    EXPECT_FALSE(isWritten);
    EXPECT_NE(stream->FailureText(), "");
    EXPECT_FALSE(stream->Write("x", 1));
}

TEST_F(OutputStreamPosixTest, WhatIsSharedWithOthersStaysAsItIs) {
    const int before = fcntl(STDOUT_FILENO, F_GETFL);
    const std::unique_ptr<OutputStream> stream = OpenStandardOutput();
    EXPECT_TRUE(stream->Write("x", 1));
    EXPECT_EQ(fcntl(STDOUT_FILENO, F_GETFL), before);
}

}  // namespace receiver
