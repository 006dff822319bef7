// Control frames as a hostile client would send them, each with the answer that it must get.
// The same frames for the same seed.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "testing/audio_generator.h"

namespace receiver {

struct HostileFrame {
    std::string bytes;  // with its length
    std::string answer;
    std::string requestId{};  // of the answer
    std::string message{};    // of a refusal; empty for one in the words of the parser
};

class HostileFrames final {
public:
    // `takenId` is the id of a command that the receiver has accepted.
    HostileFrames(uint64_t seed, std::string takenId)
        : random_(seed), takenId_(std::move(takenId)) {}

    HostileFrame Next();       // for a client that has said HELLO
    HostileFrame NextLarge();  // of the largest size
    HostileFrame Hello();
    HostileFrame BeforeHello();
    // After each of them the receiver hangs up.
    HostileFrame WrongLength();
    // Begins a frame and does not end it: there is no answer to it.
    std::string CutFrame();

private:
    HostileFrame Garbage();
    HostileFrame Nested(size_t depth, bool closed);
    HostileFrame Refused(const std::string& fields, const std::string& message = {});
    std::string NextId() { return "r" + std::to_string(++lastId_); }

    TestRandom random_;
    const std::string takenId_;
    size_t lastId_ = 0;
};

}  // namespace receiver
