#include "testing/simulated_station.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "testing/pcm_format.h"

namespace receiver {

class SimulatedStation::Connection final : public CAudioFile {
public:
    Connection(SimulatedStation& station, const Visit& visit,
               std::shared_ptr<CFFmpegNetworkCancellation> cancellation)
        : station_(station),
          visit_(visit),
          audio_(visit.other ? *visit.other : station.audio_),
          cancellation_(std::move(cancellation)),
          record_(FormatOf(audio_.channels, audio_.rate)) {}

    BOOL Open(const std::string&) override {
        station_.Wait(visit_.openingMs);
        if (visit_.refused || cancellation_->IsCancelled()) return 0;
        const auto burst = static_cast<uint64_t>(visit_.burstSeconds * audio_.rate);
        const uint64_t edge = station_.LiveEdge();
        first_ = visit_.fromTheStart || visit_.atOnce ? 0 : edge - std::min(edge, burst);
        behind_ = visit_.fromTheStart ? edge : 0;
        format_ = &record_;
        open_ = 1;
        return 1;
    }
    BOOL Close() override {
        open_ = 0;
        return 1;
    }
    int32_t Read(void* buffer, uint32_t count) override {
        const uint64_t frames = std::min<uint64_t>(count / record_.nBlockAlign,
                                                   Until(visit_.frames.value_or(UINT64_MAX)));
        if (frames == 0) return BreakOff();
        const uint64_t packets = (taken_ + frames + visit_.packetFrames - 1) / visit_.packetFrames;
        WaitFor(first_ + packets * visit_.packetFrames);
        if (cancellation_->IsCancelled()) return -1;
        const size_t at = (first_ + taken_) * record_.nBlockAlign;
        std::memcpy(buffer, reinterpret_cast<const char*>(audio_.samples.data()) + at,
                    frames * record_.nBlockAlign);
        Spoil(static_cast<uint8_t*>(buffer), frames);
        taken_ += frames;
        return static_cast<int32_t>(frames * record_.nBlockAlign);
    }
    BOOL Seek(float) override { return 0; }
    bool IsOpen() const override { return open_ != 0; }

    ConnectionFailure Failure() const {
        ConnectionFailure failure;
        failure.httpStatus = visit_.refused ? 503 : 200;
        failure.retryAfterSeconds = visit_.retryAfterSeconds;
        return failure;
    }

    std::optional<double> TimeOfStart() const {
        if (visit_.countsAnew) return 0.0;
        if (!visit_.timeOnAir) return {};
        return *visit_.timeOnAir + static_cast<double>(first_) / audio_.rate;
    }
    double SecondsAhead() const {
        if (visit_.packetFrames == 1) return 0.0;
        const uint64_t end = first_ + taken_;
        return static_cast<double>(sent_ - std::min(sent_, end)) / audio_.rate;
    }

private:
    // How many more there are up to so many of the connection.
    uint64_t Until(uint64_t frames) const {
        const uint64_t left = audio_.Frames() - std::min<uint64_t>(audio_.Frames(), first_);
        return std::min(frames, left) - taken_;
    }
    int32_t BreakOff() {
        station_.Wait(visit_.stallMs);
        return visit_.frames && !visit_.atOnce ? visit_.result : 0;
    }
    void WaitFor(uint64_t end) {
        if (visit_.atOnce) return;
        const uint64_t sent = (end + visit_.pieceFrames - 1) / visit_.pieceFrames;
        sent_ = sent * visit_.pieceFrames;
        const uint64_t onAir = sent_ + behind_;
        station_.RunTo(kSignOnMs * 1000 + onAir * 1000000 / static_cast<uint64_t>(audio_.rate));
    }
    void Spoil(uint8_t* bytes, uint64_t frames) const {
        if (!visit_.frames) return;
        const uint64_t good = *visit_.frames - visit_.spoiltFrames;
        for (uint64_t i = good - std::min(good, taken_); i < frames; ++i) {
            std::memset(bytes + i * record_.nBlockAlign, 0x55, record_.nBlockAlign);
        }
    }

    SimulatedStation& station_;
    const Visit visit_;
    const TestPcm& audio_;
    const std::shared_ptr<CFFmpegNetworkCancellation> cancellation_;
    WAVEFORMATEX record_;
    uint64_t first_ = 0;   // on the air
    uint64_t behind_ = 0;  // the air
    uint64_t taken_ = 0;
    uint64_t sent_ = 0;  // up to there, on the air
};

uint64_t SimulatedStation::LiveEdge() const {
    return (nowUs_ - kSignOnMs * 1000) * static_cast<uint64_t>(audio_.rate) / 1000000;
}

void SimulatedStation::RunTo(uint64_t us) {
    if (us <= nowUs_) return;
    if (onWait) onWait();
    nowUs_ = us;
}

ReconnectTiming SimulatedStation::Timing(double random) {
    return {.nowMs = [this] { return NowMs(); },
            .waitUntil = [this](uint64_t ms) { RunTo(ms * 1000); },
            .random = [random] { return random; }};
}

ConnectionFactory SimulatedStation::Factory(
    std::shared_ptr<CFFmpegNetworkCancellation> cancellation) {
    return [this, cancellation = std::move(cancellation)](const ConnectionFormat& format) {
        attemptsMs.push_back(NowMs());
        formats.push_back(format);
        Visit visit;
        if (!plan.empty()) {
            visit = plan.front();
            plan.pop_front();
        }
        auto file = std::make_unique<Connection>(*this, visit, cancellation);
        const Connection* connection = file.get();
        return SourceConnection{
            .file = std::move(file),
            .failure = [connection] { return connection->Failure(); },
            .notes = nullptr,
            .timeOfStart = [connection] { return connection->TimeOfStart(); },
            .secondsAhead = [connection] { return connection->SecondsAhead(); }};
    };
}

}  // namespace receiver
