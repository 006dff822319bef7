// How a recording ended, decided from everything that bears on it. Pure.
#pragma once

#include <string>
#include <vector>

#include "receiver_record/exit_code.h"
#include "receiver_record/output/audio_progress.h"
#include "receiver_record/session_record.h"

namespace receiver {

struct RecordingFacts {
    std::string missingReference;  // a recording to listen for that is not there
    std::string outputRefusal;     // why the output could not be created
    bool interrupted = false;      // by the user
    bool untilReached = false;     // the time has come that --until named
    bool startOverdue = false;     // the recorder waited no longer for a start
    bool audioLost = false;        // the session was cancelled because its audio did not come
    bool hasEndReference = false;  // a recording could end the programme
    SessionRecord session;
    std::vector<Reference> references;  // of the request
    bool refused = false;               // the receiver is well, but not willing
    std::string receiverFailure;        // of the receiver, or of the connection to it
    AudioProgress audio;
    bool isCut = false;            // all of the programme was found, and ended by itself
    bool outputAbandoned = false;  // standard output did not take everything in time
    std::string closingFailure;    // why a whole file did not get its name
};

struct Verdict {
    ExitCode exitCode = ExitCode::kFailure;
    std::string message;    // why it is not complete; empty when it is
    bool logHelps = false;  // the receiver's log may say more
};

// An interruption outweighs what it led to, but not a programme that was complete before.
Verdict Decide(const RecordingFacts& facts);
// What befell the stream in the part of the programme that has come.
StreamNotes ProgramNotes(const RecordingFacts& facts);
// All of the programme has been received, and it ended by itself.
bool IsComplete(const RecordingFacts& facts);

}  // namespace receiver
