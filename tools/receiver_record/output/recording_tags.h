// What a recording's file tells about itself, in the form of tags. Pure.
#pragma once

#include "audio_output/audio_encoder.h"
#include "receiver_record/record_report.h"

namespace receiver {

// What the report knows so far: during the recording its end is missing. The comment,
// which every container can carry, has all of it; the others repeat it for programs.
RecordingTags MakeTags(const RecordReport& report);

}  // namespace receiver
