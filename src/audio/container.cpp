#include "audio/container.h"

#include <string_view>

namespace receiver {

bool IsBareStream(const AVFormatContext& context) {
    const std::string_view name = context.iformat->name;
    return name == "mp3" || name == "aac";
}

bool IsOgg(const AVFormatContext& context) {
    return std::string_view(context.iformat->name) == "ogg";
}

bool HasSendersTime(const AVFormatContext& context) {
    const std::string_view name = context.iformat->name;
    return IsOgg(context) || name == "mpegts" || name == "hls" || name == "matroska,webm";
}

}  // namespace receiver
