// A live source that outlives its connections: when one fails, stalls or ends, the next is
// made, and what it delivers is joined to what was heard before, so that the reader sees one
// unbroken stream of one format.
//
// A server begins each connection with a burst of older audio. Where that reaches back to
// what was heard, the stream goes on with the very next sample; where nothing overlaps, the
// time that is missing by the clock is filled with silence, and what is older than the clock
// allows is dropped. Positions therefore keep their meaning.
//
//   Units    samples are frames of the delivered stream; times are ms.
//   Threads  Open, Read and Close on one thread; the shared cancellation from any.
//   Lock     none.
//   Errors   by result. Open fails and Read ends only when `reconnectMs` have passed without
//            new audio, or after a cancellation: Read with what the last connection that was
//            open ended with (0 for a regular end, -1 otherwise), or -1. LastBreak() tells why.
//            An attempt that has begun in time is not cut short: its own time-out bounds it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "audio/audio_file.h"
#include "audio/connection_failure.h"
#include "audio/connection_notes.h"
#include "audio/ffmpeg_network_cancellation.h"
#include "audio/source_notes.h"

namespace receiver {

// What a connection is to deliver, always in 16 bits. Zeros leave it to the source, which is
// asked of a first connection; later ones get the first one's.
struct ConnectionFormat {
    uint32_t sampleRate = 0;
    uint16_t channels = 0;
};

struct SourceConnection {
    std::unique_ptr<CAudioFile> file;            // closed; null counts as a failed opening
    std::function<ConnectionFailure()> failure;  // of `file`, after Open or Read; may be empty
    std::shared_ptr<ConnectionNotes> notes;      // what `file` tells; may be null
    // What `file` knows of the broadcast's own time, in seconds, at its first frame; may be empty.
    std::function<std::optional<double>()> timeOfStart = {};
    // Of the audio that `file` has and has not given yet, in seconds; may be empty.
    std::function<double()> secondsAhead = {};
    bool noMore = false;  // there is nothing left to connect to: as if the time were over
};

// Called on the reading thread, once for each attempt. The connections end their operations
// on the shared cancellation.
using ConnectionFactory = std::function<SourceConnection(const ConnectionFormat& format)>;

struct ReconnectLimits {
    uint32_t reconnectMs = 0;  // 0: one connection, as if the file were the factory's own
    uint32_t outputRate = 44100;
    // Only what was lost is made again: a first opening that fails is the end, and so is that of
    // a source that had said where it ends.
    bool lostOnly = false;
};

// How the last connection, or the last attempt to make one, ended.
struct SourceBreak {
    enum class Phase { kNone, kOpening, kReading, kEnded };
    Phase phase = Phase::kNone;
    ConnectionFailure failure;
};

// Time, as the file sees it; tests bring their own.
struct ReconnectTiming {
    std::function<uint64_t()> nowMs;
    // Returns at that time, or at once when the source is cancelled.
    std::function<void(uint64_t untilMs)> waitUntil;
    std::function<double()> random;  // [0, 1)
};

class ReconnectingAudioFile final : public CAudioFile {
public:
    // On the reading thread, before Read gives the first sample after the joint; it must not
    // use the file but for its plain questions. `cause` is what began the outage.
    using OnResumed = std::function<void(const SourceResumption&, const SourceBreak& cause)>;

    // Throws std::invalid_argument without a factory, a cancellation or an output rate.
    ReconnectingAudioFile(ConnectionFactory connect,
                          const std::shared_ptr<CFFmpegNetworkCancellation>& cancellation,
                          ReconnectLimits limits, OnResumed onResumed);
    ReconnectingAudioFile(ConnectionFactory connect,
                          std::shared_ptr<CFFmpegNetworkCancellation> cancellation,
                          ReconnectLimits limits, OnResumed onResumed, ReconnectTiming timing);
    ~ReconnectingAudioFile() override;

    // Before Open: who is told of the connections' damage and titles, in the samples of the
    // delivered stream, each once however often a burst repeats it, and why the source has
    // failed or ended for good. Resumptions are told to OnResumed.
    void SetNotes(SourceNotes notes);

    BOOL Open(const std::string& path) override;
    BOOL Close() override;
    // As many bytes as there are until the next outage, at most `count`.
    int32_t Read(void* buffer, uint32_t count) override;
    BOOL Seek(float) override { return 0; }
    bool IsOpen() const override { return open_ != 0; }

    // What the next Read begins with.
    uint64_t NextSample() const;
    const SourceBreak& LastBreak() const;

private:
    struct State;

    const std::unique_ptr<State> state_;
    WAVEFORMATEX record_;
};

}  // namespace receiver
