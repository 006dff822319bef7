// The receiving end of an audio pipe: checks the "PCM1" stream and hands out its
// PCM in the order in which it was sent.
//
//   Units    a frame is one 16-bit sample of every channel, interleaved.
//   Threads  one thread at a time; the cancellation may come from any thread. Not for signal
//            handlers.
//   Errors   by result, the cause in LastError(). kTimedOut is not final: nothing is
//            lost, and a later call goes on. After any other failure the pipe is closed. The
//            constructor throws std::runtime_error when the system gives no event; of the
//            rest only a lack of memory throws (std::bad_alloc).
//   Moving   an object that was moved from may only be destroyed or assigned to.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "receiver_client/cancellation.h"
#include "receiver_client/error.h"
#include "receiver_client/export.h"

namespace receiver {

struct PcmFormat {
    uint32_t sampleRate = 0;
    uint16_t channels = 0;
    uint32_t FrameBytes() const { return channels * 2U; }
};

class RECEIVER_API Pcm1Reader final {
public:
    using Milliseconds = std::chrono::milliseconds;

    enum class Result {
        kData,          // whole frames were put into the buffer
        kEnd,           // the programme is complete; acknowledge it
        kSourceFailed,  // the source failed after what was sent; acknowledge it
        kError,
    };

    explicit Pcm1Reader(const Cancellation& cancellation);
    ~Pcm1Reader();
    Pcm1Reader(Pcm1Reader&& other) noexcept;
    Pcm1Reader& operator=(Pcm1Reader&& other) noexcept;
    Pcm1Reader(const Pcm1Reader&) = delete;
    Pcm1Reader& operator=(const Pcm1Reader&) = delete;

    // Connects to the URI of a READY event and reads the stream's header. The receiver
    // gives up on a client that connects and then does not read for a second.
    bool Open(const std::string& uri, Milliseconds timeout);
    // Valid after Open.
    const PcmFormat& Format() const;

    // Fills the buffer, which holds at least one frame, with what comes first: at most
    // one chunk's rest. *bytes is a multiple of the frame for kData, else 0.
    Result Read(std::span<std::byte> buffer, size_t* bytes, Milliseconds timeout);
    // Tells the receiver that all of the stream has arrived; once, after kEnd or kSourceFailed.
    bool Acknowledge(Milliseconds timeout);
    void Close();

    uint64_t FramesRead() const;
    const Error& LastError() const;

private:
    class Stream;
    std::unique_ptr<Stream> stream_;
};

}  // namespace receiver
