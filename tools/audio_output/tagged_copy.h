// Copies a recording into another sink with other tags. The tags stand at the front of
// most containers, where they cannot grow once audio follows, and how a programme ended
// is known only then. The encoded audio is taken over as it is.
//
//   Errors  throws std::runtime_error with a text for people; the sink then holds no
//           usable file.
#pragma once

#include <filesystem>

#include "audio_output/audio_encoder.h"
#include "audio_output/output_format.h"
#include "audio_output/recording_sink.h"

namespace receiver {

// The sink is seekable. Less audio than `leastSeconds`, because the recording could not
// be read to its end, is an error.
void CopyWithTags(const std::filesystem::path& from, const OutputFormat& format,
                  const RecordingTags& tags, double leastSeconds, RecordingSink& to);

}  // namespace receiver
