#include "session/session_worker.h"

#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "audio/ffmpeg_network_audio_file.h"
#include "audio/pcm_stream.h"
#include "detect/detector_audio_file.h"
#include "detect/receiver_program_audio_file.h"
#include "platform/text.h"
#include "platform/thread_name.h"
#include "wire/messages.h"
#include "wire/pcm1_record.h"

namespace receiver {
namespace {

constexpr double kBerThreshold = 0.14;
constexpr uint32_t kDetectionWaitMs = 20;
constexpr uint32_t kFramesPerChunk = 441;  // 10 ms
constexpr uint32_t kAudioIoTimeoutMs = 1000;
constexpr uint32_t kNoConnectTimeoutMs = 0xFFFFFFFE;  // the longest wait there is

// The text for FINISHED. Without the memory for it, what says so: short enough to need none.
std::string TextOf(const std::exception& error) noexcept {
    try {
        return ReplaceIllFormedUtf8(error.what());
    } catch (const std::bad_alloc& exhausted) {
        return exhausted.what();
    }
}

void Require(bool holds, const char* text) {
    if (!holds) throw std::runtime_error(text);
}

}  // namespace

SessionWorker::SessionWorker(SessionState& state, SourceFactory makeSource)
    : state_(state),
      makeSource_(std::move(makeSource)),
      networkCancellation_(std::make_shared<CFFmpegNetworkCancellation>()),
      pipeCancellation_(std::make_shared<CPcmPipeCancellation>()) {}

void SessionWorker::Run() noexcept {
    SetCurrentThreadName("session");
    SessionStatus::Outcome outcome;
    try {
        outcome = RunSteps();
    } catch (const std::exception& error) {
        outcome.message = TextOf(error);
    } catch (...) {
        outcome.message = kFinishedForeignException;
    }
    state_.Finish(std::move(outcome), ReadStatistics());
}

void SessionWorker::CancelChain() {
    networkCancellation_->Cancel();
    pipeCancellation_->Cancel();
    if (CRubberBufferAudioFile* buffer = sharedBuffer_) buffer->RequestStop();
}

std::optional<SessionState::Statistics> SessionWorker::ReadStatistics() const {
    const CRubberBufferAudioFile* buffer = sharedBuffer_;
    if (!buffer) return std::nullopt;
    return buffer->GetStats();
}

SessionStatus::Outcome SessionWorker::RunSteps() {
    CRubberBufferAudioFile& buffer = BuildChain(LoadReferences());
    Require(buffer.Open(state_.Program().url) != 0, kFinishedSourceOpen);
    Require(state_.AnnounceConnected(), kFinishedCancelledOpening);
    const uint64_t startSample = WaitForStart(buffer);
    Position(buffer, startSample);
    CPcmPipe endpoint(pipeCancellation_);
    Require(endpoint.Listen(state_.AudioUri()), kFinishedAudioListen);
    Require(state_.AnnounceReady(startSample), kFinishedStoppedBeforeReady);
    return Serve(buffer, endpoint, startSample);
}

std::vector<ReferenceFingerprint> SessionWorker::LoadReferences() {
    std::vector<ReferenceFingerprint> references;
    std::vector<uint64_t> lengths;
    const auto stopRequested = [this] { return state_.IsStopRequested(); };
    for (const PreparedReference& reference : state_.Program().references) {
        Require(!stopRequested(), kFinishedCancelledLoading);
        references.push_back(LoadReference(reference.path, stopRequested));
        // Counted at the analysis rate, which is half the stream's.
        lengths.push_back(2 * references.back().sampleCount);
    }
    state_.SetReferenceLengths(std::move(lengths));
    return references;
}

SessionSource SessionWorker::MakeNetworkSource(
    std::vector<ReferenceFingerprint>&& references,
    const std::function<void(const DetectorMatch&)>& onMatch) const {
    const auto cancellation = networkCancellation_;
    auto network =
        std::make_unique<CFFmpegNetworkAudioFile>(cancellation, state_.Program().ioTimeoutMs);
    network->SetOutputSampleRate(kStreamSampleRate);
    network->SetOutputBitsPerSample(16);
    auto detector = std::make_unique<CDetectorAudioFile>(std::move(network), std::move(references),
                                                         onMatch, kBerThreshold);
    return {std::move(detector), [cancellation] { cancellation->Cancel(); }};
}

CRubberBufferAudioFile& SessionWorker::BuildChain(std::vector<ReferenceFingerprint>&& references) {
    const auto onMatch = [&state = state_](const DetectorMatch& match) { state.NoteMatch(match); };
    SessionSource source = makeSource_ ? makeSource_(std::move(references), onMatch)
                                       : MakeNetworkSource(std::move(references), onMatch);
    buffer_ = std::make_unique<CRubberBufferAudioFile>(
        std::move(source.file), std::move(source.stop), state_.Program().blockBytes,
        state_.Program().ioTimeoutMs);
    sharedBuffer_ = buffer_.get();
    Require(!state_.IsStopRequested(), kFinishedCancelledBeforeOpen);
    return *buffer_;
}

uint64_t SessionWorker::WaitForStart(const CRubberBufferAudioFile& buffer) {
    while (true) {
        // Asked before the matches are looked at: the source reports its last match before it
        // is finished, so none can be overlooked.
        const bool ended = buffer.GetStats().finished;
        const auto start = state_.WaitForStart(DeadlineIn(ended ? 0 : kDetectionWaitMs));
        if (start) return *start;
        Require(!state_.IsStoppedOrFailing(), kFinishedStoppedDetecting);
        Require(!ended, kFinishedStartNotFound);
    }
}

void SessionWorker::Position(CRubberBufferAudioFile& buffer, uint64_t startSample) const {
    Require(buffer.WaitForSample(startSample, state_.Program().ioTimeoutMs),
            kFinishedPcmUnavailable);
    Require(buffer.SeekToSample(startSample), kFinishedSeek);
    buffer.SetReleaseConsumed(true);
}

SessionStatus::Outcome SessionWorker::Serve(CRubberBufferAudioFile& buffer, CPcmPipe& endpoint,
                                            uint64_t startSample) {
    std::optional<CReceiverProgramAudioFile> programView;
    if (state_.HasProgramBounds()) {
        programView.emplace(buffer, startSample, [&state = state_, &buffer] {
            const ProgramEnd end = state.UpdateProgramEnd(buffer.GetStats());
            return ReceiverProgramBoundary{.end = end.endSample, .fadeFrames = end.fadeFrames};
        });
    }
    CAudioFile& source = programView ? static_cast<CAudioFile&>(*programView) : buffer;
    const PcmStreamOptions options{.lengthFrames = kPcm1LengthUnknown,
                                   .framesPerChunk = kFramesPerChunk,
                                   .pacingMs = 0,
                                   .ioTimeoutMs = kAudioIoTimeoutMs,
                                   .connectTimeoutMs = kNoConnectTimeoutMs};
    const bool delivered =
        ServePcmStream(endpoint, source, options, [this] { state_.NoteAudioOpen(); });
    const auto stats = buffer.GetStats();
    if (delivered && (programView || (stats.finished && stats.error == 0))) {
        return {SessionStatus::Reason::kEof, ""};
    }
    return {SessionStatus::Reason::kError,
            kFinishedAudioPrefix + std::to_string(endpoint.LastError()) + ")"};
}

}  // namespace receiver
