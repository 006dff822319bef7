#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "platform/standard_streams.h"
#include "platform/unique_fd_posix.h"
#include "testing/forked_child_posix.h"
#include "testing/missing_streams_posix.h"
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

// In a process of its own, which has closed what `missing` names. 0, or the number of what
// is wrong.
int OpenWithout(int missing) {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (IsMissing(missing, fd)) close(fd);
    }
    if (OpenMissingStandardStreams() != IsMissing(missing, STDOUT_FILENO)) return 1;
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (!IsMissing(missing, fd)) continue;
        const std::string path = "/proc/self/fd/" + std::to_string(fd);
        if (std::filesystem::read_symlink(path) != "/dev/null") return 2;
        if (fcntl(fd, F_GETFD) != 0) return 3;  // children have it too
    }
    return UniqueFd(open("/", O_RDONLY)).Get() > STDERR_FILENO ? 0 : 4;
}

TEST(MissingStandardStreams, AreTheNullDeviceFromThenOn) {
    for (int missing = kNoStreamMissing; missing <= kAllStreamsMissing; ++missing) {
        ForkedChild child([missing] { return OpenWithout(missing); });
        EXPECT_EQ(child.ExitCode(), 0) << missing;
    }
}

}  // namespace
}  // namespace receiver
