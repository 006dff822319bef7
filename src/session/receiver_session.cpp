#include "session/receiver_session.h"

#include <algorithm>
#include <utility>

#include "session/session_worker.h"

namespace receiver {

using nlohmann::json;

ReceiverSession::ReceiverSession(PreparedProgram program, std::string audioUri, EventSink postEvent,
                                 SourceFactory makeSource)
    : program_(std::move(program)),
      audioUri_(std::move(audioUri)),
      postEvent_(std::move(postEvent)),
      makeSource_(std::move(makeSource)),
      networkCancellation_(std::make_shared<CFFmpegNetworkCancellation>()),
      pipeCancellation_(std::make_shared<CPcmPipeCancellation>()),
      snapshot_{
          {"sessionId", program_.sessionId}, {"state", "PREPARING"}, {"matches", json::array()}} {}

ReceiverSession::~ReceiverSession() {
    RequestStop();
    Join();
    // The filler outlives a program that ended before its source, and reports matches
    // into the members below: it has to end before the first of them goes.
    if (const auto buffer = Buffer()) buffer->Close();
}

void ReceiverSession::Start() {
    worker_ = std::thread([this] { SessionWorker(*this).Run(); });
}

void ReceiverSession::Join() {
    if (worker_.joinable()) worker_.join();
}

void ReceiverSession::RequestStop() {
    std::shared_ptr<CRubberBufferAudioFile> buffer;
    {
        MutexLock lock(mutex_);
        if (finished_) return;
        stopRequested_ = true;
        snapshot_["state"] = "CANCELLING";
        snapshot_["canDrain"] = false;
        snapshot_.erase("uri");
        buffer = buffer_;
        wakeUp_.notify_all();
    }
    CancelChain(buffer.get());
}

void ReceiverSession::CancelChain(CRubberBufferAudioFile* buffer) {
    networkCancellation_->Cancel();
    pipeCancellation_->Cancel();
    if (buffer) buffer->RequestStop();
}

bool ReceiverSession::IgnoresSource() const {
    return finished_ || stopRequested_ || sourceErrorStopping_ || sourceErrorNoted_;
}

void ReceiverSession::PollSource() {
    std::shared_ptr<CRubberBufferAudioFile> buffer;
    {
        MutexLock lock(mutex_);
        if (IgnoresSource()) return;
        buffer = buffer_;
    }
    if (!buffer) return;
    const auto stats = buffer->GetStats();
    {
        MutexLock lock(mutex_);
        if (IgnoresSource() || !sourceOpened_ || stats.error == 0) return;
        const json& state = snapshot_["state"];
        const bool canDrain = state == "READY" || state == "OPENED";
        snapshot_["sourceError"] = stats.error;
        snapshot_["canDrain"] = canDrain;
        snapshot_["sourceEndSample"] = stats.nextSample;
        if (canDrain) {
            sourceErrorNoted_ = true;
        } else {
            sourceErrorStopping_ = true;
            snapshot_["state"] = "STOPPING";
            snapshot_.erase("uri");
        }
        EmitEvent("SOURCE_ERROR", {{"error", stats.error},
                                   {"buffer", MakeStatisticsObject(stats)},
                                   {"canDrain", canDrain},
                                   {"sourceEndSample", stats.nextSample}});
        wakeUp_.notify_all();
        if (canDrain) return;
    }
    CancelChain(buffer.get());
}

json ReceiverSession::Snapshot() const {
    json copy;
    std::shared_ptr<CRubberBufferAudioFile> buffer;
    {
        MutexLock lock(mutex_);
        copy = snapshot_;
        copy["sequence"] = sequence_;
        buffer = buffer_;
    }
    if (buffer) copy["buffer"] = MakeStatisticsObject(buffer->GetStats());
    return copy;
}

std::shared_ptr<CRubberBufferAudioFile> ReceiverSession::Buffer() const {
    MutexLock lock(mutex_);
    return buffer_;
}

void ReceiverSession::EmitEvent(const char* type, json body) {
    const std::string_view name = type;
    const bool passesStop = name == "FINISHED";
    if (stopRequested_ && !passesStop) return;
    if (sourceErrorStopping_ && !passesStop && name != "SOURCE_ERROR") return;
    body["version"] = 1;
    body["type"] = type;
    body["sessionId"] = program_.sessionId;
    body["sequence"] = ++sequence_;
    postEvent_(std::move(body));
}

void ReceiverSession::Finish(const char* reason, const std::string& message) {
    const auto buffer = Buffer();
    const json statistics = buffer ? MakeStatisticsObject(buffer->GetStats()) : json();
    MutexLock lock(mutex_);
    snapshot_["state"] = "FINISHED";
    snapshot_["canDrain"] = false;
    snapshot_["reason"] = stopRequested_ ? "cancelled" : sourceErrorStopping_ ? "error" : reason;
    snapshot_["message"] = message;
    snapshot_.erase("uri");
    if (buffer) snapshot_["buffer"] = statistics;
    EmitEvent("FINISHED", snapshot_);
    finished_ = true;
}

void ReceiverSession::OnMatch(const DetectorMatch& match) {
    MutexLock lock(mutex_);
    // The source goes on after the program's end, but nothing may follow FINISHED.
    if (finished_ || IsStoppedOrFailing()) return;
    json object = MakeMatchObject(program_.references.at(match.referenceIndex), match);
    detections_.push_back(match);
    snapshot_["matches"].push_back(object);
    if (sourceOpened_) EmitEvent("DETECTED", std::move(object));
    RecomputeProgramEnd();
    wakeUp_.notify_all();
}

std::optional<uint64_t> ReceiverSession::StartSample() const {
    for (const DetectorMatch& match : detections_) {
        if (program_.references[match.referenceIndex].role == "start") return match.sample;
    }
    return std::nullopt;
}

void ReceiverSession::OnAudioOpen() {
    MutexLock lock(mutex_);
    if (stopRequested_) return;
    snapshot_["state"] = "OPENED";
    snapshot_.erase("uri");
}

ReceiverProgramBoundary ReceiverSession::OnProgramBoundary() {
    const auto stats = Buffer()->GetStats();
    MutexLock lock(mutex_);
    if (stats.finished && stats.nextSample < forcedEnd_) {
        forcedEnd_ = stats.nextSample;
        forcedReason_ = stats.error != 0 ? "interrupted" : "source_ended";
        RecomputeProgramEnd();
    }
    return {static_cast<uint64_t>(announcedProgramEnd_),
            snapshot_.at("program").at("fadeFrames").get<uint64_t>()};
}

ProgramEnd ReceiverSession::ComputeProgramEnd() const {
    const auto framesOf = [](uint64_t ms) { return ms * kStreamSampleRate / 1000; };
    const uint64_t start = programStartSample_;
    ProgramEnd end{start, start + framesOf(program_.maximumMs), 0, "maximum"};
    for (const DetectorMatch& match : detections_) {
        if (program_.references[match.referenceIndex].role != "end" || match.sample < start) {
            continue;
        }
        const uint64_t candidate = match.sample + referenceLengths_.at(match.referenceIndex);
        if (candidate < end.endSample) {
            end.endSample = candidate;
            end.reason = "outro";
        }
    }
    if (forcedEnd_ < end.endSample) {
        end.endSample = forcedEnd_;
        end.reason = forcedReason_.c_str();
    }
    if (end.reason != std::string_view("outro")) {
        const uint64_t length = end.endSample > start ? end.endSample - start : 0;
        end.fadeFrames = std::min(framesOf(program_.fadeMs), length);
    }
    return end;
}

void ReceiverSession::RecomputeProgramEnd() {
    if (!programActive_) return;
    const ProgramEnd end = ComputeProgramEnd();
    const auto endSample = static_cast<int64_t>(end.endSample);
    if (endSample == announcedProgramEnd_ && end.reason == announcedEndReason_) return;
    announcedProgramEnd_ = endSample;
    announcedEndReason_ = end.reason;
    snapshot_["program"] = MakeProgramObject(end);
    EmitEvent("PROGRAM_END", {{"program", snapshot_["program"]}});
}

}  // namespace receiver
