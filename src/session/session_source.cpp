#include "session/session_source.h"

#include <utility>

#include "audio/ffmpeg_network_audio_file.h"
#include "detect/detector_audio_file.h"
#include "platform/text.h"
#include "session/program_end.h"

namespace receiver {
namespace {

NetworkRequest MakeRequest(const PreparedHttp& http) {
    NetworkRequest request{.userAgent = http.userAgent, .headers = {}, .caFile = {}};
    for (const auto& [name, value] : http.headers) {
        request.headers += name + ": " + value + "\r\n";
    }
    if (!http.caFile.empty()) request.caFile = AnsiToUtf8(http.caFile).value_or(http.caFile);
    return request;
}

std::unique_ptr<CAudioFile> MakeConnection(
    const PreparedProgram& program, const std::shared_ptr<CFFmpegNetworkCancellation>& cancellation,
    const SourceNotes& notes) {
    auto network = std::make_unique<CFFmpegNetworkAudioFile>(cancellation, program.ioTimeoutMs);
    network->SetOutputSampleRate(kStreamSampleRate);
    network->SetOutputBitsPerSample(16);
    network->SetRequest(MakeRequest(program.additions.http));
    network->SetNotes(notes);
    return network;
}

}  // namespace

SessionSource MakeNetworkSource(const PreparedProgram& program,
                                const std::shared_ptr<CFFmpegNetworkCancellation>& cancellation,
                                std::vector<ReferenceFingerprint>&& references,
                                const std::function<void(const DetectorMatch&)>& onMatch,
                                const SourceNotes& notes) {
    std::unique_ptr<CAudioFile> source = MakeConnection(program, cancellation, notes);
    // A programme that starts now may have nothing to be compared with.
    if (!references.empty()) {
        source = std::make_unique<CDetectorAudioFile>(std::move(source), std::move(references),
                                                      onMatch, kBerThreshold);
    }
    return {std::move(source), [cancellation] { cancellation->Cancel(); }};
}

}  // namespace receiver
