#include "receiver_record/display/text_queue.h"

#include <utility>

#include "platform/thread_name.h"

namespace receiver {

TextQueue::TextQueue(std::unique_ptr<OutputStream> output, Settings settings)
    : output_(std::move(output)), settings_(std::move(settings)), writer_([this] { Run(); }) {}

TextQueue::~TextQueue() {
    const SteadyTime deadline = DeadlineIn(settings_.flushMs);
    {
        MutexLock lock(mutex_);
        if (dropped_ > 0) Append(settings_.note(std::exchange(dropped_, 0)));
        isClosing_ = true;
        changed_.notify_all();
        while (!queue_.empty() && !isBroken_) {
            if (!lock.WaitUntil(changed_, deadline)) break;
        }
    }
    output_->Stop();
    writer_.join();
}

bool TextQueue::Write(std::string text) {
    const MutexLock lock(mutex_);
    if (isBroken_) return true;
    std::string note = dropped_ > 0 ? settings_.note(dropped_) : "";
    if (!HasRoom(note.size() + text.size())) {
        ++dropped_;
        return false;
    }
    dropped_ = 0;
    if (!note.empty()) Append(std::move(note));
    Append(std::move(text));
    return true;
}

bool TextQueue::IsBehind() {
    const MutexLock lock(mutex_);
    return !queue_.empty() && !isBroken_;
}

bool TextQueue::HasRoom(size_t bytes) const {
    return queue_.empty() || queuedBytes_ + bytes <= settings_.maxBytes;
}

void TextQueue::Append(std::string text) {
    queuedBytes_ += text.size();
    queue_.push_back(std::move(text));
    changed_.notify_all();
}

void TextQueue::Run() {
    SetCurrentThreadName(settings_.threadName.c_str());
    MutexLock lock(mutex_);
    while (!isBroken_) {
        while (queue_.empty()) {
            if (isClosing_) return;
            lock.Wait(changed_);
        }
        const std::string& text = queue_.front();  // stays where it is: only we take it away
        lock.Unlock();
        const bool isWritten = output_->Write(text.data(), text.size());
        lock.Lock();
        queuedBytes_ -= queue_.front().size();
        queue_.pop_front();
        isBroken_ = !isWritten;
        changed_.notify_all();
    }
}

}  // namespace receiver
