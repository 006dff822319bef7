#include "testing/tuning_in.h"

#include <cstdint>
#include <stdexcept>

namespace receiver {
namespace {

unsigned ByteAt(const std::string& bytes, size_t position) {
    return position < bytes.size() ? static_cast<uint8_t>(bytes[position]) : 0U;
}

size_t LengthOfTag(const std::string& bytes) {
    if (bytes.compare(0, 3, "ID3") != 0) return 0;
    size_t length = 0;
    for (size_t i = 6; i < 10; ++i) length = length << 7 | ByteAt(bytes, i);
    return length + 10;
}

// Of the MPEG-1 layer III frame; 0 where none begins.
size_t LengthOfMp3Frame(const std::string& bytes, size_t position) {
    static constexpr size_t kKbits[] = {0,   32,  40,  48,  56,  64,  80, 96,
                                        112, 128, 160, 192, 224, 256, 320};
    static constexpr size_t kRates[] = {44100, 48000, 32000};
    if (ByteAt(bytes, position) != 0xFF || (ByteAt(bytes, position + 1) & 0xFE) != 0xFA) return 0;
    const unsigned third = ByteAt(bytes, position + 2);
    if (third >> 4 == 15 || (third >> 2 & 3) == 3) return 0;
    return 144000 * kKbits[third >> 4] / kRates[third >> 2 & 3] + (third >> 1 & 1);
}

size_t LengthOfAdtsFrame(const std::string& bytes, size_t position) {
    if (ByteAt(bytes, position) != 0xFF || (ByteAt(bytes, position + 1) & 0xF6) != 0xF0) return 0;
    return static_cast<size_t>(ByteAt(bytes, position + 3) & 3) << 11 |
           ByteAt(bytes, position + 4) << 3 | ByteAt(bytes, position + 5) >> 5;
}

size_t LengthOfOggPage(const std::string& bytes, size_t position) {
    if (bytes.compare(position, 4, "OggS") != 0) return 0;
    const unsigned segments = ByteAt(bytes, position + 26);
    size_t length = 27 + segments;
    for (unsigned i = 0; i < segments; ++i) length += ByteAt(bytes, position + 27 + i);
    return length;
}

size_t LengthAt(const std::string& bytes, AudioCoding coding, size_t position) {
    switch (coding) {
        case AudioCoding::kMp3:
            return LengthOfMp3Frame(bytes, position);
        case AudioCoding::kAacAdts:
            return LengthOfAdtsFrame(bytes, position);
        case AudioCoding::kOggVorbis:
        case AudioCoding::kOggOpus:
        case AudioCoding::kOggFlac:
            return LengthOfOggPage(bytes, position);
        default:
            return 0;
    }
}

// The pages of an Ogg stream before its audio have the position 0, or none where no packet
// ends in them.
bool IsHeaderPage(const std::string& bytes, size_t position) {
    unsigned all = 0, any = 0xFF;
    for (size_t i = 6; i < 14; ++i) {
        all |= ByteAt(bytes, position + i);
        any &= ByteAt(bytes, position + i);
    }
    return all == 0 || any == 0xFF;
}

}  // namespace

TunedIn TuneIn(const std::string& broadcast, AudioCoding coding, size_t position) {
    const bool ogg = broadcast.compare(0, 4, "OggS") == 0;
    TunedIn tuned;
    size_t at = coding == AudioCoding::kMp3 ? LengthOfTag(broadcast) : 0;
    std::string headers;
    for (bool inHeaders = ogg; at < broadcast.size();) {
        const size_t length = LengthAt(broadcast, coding, at);
        if (length == 0) break;
        inHeaders = inHeaders && IsHeaderPage(broadcast, at);
        if (inHeaders) headers += broadcast.substr(at, length);
        if (!inHeaders && at >= position) {
            tuned.boundary = at;
            tuned.bytes = headers + broadcast.substr(at);
            return tuned;
        }
        ++tuned.frame;
        at += length;
    }
    throw std::invalid_argument("nothing begins there in this broadcast");
}

}  // namespace receiver
