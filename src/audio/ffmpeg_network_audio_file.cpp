#include "audio/ffmpeg_network_audio_file.h"

#include <array>
#include <cstdio>
#include <string_view>
#include <utility>

#include "audio/ffmpeg.h"
#include "platform/clock.h"
#include "platform/text.h"

namespace receiver {
namespace {

constexpr uint64_t kDefaultTimeoutMs = 15000;
constexpr int64_t kProbeBytes = 524288;
constexpr int64_t kAnalyseMicroseconds = 2000000;
constexpr size_t kErrorTextBytes = 64;

// The URL with its scheme in lower case, which is how FFmpeg knows its protocols; empty
// when it is of another scheme.
std::string ToHttpUrl(const std::string& url) {
    for (const std::string_view scheme : {"http://", "https://"}) {
        const std::string start = ToLowerAscii(url.substr(0, scheme.size()));
        if (start == scheme) return start + url.substr(scheme.size());
    }
    return {};
}

}  // namespace

CFFmpegNetworkAudioFile::CFFmpegNetworkAudioFile(
    std::shared_ptr<CFFmpegNetworkCancellation> cancellation, uint32_t ioTimeoutMs)
    : cancellation_(cancellation ? std::move(cancellation)
                                 : std::make_shared<CFFmpegNetworkCancellation>()),
      timeoutMs_(ioTimeoutMs != 0 ? ioTimeoutMs : kDefaultTimeoutMs) {}

CFFmpegNetworkAudioFile::~CFFmpegNetworkAudioFile() {
    CFFmpegNetworkAudioFile::Close();
}

BOOL CFFmpegNetworkAudioFile::Open(const std::string& url) {
    if (IsOpen()) return 0;
    timedOut_ = false;
    lastError_ = 0;
    ArmDeadline();
    const std::string httpUrl = ToHttpUrl(url);
    if (httpUrl.empty()) {
        SetErrorCode(kDecoderErrorOpen);
        lastError_ = AVERROR(EINVAL);
        return 0;
    }
    if (!CFFmpegStreamingDecoder::Open(httpUrl)) return 0;
    DiscardOtherStreams();
    return 1;
}

BOOL CFFmpegNetworkAudioFile::Close() {
    const bool interrupted = deadline_ != 0 && (timedOut_ || cancellation_->cancelled);
    if (!interrupted) ArmDeadline();
    return CFFmpegStreamingDecoder::Close();
}

int32_t CFFmpegNetworkAudioFile::Read(void* buffer, uint32_t count) {
    ArmDeadline();
    return CFFmpegStreamingDecoder::Read(buffer, count);
}

BOOL CFFmpegNetworkAudioFile::Seek(float) {
    SetErrorCode(kDecoderErrorSeek);
    lastError_ = AVERROR(ENOSYS);
    return 0;
}

void CFFmpegNetworkAudioFile::ArmDeadline() {
    deadline_ = TickMs() + timeoutMs_;
}

int CFFmpegNetworkAudioFile::ConfigureInput(AVFormatContext* context, AVDictionary** options) {
    context->interrupt_callback.callback = &CFFmpegNetworkAudioFile::InterruptCallback;
    context->interrupt_callback.opaque = this;
    context->probesize = kProbeBytes;
    context->max_analyze_duration = kAnalyseMicroseconds;
    int result = av_dict_set_int(options, "rw_timeout", static_cast<int64_t>(timeoutMs_) * 1000, 0);
    if (result >= 0) result = av_dict_set(options, "tls_verify", "1", 0);
    if (result >= 0) result = av_dict_set(options, "seekable", "0", 0);
    if (result < 0) return result;
    return ShouldStop() ? AVERROR_EXIT : 0;
}

int CFFmpegNetworkAudioFile::InterruptCallback(void* source) {
    return static_cast<CFFmpegNetworkAudioFile*>(source)->ShouldStop() ? 1 : 0;
}

bool CFFmpegNetworkAudioFile::ShouldStop() {
    if (cancellation_->cancelled) return true;
    if (deadline_ == 0 || TickMs() < deadline_) return false;
    timedOut_ = true;
    return true;
}

std::string CFFmpegNetworkAudioFile::GetErrorText() const {
    if (cancellation_->cancelled) return "Cancelled";
    if (timedOut_ || lastError_ == AVERROR(ETIMEDOUT)) return "Network operation timed out";
    if (lastError_ < 0) {
        std::array<char, kErrorTextBytes> text{};
        av_strerror(lastError_, text.data(), text.size());
        return text.data();
    }
    std::array<char, kErrorTextBytes> text{};
    std::snprintf(text.data(), text.size(), "Decoder error 0x%X",
                  static_cast<unsigned>(ErrorCode()));
    return text.data();
}

}  // namespace receiver
