#include "receiver_scan/source/word_factory.h"

#include <system_error>
#include <utility>

#include "detect/audio_fingerprinter.h"
#include "platform/thread_name.h"

namespace receiver {
namespace {

std::vector<uint32_t> WordsOf(CAudioFingerprinter& fingerprinter, const WordPiece& piece) {
    fingerprinter.SetUp(kAnalysisRate, kFrameSeconds, kHopSeconds);
    std::vector<uint32_t> words;
    words.reserve(piece.frameStarts.size());
    for (const uint64_t start : piece.frameStarts) {
        words.push_back(fingerprinter.ComputeWord(piece.samples.data() + start));
    }
    if (!piece.beginsStream && !words.empty()) words.erase(words.begin());
    return words;
}

}  // namespace

WordFactory::WordFactory(unsigned threads) {
    try {
        while (workers_.size() < threads) workers_.emplace_back([this] { Work(); });
    } catch (const std::system_error&) {
        if (workers_.empty()) throw;  // with fewer it takes longer
    }
}

WordFactory::~WordFactory() {
    {
        MutexLock lock(mutex_);
        stopping_ = true;
        changed_.notify_all();
    }
    for (std::thread& worker : workers_) worker.join();
}

void WordFactory::Submit(WordPiece piece) {
    MutexLock lock(mutex_);
    jobs_.emplace_back().piece = std::move(piece);
    changed_.notify_all();
}

size_t WordFactory::PiecesInside() const {
    MutexLock lock(mutex_);
    return jobs_.size();
}

std::vector<uint32_t> WordFactory::Take() {
    MutexLock lock(mutex_);
    while (!jobs_.front().done) lock.Wait(changed_);
    std::vector<uint32_t> words = std::move(jobs_.front().words);
    jobs_.pop_front();
    return words;
}

WordFactory::Job* WordFactory::NextJob() {
    MutexLock lock(mutex_);
    while (!stopping_) {
        for (Job& job : jobs_) {
            if (job.started) continue;
            job.started = true;
            return &job;
        }
        lock.Wait(changed_);
    }
    return nullptr;
}

void WordFactory::Work() {
    SetCurrentThreadName("scan-words");
    CAudioFingerprinter fingerprinter;
    while (Job* job = NextJob()) {
        // Nobody else touches a job that was started until it is done.
        std::vector<uint32_t> words = WordsOf(fingerprinter, job->piece);
        MutexLock lock(mutex_);
        job->words = std::move(words);
        job->piece = {};
        job->done = true;
        changed_.notify_all();
    }
}

}  // namespace receiver
