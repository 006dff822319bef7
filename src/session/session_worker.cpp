#include "session/session_worker.h"

#include <exception>
#include <stdexcept>
#include <utility>

#include "audio/ffmpeg_network_audio_file.h"
#include "audio/pcm_stream.h"
#include "detect/detector_audio_file.h"
#include "platform/text.h"
#include "platform/thread_name.h"
#include "wire/pcm1_record.h"

namespace receiver {

using nlohmann::json;

namespace {

constexpr double kBerThreshold = 0.14;
constexpr uint32_t kDetectionWaitMs = 20;
constexpr uint32_t kFramesPerChunk = 441;  // 10 ms
constexpr uint32_t kAudioIoTimeoutMs = 1000;
constexpr uint32_t kNoConnectTimeoutMs = 0xFFFFFFFE;  // the longest wait there is

void Require(bool holds, const char* text) {
    if (!holds) throw std::runtime_error(text);
}

}  // namespace

void SessionWorker::Run() noexcept {
    SetCurrentThreadName("session");
    try {
        RunSteps();
    } catch (const std::exception& error) {
        message_ = ReplaceIllFormedUtf8(error.what());
    } catch (...) {
        message_ = "MFC exception in receiver session";
    }
    ReleaseChain();
    try {
        session_.Finish(reason_, message_);
    } catch (...) {
        // FINISHED could not be queued; the host must still be able to let go of the session.
        session_.finished_ = true;
    }
}

void SessionWorker::RunSteps() {
    LoadReferences();
    BuildChain();
    OpenSource();
    AnnounceConnected();
    const uint64_t startSample = WaitForStart();
    Position(startSample);
    AnnounceReady(startSample);
    Serve(startSample);
}

void SessionWorker::LoadReferences() {
    for (const PreparedReference& reference : session_.program_.references) {
        Require(!session_.stopRequested_, "Cancelled during reference loading");
        references_.push_back(
            LoadReference(reference.path, [this] { return session_.stopRequested_.load(); }));
        MutexLock lock(session_.mutex_);
        // Counted at the analysis rate, which is half the stream's.
        session_.referenceLengths_.push_back(2 * references_.back().sampleCount);
    }
}

SessionSource SessionWorker::MakeNetworkSource(
    std::vector<ReferenceFingerprint>&& references,
    const std::function<void(const DetectorMatch&)>& onMatch) const {
    const auto cancellation = session_.networkCancellation_;
    auto network =
        std::make_unique<CFFmpegNetworkAudioFile>(cancellation, session_.program_.ioTimeoutMs);
    network->SetOutputSampleRate(kStreamSampleRate);
    network->SetOutputBitsPerSample(16);
    auto detector = std::make_unique<CDetectorAudioFile>(std::move(network), std::move(references),
                                                         onMatch, kBerThreshold);
    return {std::move(detector), [cancellation] { cancellation->Cancel(); }};
}

void SessionWorker::BuildChain() {
    // Bound to the session: the filler goes on reporting when the worker is gone.
    const auto onMatch = [&session = session_](const DetectorMatch& match) {
        session.OnMatch(match);
    };
    SessionSource source = session_.makeSource_
                               ? session_.makeSource_(std::move(references_), onMatch)
                               : MakeNetworkSource(std::move(references_), onMatch);
    buffer_ = std::make_shared<CRubberBufferAudioFile>(
        std::move(source.file), std::move(source.stop), session_.program_.blockBytes,
        session_.program_.ioTimeoutMs);
    MutexLock lock(session_.mutex_);
    session_.buffer_ = buffer_;
    Require(!session_.stopRequested_, "Cancelled before source Open");
}

void SessionWorker::OpenSource() {
    Require(buffer_->Open(session_.program_.url) != 0, "Network source Open failed");
}

void SessionWorker::AnnounceConnected() {
    MutexLock lock(session_.mutex_);
    Require(!session_.stopRequested_, "Cancelled during source Open");
    session_.sourceOpened_ = true;
    session_.snapshot_["state"] = "SCANNING";
    session_.EmitEvent("CONNECTED", json::object());
    for (const json& match : session_.snapshot_["matches"]) {
        session_.EmitEvent("DETECTED", match);
    }
}

uint64_t SessionWorker::WaitForStart() {
    while (true) {
        // Asked before the matches are looked at: the source reports its last match before it
        // is finished, so none can be overlooked.
        const bool ended = buffer_->GetStats().finished;
        MutexLock lock(session_.mutex_);
        Require(!session_.IsStoppedOrFailing(), "Session stopped during detection");
        if (const auto start = session_.StartSample()) return *start;
        Require(!ended, "Start reference not found before source ended or failed");
        lock.WaitUntil(session_.wakeUp_, DeadlineIn(kDetectionWaitMs));
    }
}

void SessionWorker::Position(uint64_t startSample) {
    Require(buffer_->WaitForSample(startSample, session_.program_.ioTimeoutMs),
            "Detected PCM is unavailable");
    Require(buffer_->SeekToSample(startSample), "Local sample Seek failed");
    buffer_->SetReleaseConsumed(true);
}

void SessionWorker::AnnounceReady(uint64_t startSample) {
    endpoint_ = std::make_unique<CPcmPipe>(session_.pipeCancellation_);
    Require(endpoint_->Listen(session_.audioUri_), "Audio endpoint Listen failed");
    MutexLock lock(session_.mutex_);
    Require(!session_.IsStoppedOrFailing(), "Session stopped before READY");
    session_.snapshot_["state"] = "READY";
    session_.snapshot_["uri"] = session_.audioUri_;
    session_.snapshot_["sourceSample"] = startSample;
    if (session_.program_.maximumMs != 0) {
        session_.programActive_ = true;
        session_.programStartSample_ = startSample;
        session_.RecomputeProgramEnd();
    }
    session_.EmitEvent("READY", {{"uri", session_.audioUri_}, {"sourceSample", startSample}});
}

void SessionWorker::Serve(uint64_t startSample) {
    if (session_.program_.maximumMs != 0) {
        programView_ = std::make_unique<CReceiverProgramAudioFile>(
            *buffer_, startSample, [this] { return session_.OnProgramBoundary(); });
    }
    CAudioFile& source = programView_ ? static_cast<CAudioFile&>(*programView_) : *buffer_;
    const PcmStreamOptions options{.lengthFrames = kPcm1LengthUnknown,
                                   .framesPerChunk = kFramesPerChunk,
                                   .pacingMs = 0,
                                   .ioTimeoutMs = kAudioIoTimeoutMs,
                                   .connectTimeoutMs = kNoConnectTimeoutMs};
    const bool delivered =
        ServePcmStream(*endpoint_, source, options, [this] { session_.OnAudioOpen(); });
    const auto stats = buffer_->GetStats();
    if (delivered && (programView_ || (stats.finished && stats.error == 0))) {
        reason_ = "eof";
    } else {
        message_ = "Audio connection or source ended with an error (pipe=" +
                   std::to_string(endpoint_->LastError()) + ")";
    }
}

void SessionWorker::ReleaseChain() {
    programView_.reset();
    endpoint_.reset();
    // The session keeps its share, so that FINISHED can tell what the buffer held.
    buffer_.reset();
    references_.clear();
}

}  // namespace receiver
