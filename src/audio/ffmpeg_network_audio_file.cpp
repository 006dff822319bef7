#include "audio/ffmpeg_network_audio_file.h"

#include <array>
#include <cstdio>
#include <string_view>
#include <utility>

#include "audio/ffmpeg.h"
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
      timeoutMs_(ioTimeoutMs != 0 ? ioTimeoutMs : kDefaultTimeoutMs),
      access_(std::make_shared<NetworkAccess>(cancellation_, timeoutMs_, request_)) {}

CFFmpegNetworkAudioFile::~CFFmpegNetworkAudioFile() {
    CFFmpegNetworkAudioFile::Close();
}

BOOL CFFmpegNetworkAudioFile::Open(const std::string& url) {
    if (IsOpen()) return 0;
    // A new one: what an earlier opening has left behind stays stopped.
    access_ = std::make_shared<NetworkAccess>(cancellation_, timeoutMs_, request_);
    access_->SetAsksForRetryAfter(asksForRetryAfter_);
    lastError_ = 0;
    ArmDeadline();
    const std::string httpUrl = ToHttpUrl(url);
    if (httpUrl.empty()) {
        SetErrorCode(kDecoderErrorOpen);
        lastError_ = AVERROR(EINVAL);
        TellFailure(FailedStep::kOpening);
        return 0;
    }
    if (!CFFmpegStreamingDecoder::Open(httpUrl)) {
        TellFailure(FailedStep::kOpening);
        return 0;
    }
    DiscardOtherStreams();
    return 1;
}

BOOL CFFmpegNetworkAudioFile::Close() {
    const bool interrupted = access_->HasTimedOut() || access_->IsCancelled();
    if (!interrupted) ArmDeadline();
    return CFFmpegStreamingDecoder::Close();
}

int32_t CFFmpegNetworkAudioFile::Read(void* buffer, uint32_t count) {
    ArmDeadline();
    const int32_t read = CFFmpegStreamingDecoder::Read(buffer, count);
    if (read < 0) TellFailure(FailedStep::kReading);
    return read;
}

void CFFmpegNetworkAudioFile::SetNotes(const SourceNotes& notes) {
    notes_ = notes;
    WatchStream(notes);
}

void CFFmpegNetworkAudioFile::TellFailure(FailedStep step) const {
    if (notes_.onFailure) notes_.onFailure(DescribeFailure(Failure(), step));
}

BOOL CFFmpegNetworkAudioFile::Seek(float) {
    SetErrorCode(kDecoderErrorSeek);
    lastError_ = AVERROR(ENOSYS);
    return 0;
}

void CFFmpegNetworkAudioFile::ArmDeadline() {
    access_->ArmDeadline();
}

int CFFmpegNetworkAudioFile::ConfigureInput(AVFormatContext* context, AVDictionary** options) {
    context->probesize = kProbeBytes;
    context->max_analyze_duration = kAnalyseMicroseconds;
    const int result = av_dict_set(options, "seekable", "0", 0);
    return result < 0 ? result : access_->Configure(context, options);
}

ConnectionFailure CFFmpegNetworkAudioFile::Failure() const {
    ConnectionFailure failure = access_->LastConnection();
    failure.cancelled = access_->IsCancelled();
    failure.timedOut = access_->HasTimedOut();
    failure.toldLength = HasToldLength();
    failure.decoderError = ErrorCode();
    if (InputResult() < 0) failure.averror = InputResult();
    if (lastError_ < 0) failure.averror = lastError_;
    return failure;
}

std::string CFFmpegNetworkAudioFile::GetErrorText() const {
    if (access_->IsCancelled()) return "Cancelled";
    if (access_->HasTimedOut() || lastError_ == AVERROR(ETIMEDOUT))
        return "Network operation timed out";
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
