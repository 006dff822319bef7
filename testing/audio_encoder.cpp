#include "testing/audio_encoder.h"

#include <algorithm>
#include <stdexcept>

#include "audio/ffmpeg.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

struct Recipe {
    const char* name;
    const char* mimeType;
    const char* encoder;
    const char* container;
    AVSampleFormat sampleFormat;
};

const Recipe& RecipeOf(AudioCoding coding) {
    static constexpr Recipe kRecipes[] = {
        {"Mp3", "audio/mpeg", "libmp3lame", "mp3", AV_SAMPLE_FMT_S16P},
        {"AacAdts", "audio/aac", "aac", "adts", AV_SAMPLE_FMT_FLTP},
        {"OggVorbis", "application/ogg", "libvorbis", "ogg", AV_SAMPLE_FMT_FLTP},
        {"OggOpus", "application/ogg", "libopus", "ogg", AV_SAMPLE_FMT_S16},
        {"OggFlac", "application/ogg", "flac", "ogg", AV_SAMPLE_FMT_S16},
        {"Flac", "audio/flac", "flac", "flac", AV_SAMPLE_FMT_S16},
        {"Wav", "audio/wav", nullptr, nullptr, AV_SAMPLE_FMT_NONE},
        {"AacTs", "video/mp2t", "aac", "mpegts", AV_SAMPLE_FMT_FLTP},
    };
    return kRecipes[static_cast<size_t>(coding)];
}

struct OutputDeleter {
    void operator()(AVFormatContext* context) const {
        if (context->pb) {
            uint8_t* bytes = nullptr;
            avio_close_dyn_buf(context->pb, &bytes);
            av_free(bytes);
        }
        avformat_free_context(context);
    }
};
using OutputContextPtr = std::unique_ptr<AVFormatContext, OutputDeleter>;

int Check(int result, const char* call) {
    if (result < 0) throw std::runtime_error(std::string("test encoder: ") + call + " failed");
    return result;
}

template <typename T>
T* Check(T* result, const char* call) {
    Check(result ? 0 : -1, call);
    return result;
}

class Encoder final {
public:
    Encoder(const TestPcm& pcm, const Recipe& recipe, int bitRate, const std::string& title)
        : pcm_(pcm) {
        const AVCodec* codec = Check(avcodec_find_encoder_by_name(recipe.encoder), recipe.encoder);
        AVFormatContext* output = nullptr;
        Check(avformat_alloc_output_context2(&output, nullptr, recipe.container, nullptr),
              "avformat_alloc_output_context2");
        output_.reset(output);
        output_->flags |= AVFMT_FLAG_BITEXACT;
        if (!title.empty()) {
            Check(av_dict_set(&output_->metadata, "title", title.c_str(), 0), "av_dict_set");
        }
        OpenCodec(*codec, recipe, bitRate);
        OpenStream();
    }

    std::string Encode() {
        ConvertAll();
        const int wholeFrame = codec_->frame_size > 0 ? codec_->frame_size : 1024;
        for (int done = 0; done < converted_->nb_samples; done += wholeFrame) {
            EncodePiece(done, std::min(wholeFrame, converted_->nb_samples - done));
        }
        Check(avcodec_send_frame(codec_.get(), nullptr), "avcodec_send_frame");
        WritePackets();
        Check(av_write_trailer(output_.get()), "av_write_trailer");
        return TakeBytes();
    }

private:
    void OpenCodec(const AVCodec& codec, const Recipe& recipe, int bitRate) {
        codec_.reset(Check(avcodec_alloc_context3(&codec), "avcodec_alloc_context3"));
        codec_->sample_fmt = recipe.sampleFormat;
        codec_->sample_rate = codec.id == AV_CODEC_ID_OPUS ? 48000 : pcm_.rate;
        codec_->bit_rate = bitRate;
        codec_->time_base = {1, codec_->sample_rate};
        codec_->flags |= AV_CODEC_FLAG_BITEXACT;
        av_channel_layout_default(&codec_->ch_layout, pcm_.channels);
        if (output_->oformat->flags & AVFMT_GLOBALHEADER) {
            codec_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        }
        Check(avcodec_open2(codec_.get(), &codec, nullptr), "avcodec_open2");
    }

    void OpenStream() {
        stream_ = Check(avformat_new_stream(output_.get(), nullptr), "avformat_new_stream");
        stream_->time_base = codec_->time_base;
        Check(avcodec_parameters_from_context(stream_->codecpar, codec_.get()),
              "avcodec_parameters_from_context");
        Check(avio_open_dyn_buf(&output_->pb), "avio_open_dyn_buf");
        Check(avformat_write_header(output_.get(), nullptr), "avformat_write_header");
    }

    FramePtr NewFrame(int samples) const {
        FramePtr frame(Check(av_frame_alloc(), "av_frame_alloc"));
        frame->format = codec_->sample_fmt;
        frame->sample_rate = codec_->sample_rate;
        frame->nb_samples = samples;
        Check(av_channel_layout_copy(&frame->ch_layout, &codec_->ch_layout),
              "av_channel_layout_copy");
        Check(av_frame_get_buffer(frame.get(), 0), "av_frame_get_buffer");
        return frame;
    }

    void ConvertAll() {
        SwrContext* made = nullptr;
        Check(
            swr_alloc_set_opts2(&made, &codec_->ch_layout, codec_->sample_fmt, codec_->sample_rate,
                                &codec_->ch_layout, AV_SAMPLE_FMT_S16, pcm_.rate, 0, nullptr),
            "swr_alloc_set_opts2");
        const ResamplerPtr resampler(made);
        Check(swr_init(resampler.get()), "swr_init");
        const int frames = static_cast<int>(pcm_.Frames());
        const int capacity =
            Check(swr_get_out_samples(resampler.get(), frames), "swr_get_out_samples");
        converted_ = NewFrame(std::max(capacity, 1));
        const auto* input = reinterpret_cast<const uint8_t*>(pcm_.samples.data());
        converted_->nb_samples =
            Check(swr_convert(resampler.get(), converted_->extended_data, capacity, &input, frames),
                  "swr_convert");
    }

    void EncodePiece(int first, int samples) {
        const FramePtr frame = NewFrame(samples);
        Check(av_samples_copy(frame->extended_data, converted_->extended_data, 0, first, samples,
                              codec_->ch_layout.nb_channels, codec_->sample_fmt),
              "av_samples_copy");
        frame->pts = first;
        Check(avcodec_send_frame(codec_.get(), frame.get()), "avcodec_send_frame");
        WritePackets();
    }

    void WritePackets() {
        const PacketPtr packet(Check(av_packet_alloc(), "av_packet_alloc"));
        while (avcodec_receive_packet(codec_.get(), packet.get()) >= 0) {
            packet->stream_index = stream_->index;
            av_packet_rescale_ts(packet.get(), codec_->time_base, stream_->time_base);
            Check(av_interleaved_write_frame(output_.get(), packet.get()),
                  "av_interleaved_write_frame");
        }
    }

    std::string TakeBytes() {
        uint8_t* bytes = nullptr;
        const int size = avio_close_dyn_buf(output_->pb, &bytes);
        output_->pb = nullptr;
        std::string result(reinterpret_cast<const char*>(bytes), static_cast<size_t>(size));
        av_free(bytes);
        return result;
    }

    const TestPcm& pcm_;
    OutputContextPtr output_;
    CodecContextPtr codec_;
    AVStream* stream_ = nullptr;  // owned by output_
    FramePtr converted_;
};

}  // namespace

const char* NameOf(AudioCoding coding) {
    return RecipeOf(coding).name;
}

const char* MimeTypeOf(AudioCoding coding) {
    return RecipeOf(coding).mimeType;
}

bool IsLossless(AudioCoding coding) {
    return coding == AudioCoding::kFlac || coding == AudioCoding::kOggFlac ||
           coding == AudioCoding::kWav;
}

bool CanEncode(AudioCoding coding) {
    return coding == AudioCoding::kWav ||
           (avcodec_find_encoder_by_name(RecipeOf(coding).encoder) &&
            av_guess_format(RecipeOf(coding).container, nullptr, nullptr));
}

std::string EncodeAudio(const TestPcm& pcm, AudioCoding coding, int bitRate,
                        const std::string& title) {
    if (coding == AudioCoding::kWav) return WavBytes(pcm);
    SilenceFfmpegLog();
    const int rate = bitRate != 0 ? bitRate : 64000 * pcm.channels;
    return Encoder(pcm, RecipeOf(coding), rate, title).Encode();
}

}  // namespace receiver
