#include "audio/ffmpeg_streaming_decoder.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "audio/ffmpeg_decoder_state.h"
#include "audio/source_policy.h"
#include "platform/text.h"

namespace receiver {
namespace {

constexpr size_t kInitialPendingBytes = 32768;

}  // namespace

CFFmpegStreamingDecoder::CFFmpegStreamingDecoder() : ffmpeg_(std::make_unique<Ffmpeg>()) {
    SilenceFfmpegLog();
}

CFFmpegStreamingDecoder::~CFFmpegStreamingDecoder() {
    CFFmpegStreamingDecoder::Close();
}

int CFFmpegStreamingDecoder::ConfigureInput(AVFormatContext* context, AVDictionary** options) {
    return RestrictToOneFile(context, options);
}

BOOL CFFmpegStreamingDecoder::Open(const std::string& path) {
    if (open_ != 0) return 0;
    path_ = path;
    errorCode_ = 0;
    position_ = -1.0;
    if (!OpenInput(path) || !OpenCodec() || !OpenConverter()) return 0;
    ffmpeg_->frame.reset(av_frame_alloc());
    ffmpeg_->packet.reset(av_packet_alloc());
    if (!ffmpeg_->frame || !ffmpeg_->packet) return Fail(kDecoderErrorOutOfMemory);
    pending_.resize(kInitialPendingBytes);
    pendingStart_ = pendingEnd_ = 0;

    record_.wFormatTag = kFormatTagPcm;
    record_.nChannels = static_cast<uint16_t>(ffmpeg_->converter.OutputChannels());
    record_.nSamplesPerSec = outputSampleRate_;
    record_.wBitsPerSample = static_cast<uint16_t>(outputBits_);
    record_.nBlockAlign = static_cast<uint16_t>(ffmpeg_->converter.OutputBlockAlign());
    record_.nAvgBytesPerSec = record_.nBlockAlign * record_.nSamplesPerSec;
    format_ = &record_;
    bytesPerSecond_ = record_.nAvgBytesPerSec;
    if (!ComputeLength()) return 0;
    open_ = 1;
    return 1;
}

bool CFFmpegStreamingDecoder::OpenInput(const std::string& path) {
    AVFormatContext* context = avformat_alloc_context();
    if (!context) return Fail(kDecoderErrorOutOfMemory);
    ffmpeg_->input.reset(context);
    AVDictionary* made = nullptr;
    const int configured = ConfigureInput(context, &made);
    DictionaryPtr options(made);
    if (configured < 0) return Fail(kDecoderErrorOpen);
    const auto utf8 = AnsiToUtf8(path);
    if (!utf8) return Fail(kDecoderErrorOpen);

    // The call takes the context over, frees it when it fails, and replaces the dictionary.
    context = ffmpeg_->input.release();
    AVDictionary* remaining = options.release();
    const int opened = avformat_open_input(&context, utf8->c_str(), nullptr, &remaining);
    options.reset(remaining);
    if (opened < 0) return Fail(kDecoderErrorOpen);
    ffmpeg_->input.reset(context);
    if (avformat_find_stream_info(context, nullptr) < 0) return Fail(kDecoderErrorNoAudio);
    for (unsigned i = 0; i < context->nb_streams; ++i) {
        if (context->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) {
            streamIndex_ = static_cast<int32_t>(i);
            return true;
        }
    }
    return Fail(kDecoderErrorNoAudio);
}

bool CFFmpegStreamingDecoder::OpenCodec() {
    const AVCodecParameters& parameters = *ffmpeg_->input->streams[streamIndex_]->codecpar;
    const AVCodec* codec = avcodec_find_decoder(parameters.codec_id);
    if (!codec) return Fail(kDecoderErrorCodec);
    ffmpeg_->codec.reset(avcodec_alloc_context3(codec));
    if (!ffmpeg_->codec) return Fail(kDecoderErrorCodecContext);
    if (avcodec_parameters_to_context(ffmpeg_->codec.get(), &parameters) < 0) {
        return Fail(kDecoderErrorCodec);
    }
    if (avcodec_open2(ffmpeg_->codec.get(), codec, nullptr) < 0) {
        return Fail(kDecoderErrorCodecOpen);
    }
    return true;
}

bool CFFmpegStreamingDecoder::OpenConverter() {
    return ffmpeg_->converter.Open(*ffmpeg_->codec, outputSampleRate_, outputBits_) ||
           Fail(kDecoderErrorResampler);
}

void CFFmpegStreamingDecoder::DiscardOtherStreams() {
    AVFormatContext& input = *ffmpeg_->input;
    for (unsigned i = 0; i < input.nb_streams; ++i) {
        const bool chosen = static_cast<int32_t>(i) == streamIndex_;
        input.streams[i]->discard = chosen ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
}

bool CFFmpegStreamingDecoder::Fail(uint32_t code) {
    errorCode_ = code;
    CFFmpegStreamingDecoder::Close();
    return false;
}

BOOL CFFmpegStreamingDecoder::Close() {
    ffmpeg_->packet.reset();
    ffmpeg_->frame.reset();
    ffmpeg_->converter.Close();
    ffmpeg_->codec.reset();
    ffmpeg_->input.reset();
    pending_ = {};
    pendingStart_ = pendingEnd_ = 0;
    format_ = nullptr;
    open_ = 0;
    streamIndex_ = -1;
    return 1;
}

int CFFmpegStreamingDecoder::NextPacket() {
    AVPacket* packet = ffmpeg_->packet.get();
    for (;;) {
        const int result = av_read_frame(ffmpeg_->input.get(), packet);
        if (result < 0) return result;
        // The decoder would take an empty packet for the end of the stream.
        if (packet->stream_index == streamIndex_ && packet->size > 0) return 0;
        av_packet_unref(packet);
    }
}

// A packet may hold several frames, and a caller may have taken only some of them.
int CFFmpegStreamingDecoder::NextFrame() {
    while (avcodec_receive_frame(ffmpeg_->codec.get(), ffmpeg_->frame.get()) < 0) {
        const int result = NextPacket();
        if (result < 0) return result;
        // What the decoder refuses is left out: a damaged packet is not the end of a stream.
        avcodec_send_packet(ffmpeg_->codec.get(), ffmpeg_->packet.get());
        av_packet_unref(ffmpeg_->packet.get());
    }
    return 0;
}

int32_t CFFmpegStreamingDecoder::Read(void* buffer, uint32_t count) {
    if (open_ == 0 || !buffer || count == 0) return -1;
    count = std::min(count, static_cast<uint32_t>(std::numeric_limits<int32_t>::max()));
    auto* output = static_cast<uint8_t*>(buffer);
    uint32_t delivered = TakePending(output, count);
    while (delivered < count) {
        const int result = NextFrame();
        if (result < 0 && delivered == 0) return result == AVERROR_EOF ? 0 : -1;
        if (result < 0) break;
        const int64_t direct = ConvertFrame(0, output + delivered, count - delivered);
        av_frame_unref(ffmpeg_->frame.get());
        if (direct < 0 && delivered == 0) return -1;
        if (direct < 0) break;
        delivered += static_cast<uint32_t>(direct);
        delivered += TakePending(output + delivered, count - delivered);
    }
    return static_cast<int32_t>(delivered);
}

uint32_t CFFmpegStreamingDecoder::TakePending(uint8_t* buffer, uint32_t count) {
    const auto taken = static_cast<uint32_t>(std::min<size_t>(count, pendingEnd_ - pendingStart_));
    if (taken == 0) return 0;
    std::memcpy(buffer, pending_.data() + pendingStart_, taken);
    pendingStart_ += taken;
    return taken;
}

// Converts the current frame from sample `skip` on: into `buffer` if it is sure to fit
// there, else into the pending buffer, which is empty then. Returns the bytes in `buffer`,
// or -1 with the error code set.
int64_t CFFmpegStreamingDecoder::ConvertFrame(int skip, uint8_t* buffer, uint32_t room) {
    FrameConverter& converter = ffmpeg_->converter;
    const AVFrame& frame = *ffmpeg_->frame;
    const auto blockAlign = static_cast<int64_t>(converter.OutputBlockAlign());
    if (!converter.Accept(frame)) {
        errorCode_ = kDecoderErrorResampler;
        return -1;
    }
    const int64_t bound = converter.OutputBound(frame.nb_samples - skip);
    if (bound < 0 || bound > std::numeric_limits<int32_t>::max() / blockAlign) {
        errorCode_ = kDecoderErrorOutOfMemory;
        return -1;
    }
    const int64_t needed = bound * blockAlign;
    const bool direct = needed <= room;
    if (!direct && static_cast<size_t>(needed) > pending_.size()) {
        pending_.resize(static_cast<size_t>(needed));
    }
    const int converted =
        converter.Convert(frame, skip, direct ? buffer : pending_.data(), static_cast<int>(bound));
    if (converted < 0) {
        errorCode_ = kDecoderErrorResampler;
        return -1;
    }
    const int64_t bytes = converted * blockAlign;
    pendingStart_ = 0;
    pendingEnd_ = direct ? 0 : static_cast<size_t>(bytes);
    return direct ? bytes : 0;
}

void CFFmpegStreamingDecoder::FillSilence(void* buffer) {
    if (!buffer || !format_) return;
    std::memset(buffer, format_->wBitsPerSample == 8 ? 0x80 : 0, format_->nBlockAlign);
}

}  // namespace receiver
