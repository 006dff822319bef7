#include "recording/tagged_copy.h"

#include "platform/text.h"
#include "recording/muxer.h"
#include "recording/sink_io.h"

namespace receiver {
namespace {

InputContextPtr OpenRecording(const std::filesystem::path& path) {
    // Not a URL, whatever the name looks like.
    const std::string name = "file:" + ToUtf8(path);
    AVFormatContext* context = nullptr;
    Check(avformat_open_input(&context, name.c_str(), nullptr, nullptr),
          "Cannot read the recording");
    InputContextPtr input(context);
    Check(avformat_find_stream_info(input.get(), nullptr), "Cannot read the recording");
    if (input->nb_streams != 1) throw std::runtime_error("The recording is no single stream");
    return input;
}

// Returns how many seconds of audio there were.
double CopyPackets(AVFormatContext& input, AVFormatContext& muxer) {
    int64_t duration = 0;
    const PacketPtr packet(Check(av_packet_alloc(), "Out of memory"));
    for (;;) {
        const int result = av_read_frame(&input, packet.get());
        if (result == AVERROR_EOF) {
            return static_cast<double>(duration) * av_q2d(input.streams[0]->time_base);
        }
        Check(result, "Cannot read the recording");
        duration += packet->duration;
        av_packet_rescale_ts(packet.get(), input.streams[0]->time_base,
                             muxer.streams[0]->time_base);
        packet->pos = -1;
        const int written = av_write_frame(&muxer, packet.get());
        av_packet_unref(packet.get());
        Check(written, "Cannot write");
    }
}

}  // namespace

void CopyWithTags(const std::filesystem::path& from, const OutputFormat& format,
                  const RecordingTags& tags, double leastSeconds, RecordingSink& to) {
    SilenceFfmpegLog();
    const InputContextPtr input = OpenRecording(from);
    SinkIo io(to);
    try {
        const OutputContextPtr muxer = MakeMuxer(format, io.Context());
        const AVStream& source = *input->streams[0];
        AVStream& stream = *muxer->streams[0];
        Check(avcodec_parameters_copy(stream.codecpar, source.codecpar), "Bad parameters");
        stream.codecpar->codec_tag = 0;  // another container calls the same codec otherwise
        stream.time_base = source.time_base;
        Check(WriteMuxerHead(*muxer, tags, format.copyOptions), "Cannot write the file's head");
        if (CopyPackets(*input, *muxer) < leastSeconds) {
            throw std::runtime_error("The recording cannot be read to its end");
        }
        Check(av_write_trailer(muxer.get()), "Cannot write the file's end");
        if (!io.Flush()) throw std::runtime_error("Cannot write");
    } catch (const std::runtime_error&) {
        // The system's own text says more than FFmpeg's.
        if (!io.FailureText().empty()) throw std::runtime_error(io.FailureText());
        throw;
    }
}

}  // namespace receiver
