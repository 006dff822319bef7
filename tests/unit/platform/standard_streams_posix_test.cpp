#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "platform/standard_streams.h"
#include "platform/unique_fd_posix.h"
#include "testing/test_task.h"

namespace receiver {
namespace {

// Standard output goes into a pipe for the test.
class StandardStreamsPosixTest : public testing::Test {
protected:
    void SetUp() override {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        readEnd_.Reset(ends[0]);
        saved_.Reset(dup(STDOUT_FILENO));
        dup2(ends[1], STDOUT_FILENO);
        close(ends[1]);
    }
    void TearDown() override { Restore(); }
    void Restore() {
        if (saved_.IsValid()) dup2(saved_.Get(), STDOUT_FILENO);
        saved_.Reset();
    }

    UniqueFd readEnd_;
    UniqueFd saved_;
};

TEST_F(StandardStreamsPosixTest, ABrokenPipeIsIgnored) {
    readEnd_.Reset();
    WriteStandardOutputLine("lost");  // the default action of SIGPIPE would end the test
    Restore();
}

TEST_F(StandardStreamsPosixTest, ALongLineIsWrittenWholeThroughANonBlockingPipe) {
    fcntl(STDOUT_FILENO, F_SETFL, O_NONBLOCK);
    const std::string line(300'000, 'x');
    std::string received;
    TestTask reader("the reader", [&] {
        char bytes[4096];
        while (received.size() <= line.size()) {
            const ssize_t moved = read(readEnd_.Get(), bytes, sizeof bytes);
            if (moved <= 0) return;
            received.append(bytes, static_cast<size_t>(moved));
        }
    });
    WriteStandardOutputLine(line);
    Restore();
    reader.Get();
    EXPECT_TRUE(received == line + "\n");
}

}  // namespace
}  // namespace receiver
