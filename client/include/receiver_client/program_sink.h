// What ReceiverClient::RecordProgram is given and what it gives back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>

#include "receiver_client/error.h"
#include "receiver_client/messages.h"
#include "receiver_client/pcm1_reader.h"

namespace receiver {

// Where a programme goes. Every function may be left empty.
//
//   Threads  all are called on the thread that called RecordProgram, one after another, with no
//            lock held. They may take their time: the audio is read on a thread of its own.
//   Errors   what one throws ends the session cleanly and then leaves RecordProgram.
struct ProgramSink {
    // Once, before any audio. False ends the recording.
    std::function<bool(const PcmFormat&)> begin;
    // Whole frames, in order, nothing beyond the programme's end. False ends the recording.
    std::function<bool(std::span<const std::byte>)> write;
    std::function<void(const Event&)> event;  // each event of the session, as it comes
};

struct ProgramResult {
    // All of the programme has been written: the session ended with "eof", its audio with the
    // end record, and the sink took everything. A source that ended too early is told apart by
    // fewer frames than program->endSample - servedSample.
    bool complete = false;
    // Why not: kCancelled (RequestCancel, or the sink wanted no more), kSessionFailed,
    // kUnsupported (a receiver that does not know an addition; the sink was given nothing), or
    // whatever ended the control connection or the audio.
    Error error;
    std::optional<PcmFormat> format;  // nothing before there was audio
    uint64_t frames = 0;              // given to the sink
    bool sourceFailed = false;        // the audio ended because the source broke off
    std::optional<uint64_t> startSample;
    // Of the first frame that was given to the sink: the start, or with preRollMs one before it.
    std::optional<uint64_t> servedSample;
    std::optional<Program> program;          // as it was told last
    std::optional<SessionSnapshot> session;  // FINISHED's; a long session can have none
};

}  // namespace receiver
