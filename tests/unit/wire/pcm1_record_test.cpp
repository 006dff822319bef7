#include "wire/pcm1_record.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace receiver {
namespace {

template <typename Record>
std::vector<uint8_t> BytesOf(const Record& record) {
    std::vector<uint8_t> bytes(sizeof record);
    std::memcpy(bytes.data(), &record, sizeof record);
    return bytes;
}

}  // namespace

TEST(Pcm1Record, TheHeaderLiesAsOnTheWire) {
    Pcm1Header header;
    header.sampleRate = 44100;
    header.channels = 2;
    header.bitsPerSample = 16;
    header.streamToken = 0x0807060504030201;
    EXPECT_EQ(
        BytesOf(header),
        (std::vector<uint8_t>{'P',  'C',  'M',  '1',  1,  0, 0, 0, 40, 0, 0,    0,    0x44, 0xAC,
                              0,    0,    2,    0,    16, 0, 0, 0, 0,  0, 0xFF, 0xFF, 0xFF, 0xFF,
                              0xFF, 0xFF, 0xFF, 0xFF, 1,  2, 3, 4, 5,  6, 7,    8}));
}

TEST(Pcm1Record, AChunkRecordLiesAsOnTheWire) {
    const Pcm1ChunkRecord record{kPcm1Data, 1764, 0x0102030405, 0};
    EXPECT_EQ(BytesOf(record), (std::vector<uint8_t>{1, 0, 0, 0, 0xE4, 6, 0, 0, 5, 4, 3, 2,
                                                     1, 0, 0, 0, 0,    0, 0, 0, 0, 0, 0, 0}));
}

TEST(Pcm1Record, TheEndOfAFailedSourceLiesAsOnTheWire) {
    const Pcm1ChunkRecord record{kPcm1SourceFailed, 0, 9, kPcm1SourceFailedStatus};
    EXPECT_EQ(BytesOf(record), (std::vector<uint8_t>{3, 0, 0, 0, 0,  0, 0, 0, 9, 0, 0, 0,
                                                     0, 0, 0, 0, 30, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(Pcm1Record, AnAcknowledgementLiesAsOnTheWire) {
    const Pcm1Acknowledgement answer{kPcm1Magic, 0, 0x0807060504030201};
    EXPECT_EQ(BytesOf(answer),
              (std::vector<uint8_t>{'P', 'C', 'M', '1', 0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8}));
}

}  // namespace receiver
