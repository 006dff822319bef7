#include "receiver_record/cut/jingle_places.h"

#include <optional>
#include <vector>

#include "receiver_record/cut/jingle_alignment.h"

namespace receiver {
namespace {

// Where the piece lies that is expected at `expected`.
std::optional<int64_t> Find(const std::vector<float>& piece, uint64_t expected,
                            const HeldAudio& audio) {
    const int64_t from = static_cast<int64_t>(expected) - static_cast<int64_t>(kSearchFrames);
    const std::vector<float> around = audio.MonoAt(from, piece.size() + 2 * kSearchFrames);
    const JingleAlignment found = AlignJingle(piece, around);
    if (!found.sure) return {};
    return from + static_cast<int64_t>(found.at);
}

}  // namespace

JinglePlace BeginOf(const JingleSound& jingle, uint64_t detected, const HeldAudio& audio) {
    const auto found = Find(jingle.head, detected, audio);
    if (!found || *found < 0) return {.sample = detected, .exact = false};
    return {.sample = static_cast<uint64_t>(*found), .exact = true};
}

uint64_t BeginNeeds(const JingleSound& jingle, uint64_t detected) {
    return detected + jingle.head.size() + kSearchFrames;
}

JinglePlace EndOf(const JingleSound& jingle, uint64_t detected, const HeldAudio& audio) {
    const auto found = Find(jingle.tail, detected + jingle.tailAt, audio);
    const int64_t length = static_cast<int64_t>(jingle.frames - jingle.tailAt);
    if (!found || *found + length < 0) {
        return {.sample = detected + jingle.countedAs, .exact = false};
    }
    return {.sample = static_cast<uint64_t>(*found + length), .exact = true};
}

uint64_t EndNeeds(const JingleSound& jingle, uint64_t detected) {
    return detected + jingle.frames + kSearchFrames;
}

}  // namespace receiver
