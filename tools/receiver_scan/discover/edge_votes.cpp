#include "receiver_scan/discover/edge_votes.h"

#include <algorithm>
#include <functional>

namespace receiver {

void EdgeVotes::Add(size_t a, size_t b, int64_t at) {
    votes_[a].push_back(at);
    votes_[b].push_back(at);
}

bool EdgeVotes::IsEmpty() const {
    return std::all_of(votes_.begin(), votes_.end(),
                       [](const std::vector<int64_t>& votes) { return votes.empty(); });
}

int64_t EdgeVotes::Agreed() const {
    std::vector<int64_t> edges;
    edges.reserve(votes_.size());
    for (const std::vector<int64_t>& votes : votes_) {
        if (!votes.empty()) edges.push_back(Furthest(votes));
    }
    SortOutward(edges);
    return edges[(edges.size() - 1) * 7 / 10];
}

// What lies over one playing makes it look shorter with every other, and never longer: of each,
// the furthest edge but one counts, as long as there are others enough.
int64_t EdgeVotes::Furthest(std::vector<int64_t> edges) const {
    SortOutward(edges);
    return edges.size() >= 3 ? edges[edges.size() - 2] : edges.back();
}

void EdgeVotes::SortOutward(std::vector<int64_t>& edges) const {
    if (edge_ == Edge::kBegin) {
        std::sort(edges.begin(), edges.end(), std::greater<>());
    } else {
        std::sort(edges.begin(), edges.end());
    }
}

}  // namespace receiver
