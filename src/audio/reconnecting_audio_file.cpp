#include "audio/reconnecting_audio_file.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <random>
#include <stdexcept>
#include <utility>
#include <variant>
#include <vector>

#include "audio/live_connection.h"
#include "audio/outgoing_pcm.h"
#include "audio/pcm_history.h"
#include "audio/pcm_rate_converter.h"
#include "audio/reconnect_pauses.h"
#include "audio/source_failure.h"
#include "audio/stream_joint.h"
#include "platform/clock.h"

namespace receiver {
namespace {

// Of a connection that may break off at any time so much is kept back: what a decoder makes
// of a coded frame that was cut may be wrong, and the next connection brings it whole.
constexpr uint64_t kHeldFrames = 2048;
constexpr size_t kStepFrames = 4096;
// A connection that has given so much new audio has held.
constexpr uint64_t kHoldingSeconds = 2;

ReconnectTiming RealTiming(const std::shared_ptr<CFFmpegNetworkCancellation>& cancellation) {
    const auto generator = std::make_shared<std::minstd_rand>(std::random_device{}());
    return {
        .nowMs = [] { return TickMs(); },
        .waitUntil =
            [cancellation](uint64_t untilMs) {
                const std::atomic<bool> never{false};
                const uint64_t nowMs = TickMs();
                cancellation->WaitUntil(never, DeadlineIn(untilMs - std::min(untilMs, nowMs)));
            },
        .random = [generator] { return std::uniform_real_distribution<double>{}(*generator); },
    };
}

SourceFailure Describe(const SourceBreak& how) {
    if (how.phase == SourceBreak::Phase::kEnded) return DescribeEnd();
    return DescribeFailure(how.failure, how.phase == SourceBreak::Phase::kOpening
                                            ? FailedStep::kOpening
                                            : FailedStep::kReading);
}

}  // namespace

struct ReconnectingAudioFile::State {
    // Constant.
    ConnectionFactory connect;
    std::shared_ptr<CFFmpegNetworkCancellation> cancellation;
    ReconnectLimits limits;
    OnResumed onResumed;
    ReconnectTiming timing;
    SourceNotes notes;

    // From one Open to the next.
    std::string path;
    std::unique_ptr<LiveConnection> connection;  // null between two
    ArrivalClock clock{1};                       // of the last connection that gave new audio
    std::optional<double> timeOfStart;           // of that one
    ConnectionFormat format;                     // of all connections
    int64_t base = 0;        // where the connection's first frame lies in the stream
    uint64_t received = 0;   // frames of the stream
    uint64_t newFrames = 0;  // of the connection
    uint64_t joinedAt = 0;   // where the connection's new audio begins in the stream
    std::string title;       // the last one told
    std::string station;     // the last one told
    uint64_t lastAudioMs = 0;
    ReconnectPauses pauses;
    SourceBreak lastBreak;
    PcmHistory history;
    OutgoingPcm outgoing;
    PcmRateConverter converter;
    std::vector<int16_t> step;    // reused
    std::vector<uint8_t> output;  // converted
    size_t outputTaken = 0;
    uint64_t deliveredBytes = 0;
    bool noMore = false;
    bool ended = false;
    int32_t outcome = -1;  // once ended

    bool IsCancelled() const { return cancellation->IsCancelled(); }
    bool IsLost() const {
        const bool isWhole =
            lastBreak.phase == SourceBreak::Phase::kEnded && lastBreak.failure.toldLength;
        return !isWhole || !limits.lostOnly;
    }

    std::unique_ptr<LiveConnection> Connect();
    // Tries, with pauses, until it succeeds or the time is over; once at least.
    bool TryUntilOver(const std::function<bool()>& attempt);
    bool Reconnect();
    void Adopt(const StreamJoint& joint, const SourceBreak& cause, uint32_t attempts);
    void Receive(const std::vector<int16_t>& samples);
    void NoteBreak(const SourceBreak& how);
    void TellFailure() const;
    void ForwardNotes();
    void Forward(const SourceDamage& damage);
    void Forward(const SourceTitle& title);
    void Forward(const SourceStation& station);
    // Where something that a connection tells anew begins to hold.
    uint64_t HoldsFrom(uint64_t connectionSample) const;
    bool ReadConnection();
    bool MakeOutput(bool mayReconnect);
    uint64_t ToOutput(uint64_t frames) const;
};

std::unique_ptr<LiveConnection> ReconnectingAudioFile::State::Connect() {
    SourceConnection source = connect(format);
    noMore = source.noMore;
    auto made = std::make_unique<LiveConnection>(std::move(source), timing.nowMs);
    if (made->Open(path, format)) return made;
    lastBreak = made->Break();
    return nullptr;
}

bool ReconnectingAudioFile::State::TryUntilOver(const std::function<bool()>& attempt) {
    const uint64_t deadlineMs = lastAudioMs + limits.reconnectMs;
    for (;;) {
        const uint64_t pauseMs = pauses.Next(timing.random(), lastBreak.failure.retryAfterSeconds);
        if (pauseMs > 0) timing.waitUntil(std::min(timing.nowMs() + pauseMs, deadlineMs));
        if (IsCancelled()) return false;
        if (attempt()) return true;
        if (IsCancelled() || noMore || timing.nowMs() >= deadlineMs) return false;
    }
}

bool ReconnectingAudioFile::State::Reconnect() {
    if (limits.reconnectMs == 0 || !IsLost()) return false;
    const SourceBreak cause = lastBreak;
    if (newFrames >= kHoldingSeconds * format.sampleRate) pauses.Reset();
    uint32_t attempts = 0;
    return TryUntilOver([&] {
        ++attempts;
        auto next = Connect();
        if (!next) return false;
        const HeardStream heard{.history = history.View(),
                                .end = received,
                                .held = static_cast<size_t>(outgoing.Frames()),
                                .base = base,
                                .clock = clock,
                                .timeOfStart = timeOfStart};
        const auto joint = JoinStream(heard, *next, timing.nowMs);
        if (!joint) {
            NoteBreak(next->Break());
            return false;
        }
        connection = std::move(next);
        Adopt(*joint, cause, attempts);
        return true;
    });
}

void ReconnectingAudioFile::State::Adopt(const StreamJoint& joint, const SourceBreak& cause,
                                         uint32_t attempts) {
    const SourceResumption resumption{
        .sample = ToOutput(joint.at),
        .outageMs = timing.nowMs() - lastAudioMs,
        .repeatedFrames = ToOutput(joint.repeatedFrames),
        .lostFrames = ToOutput(joint.at + joint.missingFrames) - ToOutput(joint.at),
        .attempts = attempts,
        .exact = joint.exact,
        .cause = Describe(cause)};
    const bool isFirstAudio = received == 0;
    const auto again = static_cast<size_t>(received - joint.at);
    outgoing.DropLast(again);
    history.DropLast(again);
    // What does not follow on what was heard cannot be found together with it.
    if (!joint.found) history.Clear();
    outgoing.AppendSilence(joint.missingFrames);
    received = joint.at + joint.missingFrames;
    base = joint.base;
    joinedAt = received;
    newFrames = 0;
    Receive(joint.rest);
    if (!isFirstAudio && onResumed) onResumed(resumption, cause);
    ForwardNotes();
}

void ReconnectingAudioFile::State::TellFailure() const {
    if (notes.onFailure) notes.onFailure(Describe(lastBreak));
}

void ReconnectingAudioFile::State::ForwardNotes() {
    for (const ConnectionNote& note : connection->TakeNotes()) {
        std::visit([this](const auto& told) { Forward(told); }, note);
    }
}

// What lies before the joint was told when it was heard.
void ReconnectingAudioFile::State::Forward(const SourceDamage& damage) {
    const int64_t sample = base + static_cast<int64_t>(damage.sample);
    if (sample < static_cast<int64_t>(joinedAt) || !notes.onDamage) return;
    notes.onDamage({.kind = damage.kind,
                    .sample = ToOutput(static_cast<uint64_t>(sample)),
                    .frames = ToOutput(damage.frames)});
}

uint64_t ReconnectingAudioFile::State::HoldsFrom(uint64_t connectionSample) const {
    const int64_t sample = base + static_cast<int64_t>(connectionSample);
    return ToOutput(static_cast<uint64_t>(std::max(sample, static_cast<int64_t>(joinedAt))));
}

// Each connection tells its title and its station anew.
void ReconnectingAudioFile::State::Forward(const SourceTitle& told) {
    if (told.title == title || !notes.onTitle) return;
    title = told.title;
    notes.onTitle({.sample = HoldsFrom(told.sample), .title = told.title});
}

void ReconnectingAudioFile::State::Forward(const SourceStation& told) {
    if (told.name == station || !notes.onStation) return;
    station = told.name;
    notes.onStation({.sample = HoldsFrom(told.sample), .name = told.name});
}

void ReconnectingAudioFile::State::Receive(const std::vector<int16_t>& samples) {
    const size_t frames = samples.size() / format.channels;
    outgoing.Append(samples.data(), frames);
    if (limits.reconnectMs > 0) history.Append(samples.data(), frames);
    received += frames;
    newFrames += frames;
    lastAudioMs = timing.nowMs();
}

void ReconnectingAudioFile::State::NoteBreak(const SourceBreak& how) {
    lastBreak = how;
    outcome = how.phase == SourceBreak::Phase::kEnded ? 0 : -1;
}

// False when the connection has broken off.
bool ReconnectingAudioFile::State::ReadConnection() {
    step.clear();
    if (connection->Read(step) > 0) {
        Receive(step);
        ForwardNotes();
        return true;
    }
    clock = connection->Clock();
    timeOfStart = connection->TimeOfStart();
    NoteBreak(connection->Break());
    connection.reset();
    return false;
}

// False when nothing is left, or, unless it may take that long, before it connects again.
bool ReconnectingAudioFile::State::MakeOutput(bool mayReconnect) {
    output.clear();
    outputTaken = 0;
    while (output.empty()) {
        if (IsCancelled()) return false;
        const uint64_t held = ended || limits.reconnectMs == 0 ? 0 : kHeldFrames;
        if (outgoing.Frames() > held) {
            step.clear();
            const uint64_t most = std::min<uint64_t>(outgoing.Frames() - held, kStepFrames);
            const size_t taken = outgoing.Take(static_cast<size_t>(most), step);
            if (!converter.Convert(step.data(), taken, output)) return false;
            continue;
        }
        if (ended) return false;
        if (connection && ReadConnection()) continue;
        if (!mayReconnect && limits.reconnectMs > 0) return false;
        ended = !Reconnect();
        if (ended) TellFailure();
    }
    return true;
}

uint64_t ReconnectingAudioFile::State::ToOutput(uint64_t frames) const {
    const uint64_t rate = format.sampleRate;
    return frames / rate * limits.outputRate +
           (frames % rate * limits.outputRate + rate / 2) / rate;
}

ReconnectingAudioFile::ReconnectingAudioFile(
    ConnectionFactory connect, const std::shared_ptr<CFFmpegNetworkCancellation>& cancellation,
    ReconnectLimits limits, OnResumed onResumed)
    : ReconnectingAudioFile(std::move(connect), cancellation, limits, std::move(onResumed),
                            RealTiming(cancellation)) {}

ReconnectingAudioFile::ReconnectingAudioFile(
    ConnectionFactory connect, std::shared_ptr<CFFmpegNetworkCancellation> cancellation,
    ReconnectLimits limits, OnResumed onResumed, ReconnectTiming timing)
    : state_(std::make_unique<State>()) {
    if (!connect || !cancellation || limits.outputRate == 0) {
        throw std::invalid_argument("Invalid reconnection configuration");
    }
    state_->connect = std::move(connect);
    state_->cancellation = std::move(cancellation);
    state_->limits = limits;
    state_->onResumed = std::move(onResumed);
    state_->timing = std::move(timing);
}

ReconnectingAudioFile::~ReconnectingAudioFile() = default;

void ReconnectingAudioFile::SetNotes(SourceNotes notes) {
    state_->notes = std::move(notes);
}

BOOL ReconnectingAudioFile::Open(const std::string& path) {
    if (open_ != 0) return 0;
    Close();
    State& state = *state_;
    state.path = path;
    state.lastAudioMs = state.timing.nowMs();
    const auto connect = [&state] {
        state.connection = state.Connect();
        return state.connection != nullptr;
    };
    if (!(state.limits.lostOnly ? connect() : state.TryUntilOver(connect))) {
        state.TellFailure();
        return 0;
    }
    state.format = state.connection->Format();
    if (!state.converter.Open(state.format.sampleRate, state.limits.outputRate,
                              state.format.channels)) {
        state.connection.reset();
        return 0;
    }
    state.pauses.Reset();
    state.lastAudioMs = state.timing.nowMs();
    state.outgoing = OutgoingPcm(state.format.channels);
    state.history = PcmHistory(state.format.channels, MaxHistoryFrames(state.format));
    record_ = {.wFormatTag = kFormatTagPcm,
               .nChannels = state.format.channels,
               .nSamplesPerSec = state.limits.outputRate,
               .wBitsPerSample = 16};
    record_.nBlockAlign = static_cast<uint16_t>(record_.nChannels * sizeof(int16_t));
    record_.nAvgBytesPerSec = record_.nBlockAlign * record_.nSamplesPerSec;
    format_ = &record_;
    bytesPerSecond_ = record_.nAvgBytesPerSec;
    open_ = 1;
    return 1;
}

BOOL ReconnectingAudioFile::Close() {
    State fresh;
    fresh.connect = std::move(state_->connect);
    fresh.cancellation = std::move(state_->cancellation);
    fresh.limits = state_->limits;
    fresh.onResumed = std::move(state_->onResumed);
    fresh.timing = std::move(state_->timing);
    fresh.notes = std::move(state_->notes);
    fresh.lastBreak = std::move(state_->lastBreak);
    *state_ = std::move(fresh);
    format_ = nullptr;
    open_ = 0;
    return 1;
}

int32_t ReconnectingAudioFile::Read(void* buffer, uint32_t count) {
    if (open_ == 0 || !buffer || count == 0) return -1;
    State& state = *state_;
    count = std::min<uint32_t>(count, INT32_MAX);
    auto* to = static_cast<uint8_t*>(buffer);
    uint32_t delivered = 0;
    while (delivered < count) {
        if (state.outputTaken == state.output.size() && !state.MakeOutput(delivered == 0)) break;
        const size_t taken =
            std::min<size_t>(count - delivered, state.output.size() - state.outputTaken);
        std::memcpy(to + delivered, state.output.data() + state.outputTaken, taken);
        state.outputTaken += taken;
        delivered += static_cast<uint32_t>(taken);
    }
    state.deliveredBytes += delivered;
    if (delivered > 0) return static_cast<int32_t>(delivered);
    return state.IsCancelled() || !state.ended ? -1 : state.outcome;
}

uint64_t ReconnectingAudioFile::NextSample() const {
    return open_ == 0 ? 0 : state_->deliveredBytes / record_.nBlockAlign;
}

const SourceBreak& ReconnectingAudioFile::LastBreak() const {
    return state_->lastBreak;
}

}  // namespace receiver
