#include "audio/media_properties.h"

#include <algorithm>

#include "audio/ffmpeg.h"
#include "audio/media_input.h"
#include "audio/source_policy.h"

namespace receiver {
namespace {

int BitsOf(const AVCodecParameters& parameters) {
    if (parameters.bits_per_raw_sample > 0) return parameters.bits_per_raw_sample;
    // Of a coding without loss, or of none; a lossy one may tell anything here.
    const AVCodecDescriptor* codec = avcodec_descriptor_get(parameters.codec_id);
    const bool isLossless = codec != nullptr && (codec->props & AV_CODEC_PROP_LOSSLESS) != 0 &&
                            (codec->props & AV_CODEC_PROP_LOSSY) == 0;
    return isLossless ? std::max(16, parameters.bits_per_coded_sample) : 16;
}

}  // namespace

std::optional<MediaProperties> PropertiesOf(const std::string& path) {
    SilenceFfmpegLog();
    MediaInput input;
    if (input.Open(path, RestrictToOneFile) != kDecoderErrorNone) return {};
    const AVCodecParameters& parameters = *input.Stream().codecpar;
    if (parameters.sample_rate <= 0) return {};
    return MediaProperties{static_cast<uint32_t>(parameters.sample_rate), BitsOf(parameters)};
}

}  // namespace receiver
