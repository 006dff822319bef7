#include "audio/ffmpeg.h"

#include <mutex>

extern "C" {
#include <libavutil/log.h>
}

namespace receiver {

void SilenceFfmpegLog() {
    static std::once_flag once;
    // A callback rather than a level: codecs and protocols may raise the level themselves.
    std::call_once(once, [] { av_log_set_callback([](void*, int, const char*, va_list) {}); });
}

}  // namespace receiver
