#include "audio/ffmpeg.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/log.h>
}

namespace receiver {

TEST(Ffmpeg, MessagesNeverReachTheStandardStreams) {
    SilenceFfmpegLog();
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    av_log_set_level(AV_LOG_TRACE);
    av_log(nullptr, AV_LOG_PANIC, "loud\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace receiver
