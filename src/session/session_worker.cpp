#include "session/session_worker.h"

#include <algorithm>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "audio/pcm_stream.h"
#include "detect/detector_audio_file.h"
#include "detect/receiver_program_audio_file.h"
#include "detect/reference_list.h"
#include "platform/text.h"
#include "platform/thread_name.h"
#include "wire/messages.h"
#include "wire/pcm1_record.h"

namespace receiver {
namespace {

constexpr uint32_t kFramesPerChunk = 441;  // 10 ms
constexpr uint32_t kAudioIoTimeoutMs = 1000;
constexpr uint32_t kNoConnectTimeoutMs = 0xFFFFFFFE;  // the longest wait there is

// Added to the time in which a lost source is opened again, for the last attempt to end.
constexpr uint32_t kReconnectMarginMs = 10000;

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

// A failure whose cause is known where it happens.
class CausedFailure final : public std::runtime_error {
public:
    CausedFailure(const std::string& message, SessionCause cause)
        : std::runtime_error(message), cause_(std::move(cause)) {}
    SessionCause TakeCause() { return std::move(cause_); }

private:
    SessionCause cause_;
};

uint64_t FramesOfMs(uint64_t ms) {
    return ms * kStreamSampleRate / 1000;
}

SessionCause AudioPipeCause(const char* text) {
    return {.kind = SessionCause::Kind::kAudioPipe, .source = {}, .referenceId = {}, .text = text};
}

SessionCause ReferenceCause(const std::string& id, const std::string& failure) {
    const char* text = "the reference cannot be used";
    if (failure == kFinishedReferenceOpen) text = "the file cannot be opened as audio";
    if (failure == kFinishedReferenceDecode) text = "the file's audio cannot be decoded";
    if (failure == kFinishedReferenceShort) text = "the recording is too short to be recognised";
    return {.kind = SessionCause::Kind::kReference, .source = {}, .referenceId = id, .text = text};
}

}  // namespace

SessionWorker::SessionWorker(SessionState& state, SourceFactory makeSource,
                             std::function<void()> onSourceEnd)
    : state_(state),
      makeSource_(std::move(makeSource)),
      onSourceEnd_(std::move(onSourceEnd)),
      networkCancellation_(std::make_shared<CFFmpegNetworkCancellation>()),
      pipeCancellation_(std::make_shared<CPcmPipeCancellation>()) {}

void SessionWorker::Run() noexcept {
    SetCurrentThreadName("session");
    SessionStatus::Outcome outcome;
    try {
        outcome = RunSteps();
    } catch (CausedFailure& error) {
        outcome.message = TextOf(error);
        outcome.cause = error.TakeCause();
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
    const uint64_t startSample = WaitForStart();
    const uint64_t servedSample = Position(buffer, startSample);
    CPcmPipe endpoint(pipeCancellation_);
    if (!endpoint.Listen(state_.AudioUri())) {
        throw CausedFailure(kFinishedAudioListen,
                            AudioPipeCause("the audio pipe cannot be opened"));
    }
    Require(state_.AnnounceReady(startSample, servedSample), kFinishedStoppedBeforeReady);
    return Serve(buffer, endpoint, servedSample);
}

std::vector<ReferenceFingerprint> SessionWorker::LoadReferences() {
    std::vector<std::string> paths;
    for (const PreparedReference& reference : state_.Program().references) {
        paths.push_back(reference.path);
    }
    std::vector<ReferenceFingerprint> references;
    size_t failed = 0;
    try {
        references = LoadReferenceList(
            paths, [this] { return state_.IsStopRequested(); }, &failed);
    } catch (const std::runtime_error& error) {
        const std::string& id = state_.Program().references.at(failed).id;
        throw CausedFailure(error.what(), ReferenceCause(id, error.what()));
    }
    std::vector<uint64_t> lengths;
    lengths.reserve(references.size());
    for (const ReferenceFingerprint& reference : references) {
        // Counted at the analysis rate, which is half the stream's.
        lengths.push_back(2 * reference.sampleCount);
    }
    state_.SetReferenceLengths(std::move(lengths));
    return references;
}

CRubberBufferAudioFile& SessionWorker::BuildChain(std::vector<ReferenceFingerprint>&& references) {
    const uint64_t lookBackFrames = LookBackFrames(references);
    const auto onMatch = [this](const DetectorMatch& match) { NoteMatch(match); };
    SessionSource source = makeSource_
                               ? makeSource_(std::move(references), onMatch, MakeNotes())
                               : MakeNetworkSource(state_.Program(), networkCancellation_,
                                                   std::move(references), onMatch, MakeNotes());
    buffer_ =
        std::make_unique<CRubberBufferAudioFile>(std::move(source.file), std::move(source.stop),
                                                 state_.Program().blockBytes, SourcePatienceMs());
    if (lookBackFrames != 0) buffer_->SetLookBack(lookBackFrames);
    buffer_->SetOnEnd([this] { NoteSourceEnd(); });
    sharedBuffer_ = buffer_.get();
    Require(!state_.IsStopRequested(), kFinishedCancelledBeforeOpen);
    return *buffer_;
}

// 0: all is kept. No less than what lies between a start, with its pre-roll, and the moment
// in which it is reported.
uint64_t SessionWorker::LookBackFrames(const std::vector<ReferenceFingerprint>& references) const {
    const PreparedAdditions& additions = state_.Program().additions;
    if (!additions.lookBackMs || additions.startNow) return 0;
    uint64_t longestStart = 0;
    for (size_t i = 0; i < references.size(); ++i) {
        if (state_.Program().references[i].role != ReferenceRole::kStart) continue;
        longestStart = std::max(longestStart, 2 * references[i].sampleCount);
    }
    const uint64_t needed =
        longestStart + kDetectionReachFrames + FramesOfMs(additions.preRollMs.value_or(0));
    return std::max(FramesOfMs(*additions.lookBackMs), needed);
}

void SessionWorker::NoteMatch(const DetectorMatch& match) {
    state_.NoteMatch(match);
    const ReferenceRole role = state_.Program().references.at(match.referenceIndex).role;
    // Before the buffer takes what the source has just read: nothing of the start is lost.
    if (role == ReferenceRole::kStart) buffer_->SetLookBack(std::nullopt);
}

SourceNotes SessionWorker::MakeNotes() {
    const PreparedAdditions& additions = state_.Program().additions;
    SourceNotes notes;
    notes.onResumed = [this](const SourceResumption& it) { state_.NoteResumption(it); };
    if (additions.reportsCause) {
        notes.onFailure = [this](const SourceFailure& it) { state_.NoteFailure(it); };
    }
    if (additions.reportsDamage) {
        notes.onDamage = [this](const SourceDamage& it) { state_.NoteDamage(it); };
    }
    if (additions.reportsTitles) {
        notes.onTitle = [this](const SourceTitle& it) { state_.NoteTitle(it); };
    }
    if (additions.reportsStation) {
        notes.onStation = [this](const SourceStation& it) { state_.NoteStation(it); };
    }
    return notes;
}

uint32_t SessionWorker::SourcePatienceMs() const {
    const uint32_t reconnectMs = state_.Program().additions.reconnectMs;
    const uint32_t ioTimeoutMs = state_.Program().ioTimeoutMs;
    return reconnectMs == 0 ? ioTimeoutMs : ioTimeoutMs + reconnectMs + kReconnectMarginMs;
}

// The poll first: who waits for the start leaves it the time to tell of a failed source.
void SessionWorker::NoteSourceEnd() {
    if (onSourceEnd_) onSourceEnd_();
    state_.NoteSourceEnd(buffer_->GetStats().error != 0);
}

uint64_t SessionWorker::WaitForStart() {
    if (state_.Program().additions.startNow) return 0;
    const auto start = state_.WaitForStart();
    if (start) return *start;
    Require(!state_.IsStoppedOrFailing(), kFinishedStoppedDetecting);
    throw std::runtime_error(kFinishedStartNotFound);
}

uint64_t SessionWorker::Position(CRubberBufferAudioFile& buffer, uint64_t startSample) const {
    Require(buffer.WaitForSample(startSample, SourcePatienceMs()), kFinishedPcmUnavailable);
    const uint64_t preRoll = FramesOfMs(state_.Program().additions.preRollMs.value_or(0));
    const uint64_t oldest = buffer.GetStats().firstSample;
    const uint64_t servedSample = std::max(startSample - std::min(startSample, preRoll), oldest);
    Require(buffer.SeekToSample(servedSample), kFinishedSeek);
    buffer.SetReleaseConsumed(true);
    return servedSample;
}

SessionStatus::Outcome SessionWorker::Serve(CRubberBufferAudioFile& buffer, CPcmPipe& endpoint,
                                            uint64_t servedSample) {
    std::optional<CReceiverProgramAudioFile> programView;
    if (state_.HasProgramBounds()) {
        programView.emplace(buffer, servedSample, [&state = state_, &buffer] {
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
    SessionStatus::Outcome outcome{
        .reason = SessionStatus::Reason::kError,
        .message = kFinishedAudioPrefix + std::to_string(endpoint.LastError()) + ")"};
    if (stats.error == 0) outcome.cause = AudioPipeCause("the reader of the audio went away");
    return outcome;
}

}  // namespace receiver
