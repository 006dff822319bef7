// The three records of a "PCM1" audio stream, little-endian and packed, as they
// stand on the audio pipe. Pure: bytes in, record out. Used by the receiver,
// which writes them, and by controlling programs, which read them.
//
//   stream := header chunk* end          then, from the reader: acknowledgement
//   chunk  := record{type 1} pcm[byteCount]
//   end    := record{type 2 or 3}
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace receiver {

static_assert(std::endian::native == std::endian::little, "records are written as they lie");

inline constexpr uint32_t kPcm1Magic = 0x314D4350;  // "PCM1"
inline constexpr uint32_t kPcm1Version = 1;
inline constexpr uint32_t kMaxPcm1ChunkBytes = 1048576;  // of PCM in one record
inline constexpr uint64_t kPcm1LengthUnknown = 0xFFFFFFFFFFFFFFFF;

#pragma pack(push, 1)
struct Pcm1Header {
    uint32_t magic = kPcm1Magic;
    uint32_t version = kPcm1Version;
    uint32_t headerBytes = 40;
    uint32_t sampleRate = 0;
    uint16_t channels = 0;
    uint16_t bitsPerSample = 0;
    uint32_t reserved = 0;
    uint64_t lengthFrames = kPcm1LengthUnknown;
    uint64_t streamToken = 0;  // the acknowledgement echoes it
};

struct Pcm1ChunkRecord {
    uint32_t type = 0;        // kPcm1Data, kPcm1End or kPcm1SourceFailed
    uint32_t byteCount = 0;   // of PCM that follow; whole frames; 0 unless kPcm1Data
    uint64_t firstFrame = 0;  // frames sent before this record
    uint64_t status = 0;      // 30 with kPcm1SourceFailed, else 0
};

struct Pcm1Acknowledgement {
    uint32_t magic = kPcm1Magic;
    uint32_t status = 0;
    uint64_t streamToken = 0;
};
#pragma pack(pop)

static_assert(sizeof(Pcm1Header) == 40 && offsetof(Pcm1Header, lengthFrames) == 24);
static_assert(sizeof(Pcm1ChunkRecord) == 24 && offsetof(Pcm1ChunkRecord, status) == 16);
static_assert(sizeof(Pcm1Acknowledgement) == 16 && offsetof(Pcm1Acknowledgement, streamToken) == 8);

inline constexpr uint32_t kPcm1Data = 1;
inline constexpr uint32_t kPcm1End = 2;
inline constexpr uint32_t kPcm1SourceFailed = 3;
inline constexpr uint64_t kPcm1SourceFailedStatus = 30;

}  // namespace receiver
