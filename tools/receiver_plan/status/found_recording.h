// The recordings of a folder: each audio file, whole or still in the making, with what stands
// beside it about it.
//
//   Units    moments of UTC.
//   Errors   FindRecordings throws std::runtime_error with a text for people; what cannot be
//            taken for a recording of what is found there is told in a note, and left out.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "receiver_plan/status/recording_record.h"

namespace receiver {

enum class RecordingState {
    kWhole,
    kDamaged,    // or incomplete
    kRecording,  // it is being written
    kLeft,       // what was being written when its recorder was ended
    kUnclear,    // nothing can be read about it
};

struct FoundRecording {
    std::string file;    // with its path
    std::string folder;  // the name of its folder: its programme's, for a plan
    std::string name;    // without its folder, and the same for all copies
    unsigned copy = 1;
    RecordingState state = RecordingState::kUnclear;
    std::string why;         // it is not whole; for people, and as hostile as its record
    RecordingRecord record;  // of a whole or damaged one
    UtcMoment changed;       // the audio, for the last time
    bool isThere = true;     // otherwise there is only what stood beside it

    // A record without moments is that of a healed file.
    bool HasMoments() const {
        return (state == RecordingState::kWhole || state == RecordingState::kDamaged) &&
               !record.isHealed;
    }
    // When its recorder began; without a record the best that is known.
    UtcMoment Begins() const { return HasMoments() ? record.startedAt : changed; }
    UtcMoment Ends() const { return HasMoments() ? record.finishedAt : changed; }
};

struct FoundRecordings {
    std::vector<FoundRecording> recordings;  // in the order of their paths
    std::vector<std::string> notes;          // lines for people
};

// Those below a folder, without following links to others. Records of more than 4 MiB are not
// read.
FoundRecordings FindRecordings(const std::string& folder, UtcMoment now);

// "news.copy2.flac" is copy 2 of "news.flac". Pure.
struct CopyName {
    std::string name;
    unsigned copy = 1;
};
CopyName ReadCopyName(const std::string& name);

}  // namespace receiver
