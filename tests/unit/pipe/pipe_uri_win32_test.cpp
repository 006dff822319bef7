#include <gtest/gtest.h>

#include "pipe/pipe_uri.h"

namespace receiver {
namespace {

TEST(PipeUriWin32, PathIsInThePipeNamespace) {
    EXPECT_EQ(MapPipeUri("pcm-pipe://abc"), "\\\\.\\pipe\\Corvadel.PCM.abc");
}

}  // namespace
}  // namespace receiver
