// What every stage of the audio chain is: an object that is opened on a path or
// URL, hands out interleaved integer PCM on request, and can be closed. Stages
// stack: each wrapper reads the one beneath it.
//
//   Units    counts are bytes; a "sample" of a position or a statistic is a frame
//            (one sample of every channel).
//   Threads  one thread at a time per object; CRubberBufferAudioFile alone is read
//            while its own thread feeds it.
//   Errors   by return value; each class keeps its own code (its header lists them).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace receiver {

using BOOL = int;

// The published 18-byte format record, little-endian and packed.
#pragma pack(push, 1)
struct WAVEFORMATEX {
    uint16_t wFormatTag = 0;  // 1: integer PCM, the only one in the chain
    uint16_t nChannels = 0;
    uint32_t nSamplesPerSec = 0;
    uint32_t nAvgBytesPerSec = 0;
    uint16_t nBlockAlign = 0;  // bytes of one frame
    uint16_t wBitsPerSample = 0;
    uint16_t cbSize = 0;
};
#pragma pack(pop)
static_assert(sizeof(WAVEFORMATEX) == 18);

inline constexpr uint16_t kFormatTagPcm = 1;

// What GetInfo fills in.
struct AudioFileInfo {
    uint32_t lengthBytes;  // low 32 bits
    uint32_t wholeSeconds;
    uint16_t channels;
    uint32_t sampleRate;
    uint16_t milliseconds;  // the part of the length below a second
};
static_assert(offsetof(AudioFileInfo, sampleRate) == 12 &&
              offsetof(AudioFileInfo, milliseconds) == 16);

class CAudioFile {
public:
    static constexpr uint32_t kFormatOk = 0;
    static constexpr uint32_t kFormatNotOpen = 4;
    static constexpr uint32_t kPositionUnknown = 0xFFFFFFFF;

    CAudioFile() = default;
    CAudioFile(const CAudioFile&) = delete;
    CAudioFile& operator=(const CAudioFile&) = delete;
    virtual ~CAudioFile() = default;

    // Nonzero on success. On an open file it fails without touching it.
    virtual BOOL Open(const std::string& path) = 0;
    virtual BOOL Close() = 0;  // may be called again; returns 1
    // 1..count bytes (a short read is no end), 0 at the regular end, -1 on error,
    // on a closed file and for a null buffer. Never call it with a count of 0.
    virtual int32_t Read(void* buffer, uint32_t count) = 0;
    virtual BOOL Seek(float position) = 0;  // the unit is the class's own
    // 0 and nothing written when not open, else 1.
    virtual BOOL GetInfo(AudioFileInfo* info);
    // kFormatOk and the format, valid until Close; kFormatNotOpen leaves it alone.
    virtual uint32_t GetFormat(const WAVEFORMATEX** format);
    virtual bool IsOpen() const = 0;
    virtual uint32_t GetPositionMs() { return kPositionUnknown; }

    // 0 for 16 bits, 0x80 for 8 bits; otherwise, and when not open, left alone.
    void GetSilenceByte(uint8_t* silence) const;

protected:
    const WAVEFORMATEX* format_ = nullptr;  // the derived class's record, once there is one
    int32_t open_ = 0;
    uint32_t bytesPerSecond_ = 0;
    uint64_t lengthAtOpen_ = 0;  // bytes
    uint64_t length_ = 0;        // bytes, 0 when unknown
};

// The format of an open file that delivers what every stage of the chain takes, integer PCM
// of 16 bits in frames of a size; null for any other. Valid until Close.
const WAVEFORMATEX* FormatOf16BitPcm(CAudioFile& file);

}  // namespace receiver
