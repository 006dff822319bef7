// Turns mono audio into fingerprint words on several threads: pieces go in in their order
// and come out in their order. The words are those of one fingerprinter that is fed all of
// it, since a word depends on its own frame and on the one before, which each piece has, too.
//
//   Units    mono samples at the analysis rate.
//   Threads  one that submits and takes; the workers are the object's own.
//   Lock     mutex_ guards the pieces; it is held while nothing is computed.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <thread>
#include <vector>

#include "platform/thread_safety.h"

namespace receiver {

// The audio of some frames that follow each other, and of the frame before them unless they
// begin the stream.
struct WordPiece {
    std::vector<int16_t> samples;
    std::vector<uint64_t> frameStarts;  // within `samples`; each frame lies in it as a whole
    bool beginsStream = false;          // otherwise the first frame is that before
};

class WordFactory final {
public:
    // At least 1. Throws std::system_error when not even one thread can be had.
    explicit WordFactory(unsigned threads);
    ~WordFactory();  // drops what was not taken
    WordFactory(const WordFactory&) = delete;
    WordFactory& operator=(const WordFactory&) = delete;

    void Submit(WordPiece piece) EXCLUDES(mutex_);
    size_t PiecesInside() const EXCLUDES(mutex_);  // submitted and not yet taken
    // The words of the oldest piece inside, of which there is one; waits for them.
    std::vector<uint32_t> Take() EXCLUDES(mutex_);

private:
    struct Job {
        WordPiece piece;
        std::vector<uint32_t> words;
        bool started = false;
        bool done = false;
    };

    void Work() EXCLUDES(mutex_);
    Job* NextJob() EXCLUDES(mutex_);  // null once there will be none

    mutable Mutex mutex_;
    std::condition_variable changed_;
    std::deque<Job> jobs_ GUARDED_BY(mutex_);  // the oldest first; their places stay
    bool stopping_ GUARDED_BY(mutex_) = false;
    std::vector<std::thread> workers_;
};

}  // namespace receiver
