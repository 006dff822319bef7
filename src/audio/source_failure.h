// Why a connection failed, in the words of the radio: which of a few kinds it is, and a line
// for people. Pure.
#pragma once

#include "audio/connection_failure.h"
#include "audio/source_notes.h"

namespace receiver {

// What has failed: making the connection, or reading on from it.
enum class FailedStep { kOpening, kReading };

// A stream that ended as one does that is complete.
SourceFailure DescribeEnd();
SourceFailure DescribeFailure(const ConnectionFailure& failure, FailedStep step);

}  // namespace receiver
