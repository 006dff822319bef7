#include "receiver_record/metrics/metrics_gathering.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "command_line/public_url.h"
#include "platform/text.h"
#include "session/program_end.h"
#include "wire/messages.h"

namespace receiver {
namespace {

double Seconds(uint64_t frames, uint32_t rate = kStreamSampleRate) {
    return rate == 0 ? 0 : static_cast<double>(frames) / rate;
}

RecorderState StateOf(const RecordMoment& moment) {
    using enum RecorderState;
    struct Name {
        std::string_view told;
        RecorderState state;
    };
    constexpr std::array kNames{Name{kStatePreparing, kConnecting}, Name{kStateScanning, kScanning},
                                Name{kStateReady, kRecording},      Name{kStateOpened, kRecording},
                                Name{kShownRecording, kRecording},  Name{kShownDraining, kDraining},
                                Name{kStateCancelling, kStopping},  Name{kStateStopping, kStopping},
                                Name{kStateFinished, kFinishing}};
    if (moment.isWaiting) return kWaiting;
    if (moment.isStopping && !moment.session.finished) return kStopping;
    const auto* const found = std::find_if(kNames.begin(), kNames.end(), [&](const Name& name) {
        return name.told == moment.session.state;
    });
    return found == kNames.end() ? kStarting : found->state;
}

}  // namespace

MetricsGathering::MetricsGathering(std::string id, const std::string& url,
                                   const std::vector<Reference>& references, double now)
    : matches_(references.size()) {
    metrics_.id = std::move(id);
    metrics_.stream = HostOf(url);
    metrics_.startTime = now;
    metrics_.references.reserve(references.size());
    for (const Reference& reference : references) {
        metrics_.references.push_back({reference.id, reference.role, 0, std::nullopt});
    }
}

void MetricsGathering::BeginRecording() {
    for (Tally* const tally : {&written_, &bytes_}) tally->Restart();
    BeginSession(false);
}

void MetricsGathering::BeginSession(bool isContinued) {
    stream_.Restart();
    received_ = 0;
    metrics_.bufferSeconds.reset();
    metrics_.state = RecorderState::kStarting;
    if (isContinued) return;
    for (Tally* const tally : {&reconnections_, &outage_, &gaps_, &lost_, &damages_}) {
        tally->Restart();
    }
    for (Tally& tally : matches_) tally.Restart();
}

void MetricsGathering::Note(const RecordMoment& moment, double now) {
    metrics_.state = StateOf(moment);
    if (moment.session.finished) metrics_.bufferSeconds.reset();
    NoteMatches(moment.session.matches, now);
    NoteAudio(moment);
    NoteStream(moment.session.notes.Totals());
}

void MetricsGathering::NoteMatches(const std::vector<Match>& matches, double now) {
    for (size_t i = 0; i < matches_.size(); ++i) {
        ReferenceMetrics& reference = metrics_.references[i];
        uint64_t count = 0;
        double ber = 0;
        for (const Match& match : matches) {
            if (match.referenceId != reference.id) continue;
            ++count;
            ber = match.ber;
        }
        matches_[i].See(count);
        if (matches_[i].Total() == reference.matches) continue;
        reference.matches = matches_[i].Total();
        reference.last = ReferenceMetrics::Heard{ber, now};
    }
}

void MetricsGathering::NoteAudio(const RecordMoment& moment) {
    const AudioProgress& audio = moment.audio;
    const SessionRecord& session = moment.session;
    if (!moment.isContinued && audio.framesReceived > 0) {
        const uint64_t first = session.servedSample.value_or(session.startSample.value_or(0));
        received_ = std::max(received_, first + audio.framesReceived);
    }
    stream_.See(received_);
    metrics_.streamSeconds = Seconds(stream_.Total());
    written_.See(audio.framesWritten);
    metrics_.writtenSeconds = Seconds(written_.Total());
    bytes_.See(moment.writtenBytes);
    metrics_.writtenBytes = bytes_.Total();
    if (audio.framesQueued == 0) return;
    metrics_.programSeconds = Seconds(audio.framesQueued, audio.format.sampleRate);
    metrics_.programLength.reset();
    if (const auto frames = ProgramFrames(session)) metrics_.programLength = Seconds(*frames);
}

void MetricsGathering::NoteStream(const StreamTotals& totals) {
    reconnections_.See(totals.reconnections);
    outage_.See(totals.outageMs);
    gaps_.See(totals.gaps);
    lost_.See(totals.lostFrames);
    damages_.See(totals.damages);
    metrics_.reconnections = reconnections_.Total();
    metrics_.outageSeconds = static_cast<double>(outage_.Total()) / 1000;
    metrics_.gaps = gaps_.Total();
    metrics_.lostSeconds = Seconds(lost_.Total());
    metrics_.damages = damages_.Total();
}

void MetricsGathering::NoteBuffer(const BufferStatistics& buffer) {
    received_ = std::max(received_, buffer.nextSample);
    if (buffer.blockAlign == 0) return;
    metrics_.bufferSeconds = Seconds(buffer.availableBytes / buffer.blockAlign, buffer.sampleRate);
}

void MetricsGathering::EndRecording(const RecordReport& report, double now) {
    metrics_.state = RecorderState::kWaiting;
    metrics_.bufferSeconds.reset();
    metrics_.programSeconds.reset();
    metrics_.programLength.reset();
    ++metrics_.recordings[OutcomeName(report.exitCode)];
    metrics_.lastRecording = {report.exitCode, EndReason(report),
                              Seconds(report.frames, report.format.sampleRate), now};
    if (report.exitCode == ExitCode::kComplete) metrics_.lastCompleteTime = now;
}

void MetricsGathering::End(ExitCode exitCode) {
    metrics_.state = RecorderState::kEnded;
    metrics_.exitCode = exitCode;
}

std::string HostOf(const std::string& url) {
    const std::string shown = PublicUrl(url);
    const size_t slashes = shown.find("://");
    std::string host = shown.substr(slashes == std::string::npos ? 0 : slashes + 3);
    host = host.substr(0, host.find('/'));
    const size_t colon = host.rfind(':');
    if (colon != std::string::npos && host.find(']', colon) == std::string::npos) {
        host.resize(colon);
    }
    return ToLowerAscii(host);
}

}  // namespace receiver
