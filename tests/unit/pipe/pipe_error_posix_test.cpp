#include "pipe/pipe_error_posix.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace receiver {
namespace {

struct Case {
    PipeOperation operation;
    int error;
    uint32_t code;
};

TEST(PipeErrorPosix, EveryErrorOfTheSystemHasItsNumber) {
    const Case cases[] = {
        {PipeOperation::kConnect, ENOENT, 2},        {PipeOperation::kListen, EACCES, 5},
        {PipeOperation::kListen, EPERM, 5},          {PipeOperation::kListen, ENOMEM, 8},
        {PipeOperation::kConnect, EAGAIN, 231},      {PipeOperation::kConnect, ECONNREFUSED, 231},
        {PipeOperation::kTransfer, ECONNRESET, 109}, {PipeOperation::kTransfer, EPIPE, 232},
        {PipeOperation::kListen, ENAMETOOLONG, 206}, {PipeOperation::kAccept, EMFILE, 4},
        {PipeOperation::kAccept, ENFILE, 4},         {PipeOperation::kOpenDirectory, ELOOP, 5},
        {PipeOperation::kOpenDirectory, ENOTDIR, 5}, {PipeOperation::kLock, EWOULDBLOCK, 5},
        {PipeOperation::kListen, ENOSPC, 31},        {PipeOperation::kTransfer, ECONNREFUSED, 31},
        {PipeOperation::kTransfer, EAGAIN, 31},      {PipeOperation::kConnect, ENOTDIR, 31},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(TranslatePipeError(c.operation, c.error), c.code) << c.error;
    }
}

}  // namespace
}  // namespace receiver
