#include "session/session_source.h"

#include <utility>

#include "audio/ffmpeg_network_audio_file.h"
#include "audio/reconnecting_audio_file.h"
#include "detect/detector_audio_file.h"
#include "platform/text.h"
#include "session/program_end.h"

namespace receiver {
namespace {

NetworkRequest MakeRequest(const PreparedHttp& http) {
    NetworkRequest request{.userAgent = http.userAgent, .headers = {}, .caFile = {}};
    for (const auto& [name, value] : http.headers) {
        request.headers.append(name).append(": ").append(value).append("\r\n");
    }
    if (!http.caFile.empty()) request.caFile = AnsiToUtf8(http.caFile).value_or(http.caFile);
    return request;
}

std::unique_ptr<CFFmpegNetworkAudioFile> MakeConnection(
    const PreparedProgram& program,
    const std::shared_ptr<CFFmpegNetworkCancellation>& cancellation) {
    auto network = std::make_unique<CFFmpegNetworkAudioFile>(cancellation, program.ioTimeoutMs);
    network->SetOutputSampleRate(kStreamSampleRate);
    network->SetOutputBitsPerSample(16);
    network->SetRequest(MakeRequest(program.additions.http));
    return network;
}

// The connections run at the source's own rate: what two of them deliver of the same audio is
// then the same, wherever each began.
SourceConnection MakeOneOfMany(const PreparedProgram& program,
                               const std::shared_ptr<CFFmpegNetworkCancellation>& cancellation,
                               const SourceNotes& wanted, const ConnectionFormat& format) {
    auto network = MakeConnection(program, cancellation);
    network->SetOutputSampleRate(format.sampleRate);
    network->SetOutputChannels(format.channels);
    network->SetAsksForRetryAfter(true);
    const auto notes = std::make_shared<ConnectionNotes>();
    SourceNotes listener = notes->Listener();
    if (!wanted.onDamage) listener.onDamage = nullptr;
    if (!wanted.onTitle) listener.onTitle = nullptr;
    if (!wanted.onStation) listener.onStation = nullptr;
    network->SetNotes(listener);
    const CFFmpegNetworkAudioFile* file = network.get();
    return {.file = std::move(network),
            .failure = [file] { return file->Failure(); },
            .notes = notes,
            .timeOfStart = [file] { return file->TimeOfStart(); },
            .secondsAhead = [file] { return file->SecondsAhead(); }};
}

// Outlives its connections, and tells why it has ended.
std::unique_ptr<CAudioFile> MakeLastingSource(
    const PreparedProgram& program, const std::shared_ptr<CFFmpegNetworkCancellation>& cancellation,
    const SourceNotes& notes) {
    auto source = std::make_unique<ReconnectingAudioFile>(
        [program, cancellation, notes](const ConnectionFormat& format) {
            return MakeOneOfMany(program, cancellation, notes, format);
        },
        cancellation,
        ReconnectLimits{.reconnectMs = program.additions.reconnectMs,
                        .outputRate = kStreamSampleRate,
                        .lostOnly = program.additions.reconnectLostOnly},
        [notes](const SourceResumption& resumption, const SourceBreak&) {
            notes.onResumed(resumption);
        });
    source->SetNotes(notes);
    return source;
}

}  // namespace

SessionSource MakeNetworkSource(const PreparedProgram& program,
                                const std::shared_ptr<CFFmpegNetworkCancellation>& cancellation,
                                std::vector<ReferenceFingerprint>&& references,
                                const std::function<void(const DetectorMatch&)>& onMatch,
                                const SourceNotes& notes) {
    std::unique_ptr<CAudioFile> source;
    if (program.additions.reconnectMs != 0) {
        source = MakeLastingSource(program, cancellation, notes);
    } else {
        auto network = MakeConnection(program, cancellation);
        network->SetNotes(notes);
        source = std::move(network);
    }
    // A programme that starts now may have nothing to be compared with.
    if (!references.empty()) {
        source = std::make_unique<CDetectorAudioFile>(std::move(source), std::move(references),
                                                      onMatch, kBerThreshold);
    }
    return {std::move(source), [cancellation] { cancellation->Cancel(); }};
}

}  // namespace receiver
