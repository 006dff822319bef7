// Where the words of a reference differ from those of a source. Pure.
//
//   Units  an offset is the word of the source that lies beside the reference's first.
//   Count  as the detector counts: without the reference's first word.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace receiver {

inline constexpr size_t kWordBits = 32;

using Words = std::span<const uint32_t>;

// Offsets at which the whole reference lies in the source; 0 when it is longer.
size_t OffsetCount(Words source, Words reference);
// The bit error rate at one of those offsets.
double BerAt(Words source, Words reference, size_t offset);
// At all of them.
std::vector<float> BerCurve(Words source, Words reference);

struct BestOffset {
    size_t offset = 0;
    double ber = 1.0;  // 1.0 also where there is no offset
};
// The lowest rate at the offsets begin, begin + step, ... below `end`.
BestOffset FindBest(Words source, Words reference, size_t begin, size_t end, size_t step = 1);

// The errors at one offset.
struct BitErrors {
    std::vector<uint32_t> differing;          // bits of each word; nothing of the first
    std::vector<uint32_t> ofWord;             // how many, for each word
    std::array<uint32_t, kWordBits> ofBit{};  // and for each bit over all words
};
BitErrors FindBitErrors(Words source, Words reference, size_t offset);

}  // namespace receiver
