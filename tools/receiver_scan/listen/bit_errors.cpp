#include "receiver_scan/listen/bit_errors.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "detect/hamming.h"

namespace receiver {
namespace {

double ComparedBits(Words reference) {
    return static_cast<double>((reference.size() - 1) * kWordBits);
}

uint64_t DifferingAt(Words source, Words reference, size_t offset, uint64_t limit) {
    return DifferingBits(reference.data() + 1, source.data() + offset + 1, reference.size() - 1,
                         limit);
}

}  // namespace

size_t OffsetCount(Words source, Words reference) {
    return source.size() < reference.size() ? 0 : source.size() - reference.size() + 1;
}

double BerAt(Words source, Words reference, size_t offset) {
    constexpr uint64_t kNoLimit = std::numeric_limits<uint64_t>::max();
    return static_cast<double>(DifferingAt(source, reference, offset, kNoLimit)) /
           ComparedBits(reference);
}

std::vector<float> BerCurve(Words source, Words reference) {
    std::vector<float> curve(OffsetCount(source, reference));
    for (size_t i = 0; i < curve.size(); ++i) {
        curve[i] = static_cast<float>(BerAt(source, reference, i));
    }
    return curve;
}

BestOffset FindBest(Words source, Words reference, size_t begin, size_t end, size_t step) {
    BestOffset best;
    uint64_t limit = std::numeric_limits<uint64_t>::max();
    end = std::min(end, OffsetCount(source, reference));
    for (size_t offset = begin; offset < end; offset += step) {
        const uint64_t bits = DifferingAt(source, reference, offset, limit);
        if (bits >= limit) continue;
        limit = bits;
        best = {offset, static_cast<double>(bits) / ComparedBits(reference)};
    }
    return best;
}

BitErrors FindBitErrors(Words source, Words reference, size_t offset) {
    BitErrors errors;
    errors.differing.assign(reference.size(), 0);
    errors.ofWord.assign(reference.size(), 0);
    for (size_t i = 1; i < reference.size(); ++i) {
        const uint32_t differing = reference[i] ^ source[offset + i];
        errors.differing[i] = differing;
        errors.ofWord[i] = static_cast<uint32_t>(std::popcount(differing));
        for (size_t bit = 0; bit < kWordBits; ++bit) errors.ofBit[bit] += differing >> bit & 1u;
    }
    return errors;
}

}  // namespace receiver
