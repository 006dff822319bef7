#include <gtest/gtest.h>
#include <unistd.h>

#include "pipe/pipe_uri.h"

namespace receiver {
namespace {

TEST(PipeUriPosix, PathIsInTheDirectoryOfTheEffectiveUser) {
    EXPECT_EQ(MapPipeUri("pcm-pipe://abc"),
              "/tmp/corvadel-" + std::to_string(geteuid()) + "/Corvadel.PCM.abc");
}

}  // namespace
}  // namespace receiver
