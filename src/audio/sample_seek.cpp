#include "audio/sample_seek.h"

#include <algorithm>
#include <cmath>

#include "platform/text.h"

namespace receiver {
namespace {

constexpr std::string_view kWavSuffix = ".wav";
// Beyond it a time stamp would not fit its 64 bits, with room for FFmpeg's own arithmetic.
constexpr double kTimestampBound = 0x1p62;

}  // namespace

bool SeeksDirectly(AVCodecID codec, std::string_view path) {
    switch (codec) {
        case AV_CODEC_ID_PCM_S16LE:
        case AV_CODEC_ID_PCM_S16BE:
        case AV_CODEC_ID_PCM_U8:
        case AV_CODEC_ID_PCM_S32LE:
        case AV_CODEC_ID_PCM_S24LE:
            return true;
        default:
            return path.size() >= kWavSuffix.size() &&
                   ToLowerAscii(path.substr(path.size() - kWavSuffix.size())) == kWavSuffix;
    }
}

SeekOutcome SampleSeek::To(const SeekRequest& request) {
    const double timeBase = av_q2d(input_.Stream().time_base);
    const double start =
        request.direct ? request.seconds : std::max(request.seconds - request.preRollSeconds, 0.0);
    if (!MoveInput(start, timeBase)) return {false, kDecoderErrorSeek, request.seconds};
    if (request.direct) return {true, kDecoderErrorNone, request.seconds};
    return DecodeForward(request, start, timeBase);
}

bool SampleSeek::MoveInput(double seconds, double timeBase) {
    const double timestamp = std::trunc(seconds / timeBase);
    if (!(std::abs(timestamp) < kTimestampBound) ||
        !input_.Seek(static_cast<int64_t>(timestamp), AVSEEK_FLAG_BACKWARD | AVSEEK_FLAG_ANY)) {
        return false;
    }
    frames_.Restart();
    return pcm_.Restart();
}

// Decodes up to the frame that holds the target and keeps its PCM from there on.
SeekOutcome SampleSeek::DecodeForward(const SeekRequest& request, double start, double timeBase) {
    const double target = request.seconds;
    const double rate = request.outputRate;
    const AVFrame& frame = frames_.Frame();
    SeekOutcome outcome{true, kDecoderErrorNone, target};
    double passed = -1.0;  // samples at the output rate up to the frame; negative before the first
    bool arrived = false;
    while (frames_.Next() >= 0) {
        const bool first = passed < 0.0;
        const bool stamped = frame.pts != AV_NOPTS_VALUE;
        const double unstamped = first ? start : passed / rate;
        const double frameStart = stamped ? static_cast<double>(frame.pts) * timeBase : unstamped;
        if (first) passed = std::max(std::trunc(rate * frameStart), 0.0);
        double skip = 0.0;
        if (!arrived) {
            if (target > frameStart + frame.nb_samples / rate) {
                passed += frame.nb_samples;
                frames_.ReleaseFrame();
                continue;
            }
            if (target > frameStart) skip = std::max(std::round((target - frameStart) * rate), 0.0);
            outcome.position = frameStart + skip / rate;
            arrived = true;
        }
        const bool beyond = frame.nb_samples - skip < 1.0;
        uint32_t none = 0;
        if (!beyond) {
            outcome.error = pcm_.Convert(frame, static_cast<int>(skip), nullptr, 0, &none);
        }
        frames_.ReleaseFrame();
        if (!beyond) break;
    }
    return outcome;
}

}  // namespace receiver
