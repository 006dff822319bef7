// A long curve in few points: the least or most of each stretch, so that no minimum is lost.
// Pure.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace receiver {

// Values in each of at most `most` buckets; 1 when all fit.
inline size_t BucketSize(size_t values, size_t most) {
    return std::max<size_t>(1, (values + most - 1) / most);
}

// pick(a, b) chooses of two values. The last bucket may be shorter.
template <typename Value, typename Pick>
std::vector<Value> Envelope(const std::vector<Value>& values, size_t bucketSize, Pick pick) {
    std::vector<Value> envelope;
    envelope.reserve(values.size() / bucketSize + 1);
    for (size_t i = 0; i < values.size(); ++i) {
        if (i % bucketSize == 0) {
            envelope.push_back(values[i]);
        } else {
            envelope.back() = pick(envelope.back(), values[i]);
        }
    }
    return envelope;
}

}  // namespace receiver
