// What one of a source's connections has told of its stream, kept until it is known where in
// the whole stream that lies.
//
//   Units    "sample" counts the connection's frames, at its own rate.
//   Threads  one at a time: that which reads the connection.
#pragma once

#include <utility>
#include <variant>
#include <vector>

#include "audio/source_notes.h"

namespace receiver {

using ConnectionNote = std::variant<SourceDamage, SourceTitle, SourceStation>;

class ConnectionNotes final {
public:
    // To be told by the connection's file; the object outlives it.
    SourceNotes Listener() {
        SourceNotes listener;
        listener.onDamage = [this](const SourceDamage& damage) { notes_.emplace_back(damage); };
        listener.onTitle = [this](const SourceTitle& title) { notes_.emplace_back(title); };
        listener.onStation = [this](const SourceStation& it) { notes_.emplace_back(it); };
        return listener;
    }
    // Those since the last call, in their order.
    std::vector<ConnectionNote> Take() { return std::exchange(notes_, {}); }

private:
    std::vector<ConnectionNote> notes_;
};

}  // namespace receiver
