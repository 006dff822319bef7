// The reading end of an audio pipe, record by record, with every way to behave
// badly: stop reading, acknowledge wrongly, go away. The records are taken apart
// by their byte offsets, not by the receiver's own structures.
//
//   Units    PCM is interleaved 16-bit; frames are one sample of every channel.
//   Threads  one at a time.
//   Errors   by result; ReadToEnd also reports a broken record as a failed read, and throws
//            std::runtime_error when the stream goes on for kMaxHoldMs.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "pipe/pcm_pipe.h"
#include "testing/raw_control_client.h"

namespace receiver {

class RawAudioClient final {
public:
    struct Header {
        uint32_t magic, version, headerBytes, sampleRate;
        uint16_t channels, bitsPerSample;
        uint32_t reserved;
        uint64_t lengthFrames, streamToken;
    };
    struct Record {
        uint32_t type, byteCount;
        uint64_t firstFrame, status;
    };

    RawAudioClient();

    bool Connect(const std::string& uri, uint32_t timeoutMs = kPatienceMs);
    void Close() { pipe_.Close(); }

    bool ReadHeader();
    // The next record; the PCM of a data record is appended to Pcm()
    // when it is there as a whole.
    bool ReadRecord();
    // Up to and with the end record. False when the stream breaks off or a record
    // contradicts the ones before it.
    bool ReadToEnd();
    bool Acknowledge() { return Acknowledge(0x314D4350, 0, header_.streamToken); }
    bool Acknowledge(uint32_t magic, uint32_t status, uint64_t streamToken);
    bool WaitForHangUp();

    const Header& StreamHeader() const { return header_; }
    const Record& LastRecord() const { return record_; }
    const std::vector<int16_t>& Pcm() const { return pcm_; }
    uint64_t Frames() const { return pcm_.size() / header_.channels; }
    uint32_t LargestChunkBytes() const { return largestChunkBytes_; }
    uint32_t LastError() const { return pipe_.LastError(); }

private:
    bool ReadBytes(void* bytes, size_t count);

    CPcmPipe pipe_;
    Header header_{};
    Record record_{};
    std::vector<int16_t> pcm_;
    uint32_t largestChunkBytes_ = 0;
};

}  // namespace receiver
