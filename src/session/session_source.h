// The source of a session: the request's URL, opened over the network, under the detector.
//
//   Threads  the file is opened and read on one thread, on which matches and notes are
//            reported, from within its Open and Read.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "audio/audio_file.h"
#include "audio/ffmpeg_network_cancellation.h"
#include "audio/source_notes.h"
#include "detect/detector_match.h"
#include "detect/reference_loading.h"
#include "session/prepared_program.h"

namespace receiver {

// What the buffer listens to, and the way to make a blocked call of it return.
struct SessionSource {
    std::unique_ptr<CAudioFile> file;
    std::function<void()> stop;  // any thread, any number of times
};

using SessionSourceFactory = std::function<SessionSource(
    std::vector<ReferenceFingerprint>&& references,
    std::function<void(const DetectorMatch&)> onMatch, SourceNotes notes)>;

SessionSource MakeNetworkSource(const PreparedProgram& program,
                                const std::shared_ptr<CFFmpegNetworkCancellation>& cancellation,
                                std::vector<ReferenceFingerprint>&& references,
                                const std::function<void(const DetectorMatch&)>& onMatch,
                                const SourceNotes& notes);

}  // namespace receiver
