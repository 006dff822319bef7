#include "record/recorder.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

#include "platform/clock.h"
#include "platform/ids.h"
#include "platform/text.h"
#include "record/recording_tags.h"
#include "recording/output_format.h"
#include "recording/tagged_copy.h"

namespace receiver {
namespace {

using receiver::ErrorKind;
using std::chrono::milliseconds;

constexpr milliseconds kEventStep(100);  // redraws, and how soon an interruption is seen
constexpr milliseconds kReplyTimeout(5000);
constexpr uint64_t kStopMs = 10000;
constexpr uint64_t kReconnectMs = 5000;
constexpr uint64_t kPollMs = 1000;
// A welcome carries the whole snapshot; asking stops well before it becomes too long to send.
constexpr size_t kMaxPolledMatches = 150;

const OutputFormat& FormatOf(const RecordOptions& options) {
    return options.ToStandardOutput() ? WavFormat() : OutputFormatFor(options.output);
}

std::string NewSessionId() {
    return "record-" + CreateInstanceId();
}

uint64_t SamplesToMs(uint64_t samples, uint32_t rate) {
    return rate == 0 ? 0 : samples * 1000 / rate;
}

}  // namespace

Recorder::Recorder(const RecordOptions& options, const ManualResetEvent& interrupted,
                   RecordConsole& console)
    : options_(options),
      interrupted_(interrupted),
      console_(console),
      link_(options, interrupted) {}

Recorder::~Recorder() = default;

ExitCode Recorder::Run() {
    report_.url = PublicUrl(options_.url);
    report_.startedAt = UtcNow();
    report_.sessionId = NewSessionId();
    if (FindReferences() && OpenOutput()) {
        Record();
        Decide();
        CloseOutput();
    }
    console_.ShowReport(report_);
    return report_.exitCode;
}

// The receiver would refuse without telling which one it misses.
bool Recorder::FindReferences() {
    for (const receiver::Reference& reference : options_.references) {
        std::error_code missing;
        if (std::filesystem::is_regular_file(ToFilesystemPath(reference.path), missing)) continue;
        End(ExitCode::kUsage, "There is no file " + reference.path);
        return false;
    }
    return true;
}

bool Recorder::OpenOutput() {
    try {
        if (options_.ToStandardOutput()) {
            sink_ = std::make_unique<StandardOutputSink>();
            return true;
        }
        auto part = std::make_unique<PartFile>(ToFilesystemPath(options_.output), options_.force);
        part_ = part.get();
        sink_ = std::move(part);
        return true;
    } catch (const std::exception& e) {
        End(ExitCode::kOutputError, e.what());
        return false;
    }
}

void Recorder::Record() {
    status_.state = "STARTING";
    UpdateStatus();
    const std::optional<receiver::Welcome> welcome = link_.Open();
    if (!welcome) {
        failure_ = link_.FailureText();
        return;
    }
    report_.instanceId = welcome->instanceId;
    console_.Detail("Receiver " + welcome->instanceId);
    if (Prepare()) Follow();
    if (intake_ == nullptr) return;
    // What the receiver has sent is still in the pipe, and ends with it.
    if (!finished_ && stop_ != Stop::kNone) intake_->Stop();
    FinishAudio();
}

// The receiver recognises the end of a program a moment after it has sent it.
void Recorder::FinishAudio() {
    intake_->WaitForEnd();
    audio_ = intake_->GetProgress();
    intake_->Finish(IsComplete() ? ProgramFrames() : std::nullopt);
    audio_ = intake_->GetProgress();
}

bool Recorder::Prepare() {
    receiver::PrepareRequest request;
    request.sessionId = report_.sessionId;
    request.url = options_.url;
    request.ioTimeoutMs = options_.ioTimeoutMs;
    request.blockBytes = options_.blockBytes;
    request.program = options_.program;
    request.references = options_.references;
    const auto snapshot = link_.Client().Prepare(request, kReplyTimeout);
    if (!snapshot) {
        const receiver::Error& error = link_.Client().LastError();
        refused_ = error.kind == ErrorKind::kRejected;
        failure_ = error.text;
        return false;
    }
    status_.state = snapshot->state;
    waitDeadline_ =
        options_.waitMs ? TickMs() + *options_.waitMs : std::numeric_limits<uint64_t>::max();
    console_.Info("Waiting for " + report_.url);
    return true;
}

void Recorder::Follow() {
    while (Step()) {
        CheckStops();
        PollReceiver();
        UpdateStatus();
    }
}

bool Recorder::Step() {
    if (lostSince_ != 0 && !Recover()) return false;
    if (lostSince_ != 0) return true;
    if (const auto event = link_.Client().NextEvent(kEventStep)) {
        Handle(*event);
        return !finished_;
    }
    const receiver::Error& error = link_.Client().LastError();
    if (sessionOver_) {
        console_.Info("The session has finished; the receiver's last message about it is lost");
        return false;
    }
    if (error.kind == ErrorKind::kTimedOut) {
        return stop_ == Stop::kNone || TickMs() < stopDeadline_;
    }
    lostSince_ = std::max<uint64_t>(TickMs(), 1);
    failure_ = error.text;
    console_.Detail(error.text);
    return error.kind == ErrorKind::kDisconnected || error.kind == ErrorKind::kProtocol;
}

void Recorder::Handle(const receiver::Event& event) {
    if (!event.sessionId.empty() && event.sessionId != report_.sessionId) return;
    console_.ShowEvent(event);
    if (std::holds_alternative<receiver::ConnectedEvent>(event.body)) {
        status_.state = "SCANNING";
    } else if (const auto* detected = std::get_if<receiver::DetectedEvent>(&event.body)) {
        report_.matches.push_back(detected->match);
        status_.matchId = detected->match.referenceId;
        status_.matchBer = detected->match.ber;
    } else if (const auto* end = std::get_if<receiver::ProgramEndEvent>(&event.body)) {
        report_.program = end->program;
    } else if (const auto* ready = std::get_if<receiver::ReadyEvent>(&event.body)) {
        status_.state = "RECORDING";
        report_.startSample = ready->sourceSample;
        if (stop_ != Stop::kNone) return;
        intake_ = std::make_unique<AudioIntake>(ready->uri, FormatOf(options_), MakeTags(report_),
                                                *sink_);
    } else if (std::holds_alternative<receiver::SourceErrorEvent>(event.body)) {
        sourceFailed_ = true;
        status_.state = "DRAINING";
    } else if (const auto* finished = std::get_if<receiver::FinishedEvent>(&event.body)) {
        finished_ = finished->session;
        if (finished_->program) report_.program = finished_->program;
        status_.state = "FINISHED";
    }
}

// The audio goes on without the control pipe, so that there is time to get it back.
bool Recorder::Recover() {
    if (link_.IsGone()) {
        failure_ = "The receiver has ended";
        return false;
    }
    if (stop_ != Stop::kNone && TickMs() >= stopDeadline_) return false;
    const bool audioRuns = intake_ != nullptr && !intake_->Ended();
    if (!audioRuns && TickMs() - lostSince_ > kReconnectMs) return false;
    const std::optional<receiver::Welcome> welcome = link_.Reopen();
    if (!welcome) return true;
    lostSince_ = 0;
    if (welcome->instanceId != report_.instanceId ||
        (welcome->active && welcome->active->sessionId != report_.sessionId)) {
        console_.Detail("The session ended while the connection was lost");
        return false;
    }
    failure_.clear();
    if (!welcome->active) {
        sessionOver_ = true;  // events that waited for this connection still follow
        return true;
    }
    const receiver::SessionSnapshot& active = *welcome->active;
    report_.matches = active.matches;
    if (active.program) report_.program = active.program;
    if (active.sourceSample) report_.startSample = active.sourceSample;
    if (intake_ == nullptr && active.uri && stop_ == Stop::kNone) {
        status_.state = "RECORDING";
        intake_ = std::make_unique<AudioIntake>(*active.uri, FormatOf(options_), MakeTags(report_),
                                                *sink_);
    }
    if (active.state == "FINISHED") finished_ = active;
    if (!finished_ && stop_ != Stop::kNone) {
        link_.Client().Cancel(report_.sessionId, kReplyTimeout);
    }
    return !finished_;
}

void Recorder::CheckStops() {
    if (stop_ != Stop::kNone) {
        if (intake_ != nullptr && TickMs() >= stopDeadline_) intake_->Stop();
        return;
    }
    if (interrupted_.IsSignalled()) {
        StopSession(Stop::kInterrupted);
    } else if (!report_.startSample && TickMs() >= waitDeadline_) {
        StopSession(Stop::kNoStart);
    } else if (intake_ != nullptr &&
               intake_->GetProgress().end == AudioIntake::End::kOutputFailed) {
        StopSession(Stop::kOutput);
    }
}

void Recorder::StopSession(Stop why) {
    stop_ = why;
    stopDeadline_ = TickMs() + kStopMs;
    status_.state = "STOPPING";
    if (why == Stop::kInterrupted) console_.Info("Interrupted; keeping what came");
    if (lostSince_ != 0 || link_.Client().Cancel(report_.sessionId, kReplyTimeout)) return;
    console_.Detail(link_.Client().LastError().text);
}

void Recorder::PollReceiver() {
    if (!console_.WantsStatus() || lostSince_ != 0 || finished_ || TickMs() < nextPoll_ ||
        report_.matches.size() > kMaxPolledMatches) {
        return;
    }
    nextPoll_ = TickMs() + kPollMs;
    const auto welcome = link_.Client().Hello(kReplyTimeout);
    if (!welcome || !welcome->active || !welcome->active->buffer) return;
    const receiver::BufferStatistics& buffer = *welcome->active->buffer;
    status_.streamMs = SamplesToMs(buffer.nextSample, buffer.sampleRate);
    if (buffer.blockAlign > 0) {
        status_.bufferMs =
            SamplesToMs(buffer.availableBytes / buffer.blockAlign, buffer.sampleRate);
    }
}

void Recorder::UpdateStatus() {
    if (intake_ != nullptr) {
        const AudioIntake::Progress progress = intake_->GetProgress();
        if (progress.writer.framesQueued > 0) {
            const uint32_t rate = progress.format.sampleRate;
            status_.programMs = SamplesToMs(progress.writer.framesQueued, rate);
            status_.peak = NextMeterPeak(status_.peak.value_or(0), intake_->TakePeak());
            if (report_.program) {
                const receiver::Program& program = *report_.program;
                const uint64_t length =
                    program.endSample - std::min(program.startSample, program.endSample);
                status_.remainingMs =
                    SamplesToMs(length - std::min(length, progress.writer.framesQueued), rate);
            }
        }
    }
    console_.ShowStatus(status_);
}

std::optional<uint64_t> Recorder::ProgramFrames() const {
    if (!report_.program) return {};
    const receiver::Program& program = *report_.program;
    return program.endSample - std::min(program.startSample, program.endSample);
}

bool Recorder::IsComplete() const {
    if (audio_.end != AudioIntake::End::kComplete) return false;
    if (finished_ && finished_->reason != "eof") return false;
    if (!report_.program) return true;
    const bool endedByItself =
        report_.program->reason == "maximum" || report_.program->reason == "outro";
    return endedByItself && audio_.writer.framesQueued >= *ProgramFrames();
}

// An interruption outweighs what it led to, but not a program that was complete before.
void Recorder::Decide() {
    if (audio_.end == AudioIntake::End::kOutputFailed) {
        End(ExitCode::kOutputError, audio_.failure);
    }
    if (IsComplete()) End(ExitCode::kComplete, "");
    if (stop_ == Stop::kInterrupted || interrupted_.IsSignalled()) {
        End(ExitCode::kInterrupted, "interrupted");
    }
    if (stop_ == Stop::kNoStart) {
        End(ExitCode::kStartNotFound, "No start recording was heard in time");
    }
    DecideBySession();
}

void Recorder::DecideBySession() {
    if (sourceFailed_ || audio_.end == AudioIntake::End::kSourceFailed) {
        End(ExitCode::kSourceError, "The source failed");
    }
    if (audio_.end == AudioIntake::End::kComplete && !finished_ && !sessionOver_) {
        End(ExitCode::kFailure, "The receiver was lost before it told how the program ended");
    }
    if (audio_.end == AudioIntake::End::kComplete) {
        End(ExitCode::kSourceError, "The source ended before the program did");
    }
    if (finished_ && finished_->reason == "cancelled") {
        End(ExitCode::kInterrupted, "The session was cancelled by somebody else");
    }
    if (finished_ && !report_.startSample) {
        const std::string& message = finished_->message;
        if (message == "Network source Open failed") {
            End(ExitCode::kSourceError,
                "The source cannot be opened: no such host, or no audio stream there");
        }
        if (message == "Start reference not found before source ended or failed") {
            End(ExitCode::kStartNotFound, "The source ended, and no start recording was heard");
        }
    }
    if (finished_ && finished_->message.rfind("Reference ", 0) == 0) {
        const bool isShort = finished_->message == "Reference too short";
        End(ExitCode::kUsage, std::string("A recording to listen for ") +
                                  (isShort ? "is too short to be recognised"
                                           : "cannot be decoded: is it an audio file?"));
    }
    if (finished_ && !finished_->message.empty()) {
        End(ExitCode::kFailure, finished_->message);
    }
    if (failure_.empty()) failure_ = audio_.failure;
    End(ExitCode::kFailure, failure_);
}

// The first decision holds.
void Recorder::End(ExitCode code, std::string message) {
    if (std::exchange(decided_, true)) return;
    report_.exitCode = code;
    report_.message = std::move(message);
}

void Recorder::CloseOutput() {
    report_.finishedAt = UtcNow();
    report_.format = audio_.format;
    report_.frames = audio_.writer.framesWritten;
    if (finished_) report_.finishedReason = finished_->reason;
    if (report_.exitCode == ExitCode::kFailure && !refused_) {
        const std::string log = link_.KeepLog();
        if (!log.empty()) console_.Info("The receiver's log: " + log);
    }
    if (part_ == nullptr) return;
    if (report_.frames == 0) {
        part_->Discard();
        return;
    }
    // A disk that is full has no room for a copy either.
    if (audio_.playable && report_.exitCode != ExitCode::kOutputError) WriteTags();
    if (audio_.playable && part_->Commit()) {
        report_.output = options_.output;
        WriteSidecar();
        return;
    }
    console_.Warning("What was recorded is in " + options_.output + ".part");
    if (!audio_.playable) return;
    report_.exitCode = ExitCode::kOutputError;
    report_.message = part_->FailureText();
}

// The recording is good without them.
void Recorder::WriteTags() {
    constexpr double kPacketSeconds = 0.5;  // more than the longest
    const double seconds = static_cast<double>(report_.frames) / report_.format.sampleRate;
    const bool written =
        part_->ReplaceBy([&](const std::filesystem::path& from, RecordingSink& to) {
            CopyWithTags(from, FormatOf(options_), MakeTags(report_), seconds - kPacketSeconds, to);
        });
    if (written) return;
    console_.Warning("The tags lack where and why the recording ended: " + part_->FailureText());
}

void Recorder::WriteSidecar() {
    const std::string text =
        ToJson(report_).dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    try {
        PartFile file(ToFilesystemPath(options_.output + ".json"), true);
        if (!file.WriteAt(0, text.data(), text.size()) || !file.Commit()) {
            const std::string why = file.FailureText();
            file.Discard();
            throw std::runtime_error(why);
        }
    } catch (const std::exception& e) {
        console_.Warning("Cannot write " + options_.output + ".json: " + e.what());
    }
}

}  // namespace receiver
