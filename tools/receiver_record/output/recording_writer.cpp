#include "receiver_record/output/recording_writer.h"

#include <cstring>
#include <exception>
#include <utility>

#include "platform/thread_name.h"

namespace receiver {

RecordingWriter::RecordingWriter(const OutputFormat& format, const PcmFormat& pcm,
                                 RecordingTags tags, RecordingSink& sink, size_t maxQueueBytes)
    : format_(format),
      pcm_(pcm),
      tags_(std::move(tags)),
      sink_(sink),
      maximumQueueBytes_(maxQueueBytes),
      writer_([this] { Run(); }) {}

RecordingWriter::~RecordingWriter() {
    Finish();
}

bool RecordingWriter::Append(std::span<const std::byte> pcm) {
    Block block(pcm.size() / sizeof(int16_t));
    if (!block.empty()) std::memcpy(block.data(), pcm.data(), block.size() * sizeof(int16_t));

    MutexLock lock(mutex_);
    if (!progress_.failure.empty()) return false;
    if (queuedBytes_ + pcm.size() > maximumQueueBytes_) {
        progress_.failure = "The output has fallen too far behind";
        changed_.notify_all();
        return false;
    }
    progress_.framesQueued += pcm.size() / pcm_.FrameBytes();
    queuedBytes_ += pcm.size();
    queue_.push_back(std::move(block));
    changed_.notify_all();
    return true;
}

void RecordingWriter::AskToFinish() {
    MutexLock lock(mutex_);
    finishing_ = true;
    changed_.notify_all();
}

bool RecordingWriter::WaitForOutput(std::chrono::milliseconds timeout) {
    const SteadyTime deadline = DeadlineIn(static_cast<unsigned long long>(timeout.count()));
    MutexLock lock(mutex_);
    while (!hasEnded_) {
        if (!lock.WaitUntil(changed_, deadline)) break;
    }
    return hasEnded_;
}

bool RecordingWriter::Finish() {
    AskToFinish();
    if (writer_.joinable()) writer_.join();
    MutexLock lock(mutex_);
    return playable_;
}

RecordingWriter::Progress RecordingWriter::GetProgress() {
    MutexLock lock(mutex_);
    return progress_;
}

void RecordingWriter::Run() {
    SetCurrentThreadName("record-writer");
    try {
        AudioEncoder encoder(format_, pcm_.sampleRate, pcm_.channels, tags_, sink_);
        if (!WriteQueue(encoder)) Fail(encoder.FailureText());
        const bool playable = encoder.Finish();
        if (!encoder.FailureText().empty()) Fail(encoder.FailureText());
        MutexLock lock(mutex_);
        playable_ = playable;
    } catch (const std::exception& e) {
        Fail(e.what());
    }
    MutexLock lock(mutex_);
    hasEnded_ = true;
    changed_.notify_all();
}

// What waits when the queue has grown too long is still written.
bool RecordingWriter::WriteQueue(AudioEncoder& encoder) {
    MutexLock lock(mutex_);
    for (;;) {
        while (queue_.empty()) {
            if (finishing_ || !progress_.failure.empty()) return true;
            lock.Wait(changed_);
        }
        const Block block = std::move(queue_.front());
        queue_.pop_front();
        lock.Unlock();
        const size_t frames = block.size() / pcm_.channels;
        const bool written = encoder.Write(block.data(), frames);
        lock.Lock();
        if (!written) return false;
        queuedBytes_ -= block.size() * sizeof(int16_t);
        progress_.framesWritten += frames;
    }
}

void RecordingWriter::Fail(const std::string& why) {
    MutexLock lock(mutex_);
    if (progress_.failure.empty()) progress_.failure = why;
}

}  // namespace receiver
