#include "receiver_record/output/audio_intake.h"

#include <chrono>
#include <exception>
#include <utility>

#include "platform/thread_name.h"

namespace receiver {
namespace {

using std::chrono::milliseconds;

constexpr unsigned kMaxHoldMs = 600;  // the receiver waits for a second
constexpr size_t kReadBytes = 8192;   // what a receiver sends at once
// How far the output may fall behind the pipe before the recording is given up.
constexpr size_t kMaxQueueSeconds = 600;

}  // namespace

AudioIntake::AudioIntake(Source source, const OutputFormat& format, RecordingTags tags,
                         RecordingSink& sink, CutPlan plan)
    : source_(std::move(source)),
      outputFormat_(format),
      tags_(std::move(tags)),
      sink_(sink),
      plan_(std::move(plan)),
      audio_(source_.mayContinue, [this] { AwaitAcknowledgement(); }),
      thread_([this] { Run(); }) {}

AudioIntake::~AudioIntake() {
    Stop();
    WaitForEnd();
}

void AudioIntake::Stop() {
    audio_.Stop();
    MutexLock lock(mutex_);
    changed_.notify_all();
}

bool AudioIntake::Ended() {
    MutexLock lock(mutex_);
    return progress_.end != AudioEnd::kRunning;
}

void AudioIntake::WaitForEnd() {
    if (thread_.joinable()) thread_.join();
}

bool AudioIntake::WaitForEnd(milliseconds timeout) {
    const SteadyTime deadline = DeadlineIn(static_cast<unsigned long long>(timeout.count()));
    MutexLock lock(mutex_);
    while (progress_.end == AudioEnd::kRunning) {
        if (!lock.WaitUntil(changed_, deadline)) break;
    }
    return progress_.end != AudioEnd::kRunning;
}

std::shared_ptr<RecordingWriter> AudioIntake::Writer() {
    MutexLock lock(mutex_);
    return writer_;
}

std::shared_ptr<ProgramCutter> AudioIntake::Cutter() {
    MutexLock lock(mutex_);
    return cutter_;
}

void AudioIntake::Tell(const std::vector<Match>& matches) {
    if (const auto cutter = Cutter()) cutter->Tell(matches);
}

void AudioIntake::Settle(uint64_t frames) {
    if (const auto cutter = Cutter()) cutter->Settle(frames);
}

CutState AudioIntake::Cut() {
    const auto cutter = Cutter();
    return cutter != nullptr ? cutter->State() : CutState{};
}

void AudioIntake::FinishCut() {
    const auto cutter = Cutter();
    if (cutter == nullptr) return;
    std::optional<ProgramEndReason> sourceEnd;
    const AudioEnd end = GetProgress().end;
    if (end == AudioEnd::kComplete) sourceEnd = ProgramEndReason::kSourceEnded;
    if (end == AudioEnd::kSourceFailed) sourceEnd = ProgramEndReason::kInterrupted;
    cutter->Finish(sourceEnd);
    const std::string failure = cutter->State().failure;
    if (failure.empty()) return;
    MutexLock lock(mutex_);
    progress_.end = AudioEnd::kOutputFailed;
    progress_.failure = failure;
}

void AudioIntake::AskToFinish() {
    if (const auto writer = Writer()) writer->AskToFinish();
}

bool AudioIntake::WaitForOutput(milliseconds timeout) {
    const std::shared_ptr<RecordingWriter> writer = Writer();
    return writer == nullptr || writer->WaitForOutput(timeout);
}

void AudioIntake::Finish() {
    FinishCut();
    const std::shared_ptr<RecordingWriter> writer = Writer();
    if (writer == nullptr) return;
    const bool playable = writer->Finish();
    const std::string failure = writer->GetProgress().failure;
    MutexLock lock(mutex_);
    progress_.playable = playable;
    if (failure.empty()) return;
    progress_.end = AudioEnd::kOutputFailed;
    progress_.failure = failure;
}

AudioProgress AudioIntake::GetProgress() {
    MutexLock lock(mutex_);
    AudioProgress progress = progress_;
    if (writer_ != nullptr) {
        const RecordingWriter::Progress written = writer_->GetProgress();
        progress.framesWritten = written.framesWritten;
    }
    if (cutter_ != nullptr) {
        const CutState cut = cutter_->State();
        progress.framesReceived = cut.framesReceived;
        progress.framesQueued = cut.framesFound;
    }
    return progress;
}

double AudioIntake::TakePeak() {
    MutexLock lock(mutex_);
    return cutter_ != nullptr ? cutter_->TakePeak() : 0;
}

void AudioIntake::Run() {
    SetCurrentThreadName("record-reader");
    if (!audio_.Open(source_.uri)) {
        End(AudioEnd::kLost, audio_.Failure());
        return;
    }
    const PcmFormat format = audio_.Format();
    try {
        const size_t queueBytes = kMaxQueueSeconds * format.sampleRate * format.FrameBytes();
        const auto writer =
            std::make_shared<RecordingWriter>(outputFormat_, format, tags_, sink_, queueBytes);
        const auto cutter = std::make_shared<ProgramCutter>(
            plan_, format, [writer](std::span<const std::byte> pcm) { return writer->Append(pcm); },
            queueBytes);
        {
            MutexLock lock(mutex_);
            progress_.format = format;
            writer_ = writer;
            cutter_ = cutter;
        }
        const AudioEnd end = Receive(*cutter);
        End(end, end == AudioEnd::kLost ? audio_.Failure() : "");
    } catch (const std::exception& e) {
        End(AudioEnd::kOutputFailed, e.what());
    }
}

void AudioIntake::HoldAcknowledgement(bool isHeld) {
    MutexLock lock(mutex_);
    isHeld_ = isHeld;
    changed_.notify_all();
}

void AudioIntake::AwaitAcknowledgement() {
    const SteadyTime deadline = DeadlineIn(kMaxHoldMs);
    MutexLock lock(mutex_);
    while (isHeld_ && !audio_.IsStopped()) {
        if (!lock.WaitUntil(changed_, deadline)) break;
    }
}

// What comes after the programme is read all the same: the session is told to end meanwhile.
AudioEnd AudioIntake::Receive(ProgramCutter& cutter) {
    std::vector<std::byte> buffer(kReadBytes);
    while (const size_t bytes = audio_.Read(buffer)) {
        if (!cutter.Append({buffer.data(), bytes})) return AudioEnd::kOutputFailed;
    }
    return audio_.Ending();
}

void AudioIntake::End(AudioEnd end, const std::string& why) {
    MutexLock lock(mutex_);
    progress_.failure = why;
    progress_.end = end;
    changed_.notify_all();
}

}  // namespace receiver
