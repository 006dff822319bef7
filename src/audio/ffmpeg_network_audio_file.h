// The live source: a decoder restricted to HTTP and HTTPS, in which every
// operation is bounded by a time-out and can be cancelled from another thread.
// It never seeks and has no length. What it may open, and how, is source_policy.h's.
//
//   Units    time-outs in ms.
//   Threads  Open, Read and Close on one thread; the shared cancellation from any.
//   Errors   as the decoder; GetErrorText() words the last failure.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "audio/ffmpeg_network_cancellation.h"
#include "audio/ffmpeg_streaming_decoder.h"
#include "audio/network_access.h"
#include "audio/source_failure.h"

namespace receiver {

class CFFmpegNetworkAudioFile final : public CFFmpegStreamingDecoder {
public:
    // Without a cancellation it makes its own; a time-out of 0 means 15000.
    explicit CFFmpegNetworkAudioFile(std::shared_ptr<CFFmpegNetworkCancellation> cancellation,
                                     uint32_t ioTimeoutMs = 0);
    ~CFFmpegNetworkAudioFile() override;

    // Before Open.
    void SetRequest(NetworkRequest request) { request_ = std::move(request); }
    void SetNotes(const SourceNotes& notes);  // of its failures, damage and titles
    // Before Open: see NetworkAccess. Default false.
    void SetAsksForRetryAfter(bool asks) { asksForRetryAfter_ = asks; }
    // One deadline covers connecting, probing and stream analysis.
    BOOL Open(const std::string& url) override;
    // Gets no fresh time-out after a time-out or a cancellation, so it returns promptly.
    BOOL Close() override;
    int32_t Read(void* buffer, uint32_t count) override;  // the time-out bounds each call
    BOOL Seek(float position) override;                   // always 0

    void ArmDeadline();  // before blocking in the source by another way
    std::string GetErrorText() const;
    // Of the last Open or Read that failed; of the connection as it is, otherwise.
    ConnectionFailure Failure() const;
    uint64_t TimeoutMs() const { return timeoutMs_; }

protected:
    int ConfigureInput(AVFormatContext* context, AVDictionary** options) override;
    bool ComputesLength() const override { return false; }

private:
    void TellFailure(FailedStep step) const;

    const std::shared_ptr<CFFmpegNetworkCancellation> cancellation_;
    const uint64_t timeoutMs_;
    NetworkRequest request_;
    SourceNotes notes_;
    std::shared_ptr<NetworkAccess> access_;  // never null; one an Open
    bool asksForRetryAfter_ = false;
    int32_t lastError_ = 0;  // negative FFmpeg error code of the source itself
};

}  // namespace receiver
