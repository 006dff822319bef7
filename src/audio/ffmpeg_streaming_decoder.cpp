#include "audio/ffmpeg_streaming_decoder.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <string_view>

#include "audio/container.h"
#include "audio/decoded_pcm.h"
#include "audio/ffmpeg.h"
#include "audio/frame_source.h"
#include "audio/media_input.h"
#include "audio/media_length.h"
#include "audio/sample_seek.h"
#include "audio/source_policy.h"
#include "audio/stream_watch.h"

namespace receiver {
struct CFFmpegStreamingDecoder::Stages {
    MediaInput input;
    FrameSource frames{input};
    DecodedPcm pcm;
    SampleSeek seek{input, frames, pcm};
    std::optional<StreamWatch> watch;  // for who wants to be told
};

CFFmpegStreamingDecoder::CFFmpegStreamingDecoder() : stages_(std::make_unique<Stages>()) {
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
    errorCode_ = kDecoderErrorNone;
    inputResult_ = 0;
    position_ = -1.0;
    if (!OpenStages()) return 0;
    FillRecord();
    if (!SetLength()) return 0;
    open_ = 1;
    return 1;
}

bool CFFmpegStreamingDecoder::OpenStages() {
    uint32_t error =
        stages_->input.Open(path_, [this](AVFormatContext* context, AVDictionary** options) {
            return ConfigureInput(context, options);
        });
    stages_->watch.reset();
    bytesDelivered_ = 0;
    timeOfStart_.reset();
    if (error == kDecoderErrorNone) error = stages_->frames.Open(MakeWatch());
    if (error != kDecoderErrorNone) return Fail(error);
    const AVCodecContext& codec = stages_->frames.Codec();
    record_.nSamplesPerSec =
        outputSampleRate_ != 0 ? outputSampleRate_ : static_cast<uint32_t>(codec.sample_rate);
    return stages_->pcm.Open(codec, record_.nSamplesPerSec, outputBits_, outputChannels_) ||
           Fail(kDecoderErrorResampler);
}

// Null when nobody wants to be told.
StreamWatch* CFFmpegStreamingDecoder::MakeWatch() {
    if (!notes_.onDamage && !notes_.onTitle && !notes_.onStation) return nullptr;
    const int sourceRate = stages_->input.Stream().codecpar->sample_rate;
    const auto rate = static_cast<uint32_t>(std::max(sourceRate, 0));
    return &stages_->watch.emplace(notes_, outputSampleRate_ != 0 ? outputSampleRate_ : rate);
}

void CFFmpegStreamingDecoder::FillRecord() {
    record_.wFormatTag = kFormatTagPcm;
    record_.nChannels = static_cast<uint16_t>(stages_->pcm.Channels());
    record_.wBitsPerSample = static_cast<uint16_t>(outputBits_);
    record_.nBlockAlign = static_cast<uint16_t>(stages_->pcm.BlockAlign());
    record_.nAvgBytesPerSec = record_.nBlockAlign * record_.nSamplesPerSec;
    format_ = &record_;
    bytesPerSecond_ = record_.nAvgBytesPerSec;
}

bool CFFmpegStreamingDecoder::SetLength() {
    uint64_t length = 0;
    if (ComputesLength()) {
        const uint32_t error = FindLength(stages_->input, bytesPerSecond_, exactLength_, &length);
        if (error != kDecoderErrorNone) return Fail(error);
    }
    lengthAtOpen_ = length_ = length;
    return true;
}

void CFFmpegStreamingDecoder::DiscardOtherStreams() {
    stages_->input.DiscardOtherStreams();
}

bool CFFmpegStreamingDecoder::HasToldLength() const {
    if (!IsOpen()) return false;
    const AVFormatContext& context = stages_->input.Context();
    // What a playlist's own text measures is not the length of what it lists.
    if (std::string_view(context.iformat->name) == "hls") return context.duration > 0;
    return context.pb != nullptr && avio_size(context.pb) > 0;
}

bool CFFmpegStreamingDecoder::Fail(uint32_t code) {
    errorCode_ = code;
    CFFmpegStreamingDecoder::Close();
    return false;
}

BOOL CFFmpegStreamingDecoder::Close() {
    stages_->pcm.Close();
    stages_->frames.Close();
    stages_->input.Close();
    format_ = nullptr;
    open_ = 0;
    return 1;
}

int32_t CFFmpegStreamingDecoder::Read(void* buffer, uint32_t count) {
    if (open_ == 0 || !buffer || count == 0) return -1;
    // Something is missing since: what comes now would be in its place.
    if (errorCode_ == kDecoderErrorOutOfMemory) return -1;
    count = std::min(count, static_cast<uint32_t>(std::numeric_limits<int32_t>::max()));
    auto* output = static_cast<uint8_t*>(buffer);
    uint32_t delivered = stages_->pcm.TakeKept(output, count);
    while (delivered < count) {
        const uint64_t position = (bytesDelivered_ + delivered) / record_.nBlockAlign;
        if (stages_->watch) stages_->watch->SetPosition(position);
        const int result = stages_->frames.Next();
        if (result < 0) inputResult_ = result;
        if (result < 0 && delivered == 0) return result == AVERROR_EOF ? 0 : -1;
        if (result < 0) break;
        NoteTime(position);
        uint32_t bytes = 0;
        const bool converted = ConvertFrame(output + delivered, count - delivered, &bytes);
        if (!converted && delivered == 0) return -1;
        if (!converted) break;
        delivered += bytes;
    }
    bytesDelivered_ += delivered;
    return static_cast<int32_t>(delivered);
}

void CFFmpegStreamingDecoder::NoteTime(uint64_t position) {
    const int64_t time = stages_->frames.Frame().pts;
    if (time == AV_NOPTS_VALUE || !HasSendersTime(stages_->input.Context())) return;
    timeOfStart_ = static_cast<double>(time) * av_q2d(stages_->input.Stream().time_base) -
                   static_cast<double>(position) / record_.nSamplesPerSec;
}

double CFFmpegStreamingDecoder::SecondsAhead() const {
    return IsOpen() ? stages_->frames.SecondsAhead() : 0.0;
}

// Of the current frame, as much as there is room for.
bool CFFmpegStreamingDecoder::ConvertFrame(uint8_t* buffer, uint32_t room, uint32_t* bytes) {
    const uint32_t error = stages_->pcm.Convert(stages_->frames.Frame(), 0, buffer, room, bytes);
    stages_->frames.ReleaseFrame();
    if (error != kDecoderErrorNone) errorCode_ = error;
    *bytes += stages_->pcm.TakeKept(buffer + *bytes, room - *bytes);
    return error == kDecoderErrorNone;
}

BOOL CFFmpegStreamingDecoder::Seek(float seconds) {
    if (open_ == 0) return 0;
    if (!std::isfinite(seconds)) {
        errorCode_ = kDecoderErrorSeek;
        return 0;
    }
    if (errorCode_ == kDecoderErrorOutOfMemory) errorCode_ = kDecoderErrorNone;
    const bool direct = SeeksDirectly(stages_->frames.Codec().codec_id, path_);
    const SeekOutcome outcome = stages_->seek.To(
        {seconds, direct, seekPreRollMs_ / 1000.0, static_cast<double>(record_.nSamplesPerSec)});
    if (outcome.error != kDecoderErrorNone) errorCode_ = outcome.error;
    position_ = outcome.position;
    return outcome.done ? 1 : 0;
}

uint32_t CFFmpegStreamingDecoder::GetPositionMs() {
    const double ms = position_ * 1000.0 + 0.5;
    if (position_ < 0.0 || ms >= static_cast<double>(kPositionUnknown)) return kPositionUnknown;
    return static_cast<uint32_t>(ms);
}

void CFFmpegStreamingDecoder::FillSilence(void* buffer) {
    if (!buffer || !format_) return;
    std::memset(buffer, format_->wBitsPerSample == 8 ? 0x80 : 0, format_->nBlockAlign);
}

}  // namespace receiver
