#include "audio/abandoned_threads.h"

#include <algorithm>
#include <utility>

namespace receiver {

// A thread that could not be added for want of memory would end the process.
AbandonedThreads::AbandonedThreads() {
    entries_.reserve(kMaxThreads);
}

AbandonedThreads& AbandonedThreads::Instance() {
    static AbandonedThreads* const threads = std::make_unique<AbandonedThreads>().release();
    return *threads;
}

bool AbandonedThreads::HasRoom() {
    MutexLock lock(mutex_);
    const auto running = std::partition(entries_.begin(), entries_.end(),
                                        [](const Entry& entry) { return entry.ended->load(); });
    for (auto entry = entries_.begin(); entry != running; ++entry) entry->thread.join();
    entries_.erase(entries_.begin(), running);
    return entries_.size() < kMaxThreads;
}

void AbandonedThreads::Add(std::thread thread, std::shared_ptr<const std::atomic<bool>> ended) {
    MutexLock lock(mutex_);
    entries_.push_back({std::move(thread), std::move(ended)});
}

}  // namespace receiver
