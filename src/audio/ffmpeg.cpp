#include "audio/ffmpeg.h"

#include <mutex>

#include "audio/ffmpeg_log_listener.h"

extern "C" {
#include <libavutil/log.h>
}

namespace receiver {

void SilenceFfmpegLog() {
    static std::once_flag once;
    // A callback rather than a level: codecs and protocols may raise the level themselves.
    std::call_once(once, [] { av_log_set_callback(&FfmpegLogListener::Take); });
}

}  // namespace receiver
