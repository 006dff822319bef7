#include "audio/media_length.h"

#include <limits>

namespace receiver {
namespace {

constexpr double kBytesPerBit = 0.125;
constexpr double kBitsPerByte = 8.0;
constexpr double kSecondsWithoutDuration = 10.0;
constexpr uint64_t kLengthWhenNothingIsKnown = 1048576;
constexpr double kDoubtfulRatio = 3.0;  // of the bit rate that the size asks for to the declared

uint32_t EstimateDuration(MediaInput& input, double* seconds) {
    const AVFormatContext& context = input.Context();
    *seconds = static_cast<double>(context.duration) / AV_TIME_BASE;
    const int64_t fileBytes = context.pb ? avio_size(context.pb) : 0;
    if (!IsDurationDoubtful(*seconds, fileBytes, DeclaredBitRate(context))) {
        return kDecoderErrorNone;
    }
    double measured = 0.0;
    const uint32_t error = MeasureDuration(input, &measured);
    if (error == kDecoderErrorNone && measured > 0.0) *seconds = measured;
    return error;
}

}  // namespace

uint64_t LengthOfDuration(uint32_t bytesPerSecond, double seconds) {
    const double bytes = static_cast<double>(bytesPerSecond) * seconds;
    if (!(bytes > 0.0)) return 0;
    if (bytes >= 0x1p63) return std::numeric_limits<int64_t>::max();
    return static_cast<uint64_t>(bytes);
}

uint64_t LengthWithoutDuration(int64_t bitsPerSecond) {
    if (bitsPerSecond <= 0) return kLengthWhenNothingIsKnown;
    const double bytesPerSecond = static_cast<double>(bitsPerSecond) * kBytesPerBit;
    const double bytes = bytesPerSecond * kSecondsWithoutDuration;
    if (bytes >= 0x1p63) return std::numeric_limits<int64_t>::max();
    return static_cast<uint64_t>(bytes);
}

bool IsDurationDoubtful(double seconds, int64_t fileBytes, double bitsPerSecond) {
    return seconds > 0.0 && fileBytes > 0 && bitsPerSecond >= 1.0 &&
           static_cast<double>(fileBytes) * kBitsPerByte / seconds > kDoubtfulRatio * bitsPerSecond;
}

double DeclaredBitRate(const AVFormatContext& context) {
    double sum = 0.0;
    for (unsigned i = 0; i < context.nb_streams; ++i) {
        const AVCodecParameters& parameters = *context.streams[i]->codecpar;
        if (parameters.codec_type != AVMEDIA_TYPE_AUDIO &&
            parameters.codec_type != AVMEDIA_TYPE_VIDEO) {
            continue;
        }
        if (parameters.bit_rate < 1) return 0.0;
        sum += static_cast<double>(parameters.bit_rate);
    }
    return sum;
}

uint32_t MeasureDuration(MediaInput& input, double* seconds) {
    const PacketPtr packet(av_packet_alloc());
    if (!packet) return kDecoderErrorOutOfMemory;
    if (!input.Seek(0, AVSEEK_FLAG_BACKWARD)) return kDecoderErrorSeek;
    double sum = 0.0;
    while (input.NextPacket(packet.get()) >= 0) {
        if (packet->duration > 0) sum += static_cast<double>(packet->duration);
        av_packet_unref(packet.get());
    }
    if (!input.Seek(0, AVSEEK_FLAG_BACKWARD)) return kDecoderErrorSeek;
    const AVRational timeBase = input.Stream().time_base;
    *seconds = timeBase.num * sum / timeBase.den;
    return kDecoderErrorNone;
}

uint32_t FindLength(MediaInput& input, uint32_t bytesPerSecond, bool exact, uint64_t* bytes) {
    if (!exact && input.Context().duration == AV_NOPTS_VALUE) {
        *bytes = LengthWithoutDuration(input.Stream().codecpar->bit_rate);
        return kDecoderErrorNone;
    }
    double seconds = 0.0;
    const uint32_t error =
        exact ? MeasureDuration(input, &seconds) : EstimateDuration(input, &seconds);
    if (error == kDecoderErrorNone) *bytes = LengthOfDuration(bytesPerSecond, seconds);
    return error;
}

}  // namespace receiver
