#include "audio/frame_source.h"

#include "audio/container.h"

namespace receiver {

uint32_t FrameSource::Open(StreamWatch* watch) {
    watch_ = watch;
    if (watch_) watch_->LookAtMetadata(input_.Context(), input_.Stream());
    const uint32_t error = OpenCodec();
    if (error != kDecoderErrorNone) return error;
    frame_.reset(av_frame_alloc());
    packet_.reset(av_packet_alloc());
    return frame_ && packet_ ? kDecoderErrorNone : kDecoderErrorOutOfMemory;
}

uint32_t FrameSource::OpenCodec() {
    const AVCodecParameters& parameters = *input_.Stream().codecpar;
    const AVCodec* codec = avcodec_find_decoder(parameters.codec_id);
    if (!codec) return kDecoderErrorCodec;
    codec_.reset(avcodec_alloc_context3(codec));
    if (!codec_) return kDecoderErrorCodecContext;
    if (avcodec_parameters_to_context(codec_.get(), &parameters) < 0) return kDecoderErrorCodec;
    if (avcodec_open2(codec_.get(), codec, nullptr) < 0) return kDecoderErrorCodecOpen;
    return kDecoderErrorNone;
}

void FrameSource::Close() {
    packet_.reset();
    frame_.reset();
    codec_.reset();
    pace_ = PacketPace();
    outOfMemory_ = false;
}

// A packet may hold several frames, and a caller may have taken only some of them.
int FrameSource::Next() {
    while (!outOfMemory_) {
        int result = avcodec_receive_frame(codec_.get(), frame_.get());
        if (result >= 0) return 0;
        if (watch_) watch_->LookAtAnswer(result);
        if (result != AVERROR(ENOMEM)) result = SendPacket();
        // What was lost is not damaged but missing, and nothing after it would be in its place.
        if (result == AVERROR(ENOMEM)) outOfMemory_ = true;
        if (result < 0) return result;
    }
    return AVERROR(ENOMEM);
}

int FrameSource::SendPacket() {
    const int result = input_.NextPacket(packet_.get());
    if (result < 0) return result;
    pace_.Look(*packet_, input_.Stream().time_base);
    if (watch_) {
        watch_->LookAtMetadata(input_.Context(), input_.Stream());
        watch_->LookAtPacket(*packet_, input_.Context(), input_.Stream());
    }
    // The decoder would take an empty packet for the end of the stream.
    const int sent = packet_->size > 0 ? avcodec_send_packet(codec_.get(), packet_.get()) : 0;
    if (watch_) watch_->LookAtAnswer(sent);
    av_packet_unref(packet_.get());
    return sent == AVERROR(ENOMEM) ? sent : 0;
}

double FrameSource::SecondsAhead() const {
    const AVIOContext* const bytes = input_.Context().pb;
    if (bytes == nullptr || !IsBareStream(input_.Context())) return 0.0;
    return pace_.SecondsUpTo(bytes->pos);
}

void FrameSource::ReleaseFrame() {
    av_frame_unref(frame_.get());
}

void FrameSource::Restart() {
    outOfMemory_ = false;
    avcodec_flush_buffers(codec_.get());
}

}  // namespace receiver
