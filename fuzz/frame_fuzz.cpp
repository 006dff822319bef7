// Frames out of arbitrary bytes: the pieces in which they come must not matter, and
// what comes out must be what a sender would have framed.
#include <algorithm>
#include <string>
#include <vector>

#include "fuzz.h"
#include "wire/control_frame.h"

namespace receiver {
namespace {

struct Outcome {
    std::vector<std::string> bodies;
    bool lostFraming = false;
    bool operator==(const Outcome&) const = default;
};

void Collect(FrameAssembler& assembler, Outcome& outcome) {
    std::string body;
    while (!outcome.lostFraming) {
        const auto result = assembler.Next(&body);
        if (result == FrameAssembler::Result::kIncomplete) return;
        if (result == FrameAssembler::Result::kInvalidLength) {
            outcome.lostFraming = true;
        } else {
            outcome.bodies.push_back(body);
        }
    }
}

Outcome InPieces(const uint8_t* data, size_t size, size_t piece) {
    FrameAssembler assembler;
    Outcome outcome;
    for (size_t at = 0; at < size && !outcome.lostFraming; at += piece) {
        assembler.Append(data + at, std::min(piece, size - at));
        Collect(assembler, outcome);
    }
    return outcome;
}

}  // namespace
}  // namespace receiver

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace receiver;
    if (size == 0) return 0;
    const size_t piece = 1 + data[0];
    const Outcome whole = InPieces(data + 1, size - 1, size);
    Expect(InPieces(data + 1, size - 1, piece) == whole);
    std::string framed;
    for (const std::string& body : whole.bodies) framed += EncodeFrame(body);
    Expect(framed.size() <= size - 1 &&
           std::equal(framed.begin(), framed.end(), reinterpret_cast<const char*>(data) + 1));
    return 0;
}
