#include "audio/media_input.h"

#include <utility>

#include "platform/text.h"

namespace receiver {

uint32_t MediaInput::Open(const std::string& path, const Configure& configure) {
    AVFormatContext* context = avformat_alloc_context();
    if (!context) return kDecoderErrorOutOfMemory;
    InputContextPtr input(context);
    AVDictionary* made = nullptr;
    const int configured = configure(context, &made);
    DictionaryPtr options(made);
    if (configured < 0) return kDecoderErrorOpen;
    const auto utf8 = AnsiToUtf8(path);
    if (!utf8) return kDecoderErrorOpen;

    // The call takes the context over, frees it when it fails, and replaces the dictionary.
    context = input.release();
    AVDictionary* remaining = options.release();
    const int opened = avformat_open_input(&context, utf8->c_str(), nullptr, &remaining);
    options.reset(remaining);
    if (opened < 0) return kDecoderErrorOpen;
    input.reset(context);
    const uint32_t error = ChooseStream(context);
    if (error == kDecoderErrorNone) context_ = std::move(input);
    return error;
}

uint32_t MediaInput::ChooseStream(AVFormatContext* context) {
    if (avformat_find_stream_info(context, nullptr) < 0) return kDecoderErrorNoAudio;
    for (unsigned i = 0; i < context->nb_streams; ++i) {
        if (context->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) {
            streamIndex_ = static_cast<int>(i);
            return kDecoderErrorNone;
        }
    }
    return kDecoderErrorNoAudio;
}

void MediaInput::Close() {
    context_.reset();
    streamIndex_ = -1;
}

void MediaInput::DiscardOtherStreams() {
    for (unsigned i = 0; i < context_->nb_streams; ++i) {
        const bool chosen = static_cast<int>(i) == streamIndex_;
        context_->streams[i]->discard = chosen ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
}

int MediaInput::NextPacket(AVPacket* packet) {
    for (;;) {
        const int result = av_read_frame(context_.get(), packet);
        if (result < 0) return result;
        if (packet->stream_index == streamIndex_) return 0;
        av_packet_unref(packet);
    }
}

bool MediaInput::Seek(int64_t timestamp, int flags) {
    return av_seek_frame(context_.get(), streamIndex_, timestamp, flags) >= 0;
}

}  // namespace receiver
