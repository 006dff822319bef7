// Which edge of a stretch to believe, when each pair of its playings tells another. Pure.
//
//   Units  the caller's, ascending with time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace receiver {

class EdgeVotes final {
public:
    enum class Edge { kBegin, kEnd };

    EdgeVotes(Edge edge, size_t playings) : edge_(edge), votes_(playings) {}

    // What the pair of playings says.
    void Add(size_t a, size_t b, int64_t at);
    bool IsEmpty() const;
    // What most say, and of them those that heard most of it. Something has been added.
    int64_t Agreed() const;

private:
    int64_t Furthest(std::vector<int64_t> edges) const;
    void SortOutward(std::vector<int64_t>& edges) const;

    const Edge edge_;
    std::vector<std::vector<int64_t>> votes_;  // of each playing
};

}  // namespace receiver
