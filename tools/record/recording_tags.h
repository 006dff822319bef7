// What a recording's file tells about itself, in the form of tags. Pure.
#pragma once

#include "record/record_report.h"
#include "recording/audio_encoder.h"

namespace receiver {

// What the report knows so far: during the recording its end is missing. The comment,
// which every container can carry, has all of it; the others repeat it for programs.
RecordingTags MakeTags(const RecordReport& report);

}  // namespace receiver
