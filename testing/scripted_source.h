// A session's source that does what the test says: when it opens, what it hears,
// how it ends. Its stereo PCM counts its own frames, so that what is served tells
// where it came from.
//
//   Threads  the test's calls from any thread; the file's on the buffer's filler.
//   Lock     mutex_ guards all state; matches are reported without it.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <utility>
#include <variant>
#include <vector>

#include "platform/thread_safety.h"
#include "session/receiver_session.h"

namespace receiver {

class ScriptedSource final {
public:
    // What the frame holds: its number's low and high half.
    static int16_t Left(uint64_t frame) { return static_cast<int16_t>(frame & 0xFFFF); }
    static int16_t Right(uint64_t frame) { return static_cast<int16_t>(frame >> 16); }

    // The object outlives the sessions that use it, one at a time.
    ReceiverSession::SourceFactory Factory();

    void HoldOpen() EXCLUDES(mutex_);  // before Start; until LetOpen or a stop
    void LetOpen() EXCLUDES(mutex_);
    void RefuseOpen() EXCLUDES(mutex_);
    void MatchWhileOpening(const DetectorMatch& match) EXCLUDES(mutex_);

    // The stream's next parts, in order.
    void Deliver(uint64_t frames) EXCLUDES(mutex_) { Push(Frames{frames}); }
    void Match(const DetectorMatch& match) EXCLUDES(mutex_) { Push(match); }
    // What the source tells besides, in its place in the stream.
    void Note(std::function<void(const SourceNotes&)> note) EXCLUDES(mutex_) {
        Push(std::move(note));
    }
    void NoteWhileOpening(std::function<void(const SourceNotes&)> note) EXCLUDES(mutex_);
    void End() EXCLUDES(mutex_) { Push(Last{0}); }
    void Fail() EXCLUDES(mutex_) { Push(Last{-1}); }

    bool WaitUntilOpening() EXCLUDES(mutex_);
    // True once the source has nothing left to do but wait for more.
    bool WaitUntilDrained() EXCLUDES(mutex_);

private:
    class File;
    struct Frames {
        uint64_t left;
    };
    struct Last {
        int32_t result;
    };
    using Notice = std::function<void(const SourceNotes&)>;
    using Part = std::variant<Frames, DetectorMatch, Notice, Last>;
    struct Listeners {
        std::function<void(const DetectorMatch&)> onMatch;
        SourceNotes notes;
    };

    void Push(Part part) EXCLUDES(mutex_);
    void Stop() EXCLUDES(mutex_);
    BOOL Open(const Listeners& listeners) EXCLUDES(mutex_);
    int32_t Read(void* buffer, uint32_t count, const Listeners& listeners) EXCLUDES(mutex_);

    Mutex mutex_;
    std::condition_variable changed_;
    std::deque<Part> parts_ GUARDED_BY(mutex_);
    std::vector<DetectorMatch> openingMatches_ GUARDED_BY(mutex_);
    std::vector<Notice> openingNotes_ GUARDED_BY(mutex_);
    bool holdsOpen_ GUARDED_BY(mutex_) = false;
    bool refusesOpen_ GUARDED_BY(mutex_) = false;
    bool opening_ GUARDED_BY(mutex_) = false;
    bool waiting_ GUARDED_BY(mutex_) = false;
    bool stopped_ GUARDED_BY(mutex_) = false;
    uint64_t nextFrame_ GUARDED_BY(mutex_) = 0;
};

}  // namespace receiver
