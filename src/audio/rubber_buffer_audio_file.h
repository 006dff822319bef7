// The elastic store between a live source and the reader that follows it: a
// filler thread takes PCM from the inner file as it arrives, the reader comes
// later, at its own pace, and may move anywhere within what is still held.
//
//   Units    "sample" counts sample frames, "byte" bytes; both are uint64_t and
//            start at the first frame of the stream. Times are ms.
//   Threads  the filler (owned; joined by Close) appends. One consumer thread
//            reads and seeks. RequestStop and GetStats: any thread.
//   Lock     mutex_ guards the state below it and the base's open flag and
//            format. It is a leaf: never held across inner_ or stopInner_.
//   Errors   reported by the result; Stats::error tells why (8 out of memory, which
//            a source may also have failed for, 13 position released, 30 source
//            failed, 1460 no data in time).
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "audio/audio_file.h"
#include "platform/thread_safety.h"

namespace receiver {

class CRubberBufferAudioFile final : public CAudioFile {
public:
    struct Stats {  // firstSample <= readSample <= nextSample while the position is held
        uint64_t receivedBytes = 0;
        uint64_t retainedBytes = 0;
        uint64_t peakRetainedBytes = 0;
        uint64_t readBytes = 0;
        uint64_t readSample = 0;      // where the next Read starts
        uint64_t firstSample = 0;     // oldest frame held; nextSample when none is
        uint64_t nextSample = 0;      // live edge: one past the newest frame
        uint64_t availableBytes = 0;  // from the read position to the live edge; 0 when closed
        uint32_t sampleRate = 0;
        uint32_t blockAlign = 0;
        uint64_t blocks = 0;
        uint32_t error = 0;
        bool finished = false;  // the filler ended; what is held can still be read
        uint32_t ownerThread = 0;
        uint64_t lastWriteTick = 0;  // TickMs() of the last append, or of the open
    };

    // stopInner must make a blocked inner->Read return, from any thread, however
    // often it is called. Throws std::invalid_argument "Invalid Rubberbuffer
    // configuration" unless both are present, blockBytes is 1..1048576 and
    // readTimeoutMs is not 0.
    CRubberBufferAudioFile(std::unique_ptr<CAudioFile> inner, std::function<void()> stopInner,
                           uint32_t blockBytes, uint32_t readTimeoutMs);
    ~CRubberBufferAudioFile() override;  // as Close

    // Before Open. The filler calls it last of all, when the statistics tell its end; without
    // a lock. It must not throw.
    void SetOnEnd(std::function<void()> onEnd) { onEnd_ = std::move(onEnd); }

    // Starts the filler and waits until the source is open, has failed or is
    // stopped. Once only: any later call returns 0. Throws std::system_error when
    // no thread can be started.
    BOOL Open(const std::string& path) override EXCLUDES(mutex_);
    // Throws std::system_error on the filler itself: it would join itself.
    BOOL Close() override EXCLUDES(mutex_);

    // 1..count bytes, from one block only; 0 at the regular end; -1 on error or
    // stop. At the live edge waits up to readTimeoutMs; a time-out is not final.
    int32_t Read(void* buffer, uint32_t count) override EXCLUDES(mutex_);
    BOOL Seek(float ms) override EXCLUDES(mutex_);        // to the nearest frame
    BOOL SeekToSample(uint64_t sample) EXCLUDES(mutex_);  // the live edge is a valid target
    // True once the sample is held; false on time-out, stop, end, or if it was released.
    BOOL WaitForSample(uint64_t sample, uint32_t timeoutMs) EXCLUDES(mutex_);

    void SetReleaseConsumed(bool release) EXCLUDES(mutex_);  // true also frees at once
    // While set, audio that lies more than so many frames behind the live edge is released
    // as more arrives, and the read position, if there, moves on to what is left. Any thread;
    // set from within the inner file's Read it counts for what that returns.
    void SetLookBack(std::optional<uint64_t> frames) EXCLUDES(mutex_);
    void RequestStop() EXCLUDES(mutex_);      // final; does not join
    Stats GetStats() const EXCLUDES(mutex_);  // one consistent snapshot

    BOOL GetInfo(AudioFileInfo* info) override EXCLUDES(mutex_);
    uint32_t GetFormat(const WAVEFORMATEX** format) override EXCLUDES(mutex_);
    bool IsOpen() const override EXCLUDES(mutex_);

private:
    struct Block {
        uint64_t startByte;
        std::vector<std::byte> pcm;  // whole frames
    };

    void RunFiller(const std::string& path) EXCLUDES(mutex_);      // no exception leaves it
    uint32_t Fill(const std::string& path) EXCLUDES(mutex_);       // the reason: 0, 8 or 30
    uint32_t OpenInner(const std::string& path) EXCLUDES(mutex_);  // the bytes of a frame
    uint32_t ReadInner(uint32_t blockAlign) EXCLUDES(mutex_);      // the reason of the end
    bool IsStopRequested() const EXCLUDES(mutex_);
    void Append(std::vector<std::byte> pcm) EXCLUDES(mutex_);
    int32_t CopyFromBlock(void* buffer, uint32_t count) REQUIRES(mutex_);
    void ReleaseBlocksBefore(uint64_t byte) REQUIRES(mutex_);
    void ReleaseBeyondLookBack() REQUIRES(mutex_);
    uint64_t FirstByte() const REQUIRES(mutex_);
    bool ByteOfSample(uint64_t sample, uint64_t* byte) const REQUIRES(mutex_);

    const std::unique_ptr<CAudioFile> inner_;  // the filler's alone while it runs
    const std::function<void()> stopInner_;
    std::function<void()> onEnd_;  // may be empty; constant from Open on
    const uint32_t blockBytes_;
    const uint32_t readTimeoutMs_;
    // Given back when there is no memory left, so that the session can tell it and end. The
    // filler's alone.
    std::unique_ptr<std::byte[]> reserve_;

    mutable Mutex mutex_;
    std::condition_variable changed_;  // told of every append, open, end, stop
    std::thread filler_ GUARDED_BY(mutex_);
    std::deque<Block> blocks_ GUARDED_BY(mutex_);  // contiguous, oldest first
    WAVEFORMATEX record_ GUARDED_BY(mutex_);
    uint64_t receivedBytes_ GUARDED_BY(mutex_) = 0;  // live edge == end of blocks_.back()
    uint64_t readPosition_ GUARDED_BY(mutex_) = 0;   // bytes
    uint64_t retainedBytes_ GUARDED_BY(mutex_) = 0;
    uint64_t peakRetainedBytes_ GUARDED_BY(mutex_) = 0;
    uint64_t readBytes_ GUARDED_BY(mutex_) = 0;
    uint32_t ownerThread_ GUARDED_BY(mutex_) = 0;
    uint32_t error_ GUARDED_BY(mutex_) = 0;
    uint64_t lastWriteTick_ GUARDED_BY(mutex_) = 0;
    bool started_ GUARDED_BY(mutex_) = false;  // the source is open, or the filler has ended
    bool finished_ GUARDED_BY(mutex_) = false;
    bool stopRequested_ GUARDED_BY(mutex_) = false;  // one way: never cleared
    bool releaseConsumed_ GUARDED_BY(mutex_) = false;
    std::optional<uint64_t> lookBackFrames_ GUARDED_BY(mutex_);
};

}  // namespace receiver
