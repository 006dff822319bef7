#include "audio_output/audio_encoder.h"

extern "C" {
#include <libavutil/audio_fifo.h>
}

#include <algorithm>
#include <stdexcept>

#include "audio_output/muxer.h"
#include "audio_output/sink_io.h"

namespace receiver {
namespace {

struct FifoDeleter {
    void operator()(AVAudioFifo* fifo) const { av_audio_fifo_free(fifo); }
};
using FifoPtr = std::unique_ptr<AVAudioFifo, FifoDeleter>;

// For encoders that take any number of samples at once.
constexpr int kFreeFrameSize = 4096;
constexpr size_t kConvertFrames = 8192;  // at most so many in one conversion

}  // namespace

class AudioEncoder::Encoder {
public:
    Encoder(const OutputFormat& format, uint32_t sampleRate, uint16_t channels,
            const RecordingTags& tags, RecordingSink& sink)
        : io_(sink),
          inputChannels_(channels),
          inputFormat_(format.TakesWidePcm() ? AV_SAMPLE_FMT_S32 : AV_SAMPLE_FMT_S16),
          inputFrameBytes_(static_cast<size_t>(av_get_bytes_per_sample(inputFormat_)) * channels) {
        SilenceFfmpegLog();
        muxer_ = MakeMuxer(format, io_.Context());
        OpenCodec(format, sampleRate);
        OpenResampler(sampleRate);
        WriteHead(format, tags);
    }

    bool Write(const void* pcm, size_t frames) {
        if (!failure_.empty()) return false;
        const auto* bytes = static_cast<const uint8_t*>(pcm);
        try {
            while (frames > 0) {
                const size_t piece = std::min(frames, kConvertFrames);
                Convert(bytes, static_cast<int>(piece));
                bytes += piece * inputFrameBytes_;
                frames -= piece;
            }
            EncodeFrames(false);
            return true;
        } catch (const std::exception& e) {
            failure_ = e.what();
            return false;
        }
    }

    bool Finish() {
        if (failure_.empty()) {
            try {
                Convert(nullptr, 0);
                EncodeFrames(true);
                Send(nullptr);
            } catch (const std::exception& e) {
                failure_ = e.what();
            }
        }
        // The head and the tail must agree with what is there, and no more.
        if (!failure_.empty() && !io_.RewindToGood()) return false;
        const int result = av_write_trailer(muxer_.get());
        const bool flushed = io_.Flush();
        if (failure_.empty() && (result < 0 || !flushed)) {
            failure_ = flushed ? FfmpegErrorText(result) : io_.FailureText();
        }
        return result >= 0 && flushed;
    }

    const std::string& FailureText() const { return failure_; }

private:
    void OpenCodec(const OutputFormat& format, uint32_t sampleRate) {
        const AVCodec* codec =
            Check(avcodec_find_encoder_by_name(format.encoder), "This FFmpeg has no such encoder");
        codec_.reset(Check(avcodec_alloc_context3(codec), "Out of memory"));
        codec_->sample_fmt = static_cast<AVSampleFormat>(format.sampleFormat);
        codec_->sample_rate =
            static_cast<int>(format.sampleRate != 0 ? format.sampleRate : sampleRate);
        if (format.quality) {
            codec_->flags |= AV_CODEC_FLAG_QSCALE;
            codec_->global_quality = *format.quality * FF_QP2LAMBDA;
        } else {
            codec_->bit_rate = format.bitRate;
        }
        codec_->time_base = {1, codec_->sample_rate};
        av_channel_layout_default(&codec_->ch_layout, inputChannels_);
        if ((muxer_->oformat->flags & AVFMT_GLOBALHEADER) != 0) {
            codec_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        }
        Check(avcodec_open2(codec_.get(), codec, nullptr), "Cannot open the encoder");
        frameSize_ = codec_->frame_size > 0 ? codec_->frame_size : kFreeFrameSize;
    }

    void OpenResampler(uint32_t sampleRate) {
        SwrContext* resampler = nullptr;
        Check(swr_alloc_set_opts2(&resampler, &codec_->ch_layout, codec_->sample_fmt,
                                  codec_->sample_rate, &codec_->ch_layout, inputFormat_,
                                  static_cast<int>(sampleRate), 0, nullptr),
              "Cannot create the resampler");
        resampler_.reset(resampler);
        Check(swr_init(resampler), "Cannot open the resampler");
        fifo_.reset(Check(av_audio_fifo_alloc(codec_->sample_fmt, inputChannels_, frameSize_),
                          "Out of memory"));
        frame_.reset(Check(av_frame_alloc(), "Out of memory"));
        packet_.reset(Check(av_packet_alloc(), "Out of memory"));
    }

    void WriteHead(const OutputFormat& format, const RecordingTags& tags) {
        AVStream& stream = *muxer_->streams[0];
        stream.time_base = codec_->time_base;
        Check(avcodec_parameters_from_context(stream.codecpar, codec_.get()),
              "Cannot set the stream's parameters");
        const int result = WriteMuxerHead(*muxer_, tags, format.muxerOptions);
        if (!io_.Flush()) throw std::runtime_error(io_.FailureText());
        Check(result, "Cannot write the file's header");
    }

    // Without input, gives out what the resampler holds back.
    void Convert(const uint8_t* pcm, int frames) {
        const int bound = swr_get_out_samples(resampler_.get(), frames);
        if (Check(bound, "Cannot resample") == 0) return;
        PrepareFrame(bound);
        const int converted = Check(swr_convert(resampler_.get(), frame_->extended_data, bound,
                                                pcm != nullptr ? &pcm : nullptr, frames),
                                    "Cannot resample");
        Check(av_audio_fifo_write(fifo_.get(), reinterpret_cast<void**>(frame_->extended_data),
                                  converted),
              "Out of memory");
    }

    void EncodeFrames(bool rest) {
        for (;;) {
            const int available = av_audio_fifo_size(fifo_.get());
            if (available == 0 || (!rest && available < frameSize_)) return;
            const int size = std::min(available, frameSize_);
            PrepareFrame(size);
            Check(av_audio_fifo_read(fifo_.get(), reinterpret_cast<void**>(frame_->extended_data),
                                     size),
                  "Cannot read the samples");
            frame_->pts = encodedFrames_;
            encodedFrames_ += size;
            Send(frame_.get());
        }
    }

    void PrepareFrame(int samples) {
        av_frame_unref(frame_.get());
        frame_->format = codec_->sample_fmt;
        frame_->sample_rate = codec_->sample_rate;
        frame_->nb_samples = samples;
        Check(av_channel_layout_copy(&frame_->ch_layout, &codec_->ch_layout), "Out of memory");
        Check(av_frame_get_buffer(frame_.get(), 0), "Out of memory");
    }

    // Every packet goes to the sink at once: what was encoded is not lost with the process.
    void Send(const AVFrame* frame) {
        Check(avcodec_send_frame(codec_.get(), frame), "Cannot encode");
        for (;;) {
            const int result = avcodec_receive_packet(codec_.get(), packet_.get());
            if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
            Check(result, "Cannot encode");
            packet_->stream_index = 0;
            av_packet_rescale_ts(packet_.get(), codec_->time_base, muxer_->streams[0]->time_base);
            const int written = av_write_frame(muxer_.get(), packet_.get());
            av_packet_unref(packet_.get());
            if (!io_.Flush()) throw std::runtime_error(io_.FailureText());
            Check(written, "Cannot write");
        }
    }

    SinkIo io_;
    const int inputChannels_;
    const AVSampleFormat inputFormat_;
    const size_t inputFrameBytes_;
    OutputContextPtr muxer_;
    CodecContextPtr codec_;
    ResamplerPtr resampler_;
    FifoPtr fifo_;
    FramePtr frame_;
    PacketPtr packet_;
    int frameSize_ = 0;
    int64_t encodedFrames_ = 0;
    std::string failure_;
};

AudioEncoder::AudioEncoder(const OutputFormat& format, uint32_t sampleRate, uint16_t channels,
                           const RecordingTags& tags, RecordingSink& sink)
    : encoder_(std::make_unique<Encoder>(format, sampleRate, channels, tags, sink)) {}

AudioEncoder::~AudioEncoder() = default;

bool AudioEncoder::Write(const void* pcm, size_t frames) {
    return encoder_->Write(pcm, frames);
}

bool AudioEncoder::Finish() {
    return encoder_->Finish();
}

std::string AudioEncoder::FailureText() const {
    return encoder_->FailureText();
}

}  // namespace receiver
