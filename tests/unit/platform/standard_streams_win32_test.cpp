#include <gtest/gtest.h>
#include <windows.h>

#include "platform/standard_streams.h"
#include "platform/unique_handle_win32.h"

namespace receiver {
namespace {

// Tried with standard input, which no test needs.
class MissingStandardStreamsTest : public testing::Test {
protected:
    ~MissingStandardStreamsTest() override { SetStdHandle(STD_INPUT_HANDLE, before_); }

    static HANDLE InputAfterOpening(HANDLE given) {
        SetStdHandle(STD_INPUT_HANDLE, given);
        OpenMissingStandardStreams();
        return GetStdHandle(STD_INPUT_HANDLE);
    }

    const HANDLE before_ = GetStdHandle(STD_INPUT_HANDLE);
};

TEST_F(MissingStandardStreamsTest, AreTheNullDeviceFromThenOn) {
    for (const HANDLE missing : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
        const HANDLE input = InputAfterOpening(missing);
        EXPECT_EQ(GetFileType(input), static_cast<DWORD>(FILE_TYPE_CHAR));
        char byte = 0;
        DWORD moved = 1;
        EXPECT_TRUE(ReadFile(input, &byte, 1, &moved, nullptr));
        EXPECT_EQ(moved, 0u);
    }
}

// A starter may name a handle that it did not hand down; the value then belongs to whatever
// gets it next.
TEST_F(MissingStandardStreamsTest, AreThoseOfWhichOnlyTheNumberIsThere) {
    const UniqueHandle event = OwnHandle(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    EXPECT_NE(InputAfterOpening(event.Get()), event.Get());
}

TEST_F(MissingStandardStreamsTest, OthersStayAsTheyAre) {
    HANDLE reading = nullptr, writing = nullptr;
    ASSERT_TRUE(CreatePipe(&reading, &writing, nullptr, 0));
    const UniqueHandle readEnd = OwnHandle(reading), writeEnd = OwnHandle(writing);
    EXPECT_EQ(InputAfterOpening(reading), reading);
}

}  // namespace
}  // namespace receiver
