#include "receiver_record/output/served_audio.h"

#include <chrono>
#include <limits>
#include <memory>
#include <utility>

#include "platform/clock.h"
#include "session/program_end.h"

namespace receiver {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kConnectTimeout(2000);  // the pipe is there when READY is sent
constexpr milliseconds kReadStep(60000);       // a time-out only means: not yet
constexpr milliseconds kAcknowledgeTimeout(1000);

ReconnectLimits LimitsOf(bool mayContinue) {
    // When to give up is decided by whoever starts the next session.
    return {.reconnectMs = mayContinue ? std::numeric_limits<uint32_t>::max() : 0,
            .outputRate = kStreamSampleRate,
            .lostOnly = true};
}

// The next pipe is waited for where it is connected to.
ReconnectTiming WithoutPauses() {
    return {.nowMs = [] { return TickMs(); },
            .waitUntil = [](uint64_t) {},
            .random = [] { return 0.0; }};
}

}  // namespace

class ServedAudio::Pipe final : public CAudioFile {
public:
    Pipe(ServedAudio& owner, std::string uri)
        : owner_(owner), uri_(std::move(uri)), reader_(owner.cancellation_) {}

    // Each pipe has an URI of its own, whatever the stream was opened with.
    BOOL Open(const std::string&) override {
        if (!reader_.Open(uri_, kConnectTimeout)) {
            Lose();
            return 0;
        }
        const PcmFormat& pcm = reader_.Format();
        record_ = {.wFormatTag = kFormatTagPcm,
                   .nChannels = pcm.channels,
                   .nSamplesPerSec = pcm.sampleRate,
                   .wBitsPerSample = 16};
        record_.nBlockAlign = static_cast<uint16_t>(pcm.FrameBytes());
        record_.nAvgBytesPerSec = record_.nBlockAlign * record_.nSamplesPerSec;
        format_ = &record_;
        open_ = 1;
        return 1;
    }
    BOOL Close() override {
        reader_.Close();
        format_ = nullptr;
        open_ = 0;
        return 1;
    }
    int32_t Read(void* buffer, uint32_t count) override {
        while (!outcome_) {
            size_t bytes = 0;
            switch (reader_.Read({static_cast<std::byte*>(buffer), count}, &bytes, kReadStep)) {
                case Pcm1Reader::Result::kData:
                    return static_cast<int32_t>(bytes);
                case Pcm1Reader::Result::kEnd:
                    End(AudioEnd::kComplete);
                    break;
                case Pcm1Reader::Result::kSourceFailed:
                    End(AudioEnd::kSourceFailed);
                    break;
                case Pcm1Reader::Result::kError:
                    if (reader_.LastError().kind == ErrorKind::kTimedOut) break;
                    Lose();
                    outcome_ = -1;
            }
        }
        return *outcome_;
    }
    BOOL Seek(float) override { return 0; }
    bool IsOpen() const override { return open_ != 0; }

private:
    void End(AudioEnd ending) {
        // The receiver may have gone already: the end record says that all has come.
        if (owner_.beforeAcknowledgement_) owner_.beforeAcknowledgement_();
        reader_.Acknowledge(kAcknowledgeTimeout);
        owner_.NoteEnd(ending, "");
        outcome_ = 0;
    }
    void Lose() { owner_.NoteEnd(AudioEnd::kLost, reader_.LastError().text); }

    ServedAudio& owner_;
    const std::string uri_;
    Pcm1Reader reader_;
    WAVEFORMATEX record_;
    std::optional<int32_t> outcome_;  // once it has ended
};

ServedAudio::ServedAudio(bool mayContinue, std::function<void()> beforeAcknowledgement)
    : beforeAcknowledgement_(std::move(beforeAcknowledgement)),
      stream_([this](const ConnectionFormat&) { return Connect(); },
              std::make_shared<CFFmpegNetworkCancellation>(), LimitsOf(mayContinue),
              [this](const SourceResumption& joint, const SourceBreak&) {
                  MutexLock lock(mutex_);
                  joints_.push_back({.resumption = joint, .isNewest = true});
              },
              WithoutPauses()) {}

bool ServedAudio::Open(const std::string& uri) {
    Continue(uri);
    return stream_.Open(uri) != 0;
}

PcmFormat ServedAudio::Format() {
    const WAVEFORMATEX* record = nullptr;
    if (stream_.GetFormat(&record) != CAudioFile::kFormatOk) return {};
    return {.sampleRate = record->nSamplesPerSec, .channels = record->nChannels};
}

size_t ServedAudio::Read(std::span<std::byte> buffer) {
    const int32_t read = stream_.Read(buffer.data(), static_cast<uint32_t>(buffer.size()));
    return read > 0 ? static_cast<size_t>(read) : 0;
}

AudioEnd ServedAudio::Ending() {
    MutexLock lock(mutex_);
    return ending_;
}

std::string ServedAudio::Failure() {
    MutexLock lock(mutex_);
    return failure_;
}

void ServedAudio::Continue(const std::string& uri) {
    MutexLock lock(mutex_);
    uri_ = uri;
    for (AudioJoint& joint : joints_) joint.isNewest = false;
    changed_.notify_all();
}

void ServedAudio::Stop() {
    cancellation_.Cancel();
    MutexLock lock(mutex_);  // the waiter is before its look at the signal or in its wait
    changed_.notify_all();
}

bool ServedAudio::IsWaiting() {
    MutexLock lock(mutex_);
    return isWaiting_;
}

std::vector<AudioJoint> ServedAudio::TakeJoints() {
    MutexLock lock(mutex_);
    return std::exchange(joints_, {});
}

SourceConnection ServedAudio::Connect() {
    SourceConnection connection;
    const std::optional<std::string> uri = AwaitUri();
    connection.noMore = !uri;
    if (!uri) return connection;
    connection.file = std::make_unique<Pipe>(*this, *uri);
    connection.failure = [this] {
        ConnectionFailure failure;
        // A session that has said how it ended is not continued.
        failure.toldLength = Ending() != AudioEnd::kLost;
        return failure;
    };
    return connection;
}

std::optional<std::string> ServedAudio::AwaitUri() {
    MutexLock lock(mutex_);
    isWaiting_ = !uri_;
    while (!uri_ && !IsStopped()) lock.Wait(changed_);
    isWaiting_ = false;
    if (IsStopped()) return {};
    ending_ = AudioEnd::kRunning;
    return std::exchange(uri_, std::nullopt);
}

void ServedAudio::NoteEnd(AudioEnd ending, const std::string& failure) {
    MutexLock lock(mutex_);
    ending_ = ending;
    failure_ = failure;
}

}  // namespace receiver
