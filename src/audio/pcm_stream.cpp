#include "audio/pcm_stream.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/clock.h"
#include "platform/error_codes.h"
#include "wire/pcm1_record.h"

namespace receiver {
namespace {

constexpr uint64_t kMaxWaitMs = 0xFFFFFFFE;

// One run of the protocol over a connected endpoint.
class PcmStream final {
public:
    PcmStream(CPcmPipe& endpoint, CAudioFile& source, const WAVEFORMATEX& format,
              const PcmStreamOptions& options)
        : endpoint_(endpoint),
          source_(source),
          options_(options),
          blockAlign_(format.nBlockAlign),
          token_(PerformanceCounter()) {
        header_.sampleRate = format.nSamplesPerSec;
        header_.channels = format.nChannels;
        header_.bitsPerSample = format.wBitsPerSample;
        header_.lengthFrames = options.lengthFrames;
        header_.streamToken = token_;
    }

    bool Serve() {
        if (!Write(&header_, sizeof header_)) return false;
        std::vector<uint8_t> pcm(static_cast<size_t>(options_.framesPerChunk) * blockAlign_);
        const uint64_t start = TickMs();
        const auto capacity = static_cast<uint32_t>(pcm.size());
        int32_t got = source_.Read(pcm.data(), capacity);
        for (; got > 0; got = source_.Read(pcm.data(), capacity)) {
            const auto bytes = static_cast<uint32_t>(got);
            if (bytes > capacity || bytes % blockAlign_ != 0) return false;
            if (!SendChunk(pcm.data(), bytes) || !Pace(start)) return false;
        }
        return End(got == 0);
    }

private:
    bool Write(const void* data, size_t size) {
        return endpoint_.Write(data, size, TickMs() + options_.ioTimeoutMs);
    }

    bool SendChunk(const uint8_t* pcm, uint32_t bytes) {
        const Pcm1ChunkRecord record{kPcm1Data, bytes, framesSent_, 0};
        if (!Write(&record, sizeof record) || !Write(pcm, bytes)) return false;
        framesSent_ += bytes / blockAlign_;
        ++chunksSent_;
        return true;
    }

    // Due times count from the start, so that a late chunk does not delay those after it.
    bool Pace(uint64_t start) {
        if (options_.pacingMs == 0) return true;
        const uint64_t due = start + options_.pacingMs * chunksSent_;
        const uint64_t now = TickMs();
        if (now >= due) return true;
        const auto wait = static_cast<uint32_t>(std::min(due - now, kMaxWaitMs));
        return !endpoint_.Cancellation().Event().Wait(wait);
    }

    bool End(bool regular) {
        const Pcm1ChunkRecord record{regular ? kPcm1End : kPcm1SourceFailed, 0, framesSent_,
                                     regular ? 0 : kPcm1SourceFailedStatus};
        Pcm1Acknowledgement answer;
        if (Write(&record, sizeof record) &&
            endpoint_.Read(&answer, sizeof answer, TickMs() + options_.ioTimeoutMs)) {
            return answer.magic == kPcm1Magic && answer.status == 0 && answer.streamToken == token_;
        }
        // A client may hang up as soon as it has the end record: it has everything.
        const uint32_t error = endpoint_.LastError();
        return regular && (error == kErrorBrokenPipe || error == kErrorNoData);
    }

    CPcmPipe& endpoint_;
    CAudioFile& source_;
    const PcmStreamOptions& options_;
    const uint32_t blockAlign_;
    const uint64_t token_;
    Pcm1Header header_;
    uint64_t framesSent_ = 0;
    uint64_t chunksSent_ = 0;
};

}  // namespace

bool ServePcmStream(CPcmPipe& endpoint, CAudioFile& source, const PcmStreamOptions& options,
                    std::function<void()> onConnected) {
    const std::function<void()> notify = std::move(onConnected);  // released with the call
    const WAVEFORMATEX* format = FormatOf16BitPcm(source);
    if (!format || options.framesPerChunk == 0 ||
        options.framesPerChunk > kMaxPcm1ChunkBytes / format->nBlockAlign) {
        return false;
    }
    const uint32_t connectTimeoutMs =
        options.connectTimeoutMs != 0 ? options.connectTimeoutMs : options.ioTimeoutMs;
    if (!endpoint.Accept(connectTimeoutMs)) return false;
    if (notify) notify();
    return PcmStream(endpoint, source, *format, options).Serve();
}

}  // namespace receiver
