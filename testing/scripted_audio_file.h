// An audio file whose data come when the test says so, with one switch for each fault.
//
//   Threads  the CAudioFile side on the one thread that reads it; everything else on the
//            test's, which can wait until the reader is blocked in Read.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "audio/audio_file.h"
#include "platform/thread_safety.h"
#include "testing/audio_generator.h"

namespace receiver {

// How long a wait may take that should succeed at once.
inline constexpr uint32_t kTestDeadlineMs = 10000;

struct ScriptedFaults {
    bool openFails = false;
    bool formatMissing = false;   // GetFormat fails though the file is open
    bool oddPartialRead = false;  // the next data Read gives one byte less than it should
    bool readThrows = false;
    bool readThrowsBadAlloc = false;
    bool oversizeResult = false;  // Read claims one frame more than was asked for
};

class ScriptedAudioFile final : public CAudioFile {
public:
    explicit ScriptedAudioFile(int channels = 2, int rate = 44100, int bits = 16);
    // Plays `pcm` and ends.
    explicit ScriptedAudioFile(const TestPcm& pcm);

    // Set before the reader can see it.
    ScriptedFaults faults;
    WAVEFORMATEX record;
    uint32_t mostBytesPerRead = 0xFFFFFFFF;

    void Hold() EXCLUDES(mutex_);  // Open waits too, until Proceed
    void Proceed() EXCLUDES(mutex_);
    // Bytes of a pattern in which every byte depends on its position in the stream.
    void Deliver(size_t bytes) EXCLUDES(mutex_);
    void Deliver(const TestPcm& pcm) EXCLUDES(mutex_);
    void End() EXCLUDES(mutex_);   // after what was delivered
    void Fail() EXCLUDES(mutex_);  // after what was delivered
    void Stop() EXCLUDES(mutex_);  // what a buffer's stopInner does: a blocked call fails

    // True once the reader has taken all there is and is blocked in Open or Read.
    bool WaitUntilBlocked(uint32_t timeoutMs = kTestDeadlineMs) EXCLUDES(mutex_);
    bool WaitUntilClosed(uint32_t timeoutMs = kTestDeadlineMs) EXCLUDES(mutex_);
    size_t ReadCalls() const EXCLUDES(mutex_);
    std::string OpenedPath() const EXCLUDES(mutex_);

    static uint8_t PatternByte(uint64_t position);

    BOOL Open(const std::string& path) override EXCLUDES(mutex_);
    BOOL Close() override EXCLUDES(mutex_);
    int32_t Read(void* buffer, uint32_t count) override EXCLUDES(mutex_);
    BOOL Seek(float) override { return 0; }
    bool IsOpen() const override { return open_ != 0; }

private:
    enum class Outcome { kNone, kEnd, kFail };

    void AppendBytes(const uint8_t* bytes, size_t count) REQUIRES(mutex_);
    int32_t TakeData(uint8_t* buffer, uint32_t count) REQUIRES(mutex_);

    mutable Mutex mutex_;
    std::condition_variable changed_;
    std::vector<uint8_t> data_ GUARDED_BY(mutex_);
    size_t taken_ GUARDED_BY(mutex_) = 0;
    Outcome outcome_ GUARDED_BY(mutex_) = Outcome::kNone;
    bool held_ GUARDED_BY(mutex_) = false;
    bool stopped_ GUARDED_BY(mutex_) = false;
    bool blocked_ GUARDED_BY(mutex_) = false;
    bool closed_ GUARDED_BY(mutex_) = false;
    size_t readCalls_ GUARDED_BY(mutex_) = 0;
    std::string openedPath_ GUARDED_BY(mutex_);
};

}  // namespace receiver
