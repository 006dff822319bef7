// Positions and lengths of CFFmpegStreamingDecoder: seeking to the sample, and how long
// the input is.
#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>

#include "audio/ffmpeg_decoder_state.h"

namespace receiver {
namespace {

constexpr uint64_t kLengthWhenNothingIsKnown = 1048576;
// A size this many times larger than what the bit rates explain means a wrong duration.
constexpr double kDistrustedSizeRatio = 3.0;

bool EndsWithWav(std::string_view path) {
    constexpr std::string_view kSuffix = ".wav";
    if (path.size() < kSuffix.size()) return false;
    path.remove_prefix(path.size() - kSuffix.size());
    return std::equal(path.begin(), path.end(), kSuffix.begin(), [](char a, char b) {
        return (a >= 'A' && a <= 'Z' ? static_cast<char>(a - 'A' + 'a') : a) == b;
    });
}

// Sums the declared bit rates of the audio and video streams; 0 when one declares none.
double DeclaredBitRate(const AVFormatContext& input) {
    double sum = 0.0;
    for (unsigned i = 0; i < input.nb_streams; ++i) {
        const AVCodecParameters& parameters = *input.streams[i]->codecpar;
        if (parameters.codec_type != AVMEDIA_TYPE_AUDIO &&
            parameters.codec_type != AVMEDIA_TYPE_VIDEO) {
            continue;
        }
        if (parameters.bit_rate < 1) return 0.0;
        sum += static_cast<double>(parameters.bit_rate);
    }
    return sum;
}

bool IsDistrusted(const AVFormatContext& input, double seconds) {
    if (seconds <= 0.0 || !input.pb) return false;
    const int64_t size = avio_size(input.pb);
    const double bitRate = DeclaredBitRate(input);
    return size > 0 && bitRate >= 1.0 &&
           static_cast<double>(size) * 8.0 / seconds > kDistrustedSizeRatio * bitRate;
}

// Truncates; what no length can be becomes the nearest that can.
uint64_t ToLength(double bytes) {
    if (!(bytes > 0.0)) return 0;
    if (bytes >= 0x1p63) return std::numeric_limits<int64_t>::max();
    return static_cast<uint64_t>(bytes);
}

}  // namespace

bool CFFmpegStreamingDecoder::ComputeLength() {
    uint64_t length = 0;
    if (ComputesLength()) {
        const AVFormatContext& input = *ffmpeg_->input;
        const int64_t bitRate = input.streams[streamIndex_]->codecpar->bit_rate;
        if (exactLength_ || input.duration != AV_NOPTS_VALUE) {
            double seconds = 0.0;
            if (!(exactLength_ ? MeasureDuration(&seconds) : EstimateDuration(&seconds))) {
                Close();
                return false;
            }
            length = ToLength(static_cast<double>(bytesPerSecond_) * seconds);
        } else if (bitRate > 0) {
            length = ToLength(static_cast<double>(bitRate) * 0.125 * 10.0);
        } else {
            length = kLengthWhenNothingIsKnown;
        }
    }
    lengthAtOpen_ = length_ = length;
    return true;
}

bool CFFmpegStreamingDecoder::EstimateDuration(double* seconds) {
    const AVFormatContext& input = *ffmpeg_->input;
    *seconds = static_cast<double>(input.duration) / AV_TIME_BASE;
    if (!IsDistrusted(input, *seconds)) return true;
    double measured = 0.0;
    if (!MeasureDuration(&measured)) return false;
    if (measured > 0.0) *seconds = measured;
    return true;
}

bool CFFmpegStreamingDecoder::MeasureDuration(double* seconds) {
    AVFormatContext* input = ffmpeg_->input.get();
    const PacketPtr packet(av_packet_alloc());
    if (!packet) {
        errorCode_ = kDecoderErrorOutOfMemory;
        return false;
    }
    if (av_seek_frame(input, streamIndex_, 0, AVSEEK_FLAG_BACKWARD) < 0) {
        errorCode_ = kDecoderErrorSeek;
        return false;
    }
    double sum = 0.0;
    while (av_read_frame(input, packet.get()) >= 0) {
        if (packet->stream_index == streamIndex_ && packet->duration > 0) {
            sum += static_cast<double>(packet->duration);
        }
        av_packet_unref(packet.get());
    }
    if (av_seek_frame(input, streamIndex_, 0, AVSEEK_FLAG_BACKWARD) < 0) {
        errorCode_ = kDecoderErrorSeek;
        return false;
    }
    const AVRational timeBase = input->streams[streamIndex_]->time_base;
    *seconds = timeBase.num * sum / timeBase.den;
    return true;
}

bool CFFmpegStreamingDecoder::SeeksDirectly() const {
    switch (ffmpeg_->codec->codec_id) {
        case AV_CODEC_ID_PCM_S16LE:
        case AV_CODEC_ID_PCM_S16BE:
        case AV_CODEC_ID_PCM_U8:
        case AV_CODEC_ID_PCM_S32LE:
        case AV_CODEC_ID_PCM_S24LE:
            return true;
        default:
            return EndsWithWav(path_);
    }
}

BOOL CFFmpegStreamingDecoder::Seek(float seconds) {
    if (open_ == 0) return 0;
    if (!std::isfinite(seconds)) {
        errorCode_ = kDecoderErrorSeek;
        return 0;
    }
    const double target = seconds;
    position_ = target;
    const double timeBase = av_q2d(ffmpeg_->input->streams[streamIndex_]->time_base);
    if (SeeksDirectly()) return SeekInput(target, timeBase);
    const double early = std::max(target - seekPreRollMs_ / 1000.0, 0.0);
    if (!SeekInput(early, timeBase)) return 0;
    DecodeForwardTo(target, early, timeBase);
    return 1;
}

bool CFFmpegStreamingDecoder::SeekInput(double seconds, double timeBase) {
    const double timestamp = std::trunc(seconds / timeBase);
    if (!(std::abs(timestamp) < 0x1p62) ||
        av_seek_frame(ffmpeg_->input.get(), streamIndex_, static_cast<int64_t>(timestamp),
                      AVSEEK_FLAG_BACKWARD | AVSEEK_FLAG_ANY) < 0) {
        errorCode_ = kDecoderErrorSeek;
        return false;
    }
    avcodec_flush_buffers(ffmpeg_->codec.get());
    pendingStart_ = pendingEnd_ = 0;
    if (!ffmpeg_->converter.Restart()) {
        errorCode_ = kDecoderErrorSeek;
        return false;
    }
    return true;
}

// Decodes up to the frame that holds the target and leaves its PCM from there on pending.
void CFFmpegStreamingDecoder::DecodeForwardTo(double target, double start, double timeBase) {
    const double rate = outputSampleRate_;
    const AVFrame& frame = *ffmpeg_->frame;
    double passed = -1.0;  // samples at the output rate up to the frame; negative before the first
    bool arrived = false;
    while (NextFrame() >= 0) {
        const bool first = passed < 0.0;
        const bool stamped = frame.pts != AV_NOPTS_VALUE;
        const double unstamped = first ? start : passed / rate;
        const double frameStart = stamped ? static_cast<double>(frame.pts) * timeBase : unstamped;
        if (first) passed = std::max(std::trunc(rate * frameStart), 0.0);
        double skip = 0.0;
        if (!arrived) {
            if (target > frameStart + frame.nb_samples / rate) {
                passed += frame.nb_samples;
                av_frame_unref(ffmpeg_->frame.get());
                continue;
            }
            if (target > frameStart) skip = std::max(std::round((target - frameStart) * rate), 0.0);
            position_ = frameStart + skip / rate;
            arrived = true;
        }
        const bool beyond = frame.nb_samples - skip < 1.0;
        if (!beyond) ConvertFrame(static_cast<int>(skip), nullptr, 0);
        av_frame_unref(ffmpeg_->frame.get());
        if (!beyond) return;
    }
}

uint32_t CFFmpegStreamingDecoder::GetPositionMs() {
    const double ms = position_ * 1000.0 + 0.5;
    if (position_ < 0.0 || ms >= static_cast<double>(kPositionUnknown)) return kPositionUnknown;
    return static_cast<uint32_t>(ms);
}

}  // namespace receiver
