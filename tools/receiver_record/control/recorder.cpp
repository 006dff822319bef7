#include "receiver_record/control/recorder.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "command_line/duration.h"
#include "platform/clock.h"
#include "platform/ids.h"
#include "platform/text.h"
#include "receiver_record/control/attempts.h"
#include "receiver_record/control/cause_texts.h"
#include "receiver_record/control/output_name.h"
#include "receiver_record/control/session_request.h"
#include "receiver_record/output/recording_tags.h"
#include "wire/messages.h"

namespace receiver {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kFinishStep(100);  // how soon an interruption is seen
// A receiver has given up its source after as much silence, and says so.
constexpr uint64_t kMaxAudioSilenceMs = 60000;
constexpr uint64_t kAudioPauseMs = 5000;
constexpr uint64_t kPauseStepMs = 100;  // how soon an interruption is seen
// What the receiver knows of the loss comes at once.
constexpr uint64_t kLossExplainedMs = 1000;
// How long the reader of standard output may take nothing, and after an interruption how long
// it may take in all.
constexpr uint64_t kMaxStandMs = 600000;
constexpr uint64_t kMaxHurriedStandMs = 1000;
constexpr uint64_t kMaxHurryMs = 5000;

// The receiver would refuse without telling which one it misses.
std::string FirstMissingFile(const std::vector<Reference>& references) {
    const auto missing =
        std::find_if(references.begin(), references.end(), [](const Reference& reference) {
            std::error_code ignored;
            return !std::filesystem::is_regular_file(ToFilesystemPath(reference.path), ignored);
        });
    return missing == references.end() ? "" : missing->path;
}

std::string Listed(const std::vector<std::string>& words) {
    std::string list;
    for (const std::string& word : words) list.append(list.empty() ? "" : ", ").append(word);
    return list;
}

bool CanEndByRecording(const RecordOptions& options) {
    return std::any_of(options.references.begin(), options.references.end(),
                       [](const Reference& reference) { return reference.role == Role::kEnd; });
}

}  // namespace

Recorder::Recorder(const RecordOptions& options, const ManualResetEvent& interrupted,
                   RecordConsole& console, RecordMonitor& monitor, ReceiverLink& link, Turn turn)
    : options_(options),
      interrupted_(interrupted),
      console_(console),
      monitor_(monitor),
      link_(link),
      turn_(turn),
      search_(options, interrupted, console) {
    report_.url = search_.PublicAddress();
    facts_.references = options_.references;
    facts_.hasEndReference = CanEndByRecording(options_);
    StartOver();
}

ExitCode Recorder::Run() {
    report_.startedAt = UtcNow();
    monitor_.BeginRecording();
    facts_.missingReference = FirstMissingFile(options_.references);
    if (facts_.missingReference.empty() && PrepareOutput()) {
        Record();
        facts_.interrupted = interrupted_.IsSignalled();
        CloseOutput();
    } else {
        report_ = MakeReport(facts_.session);
    }
    TellMonitor();
    monitor_.EndRecording(report_);
    console_.ShowReport(report_);
    return report_.exitCode;
}

// A name that is known is taken before anything else.
bool Recorder::PrepareOutput() {
    if (!IsNamedAtTheStart(options_)) return OpenOutput(facts_.session);
    facts_.outputRefusal = FolderFault(options_);
    return facts_.outputRefusal.empty();
}

bool Recorder::OpenOutput(const SessionRecord& session) {
    try {
        const NameFacts name{.start = MsBefore(GetLocalTimeNow(), StartLagMs(session)),
                             .id = StartId(session),
                             .title = session.notes.TitleAt(session.startSample.value_or(0)),
                             .number = turn_.number};
        output_ = std::make_unique<RecordingOutput>(WithOutputName(options_, name));
        if (const std::string kept = output_->KeptAside(); !kept.empty()) {
            console_.Info("What an earlier recording left is kept as " + kept);
        }
    } catch (const std::exception& e) {
        facts_.outputRefusal = e.what();
    }
    return output_ != nullptr;
}

void Recorder::Record() {
    console_.ShowStatus(status_.Status());
    startDeadline_ =
        options_.waitMs ? TickMs() + *options_.waitMs : std::numeric_limits<uint64_t>::max();
    Attempts attempts(options_.connection.reconnectMs, TickMs());
    for (bool isTold = false;;) {
        attempts.Begin(TickMs());
        Attempt();
        const bool receiverLost = LostTheReceiver();
        if (!MayGoOn(receiverLost)) break;
        if (receiverLost && intake_ != nullptr) {
            attempts.Restart(TickMs());
            framesAtLoss_ = intake_->GetProgress().framesReceived;
            chain_.Continue(facts_.session, facts_.receiverFailure);
        }
        if (receiverLost || !search_.Next(newest_)) {
            const auto pause = attempts.PauseAfter({.receiverLost = receiverLost,
                                                    .connected = newest_.connected,
                                                    .cause = search_.CauseToJudge(newest_)},
                                                   TickMs());
            if (!pause) break;
            TellOfNextAttempt(receiverLost, !isTold);
            isTold = true;
            if (!Pause(*pause)) break;
        }
        StartOver();
    }
    if (intake_ != nullptr) FinishAudio();
}

// Until the audio has begun, whatever ended the session; afterwards only when its receiver died.
bool Recorder::MayGoOn(bool receiverLost) {
    if (stopping_ || interrupted_.IsSignalled() || facts_.refused) return false;
    if (intake_ == nullptr) return !facts_.session.startSample;
    if (intake_->Ended()) return false;
    return receiverLost || (chain_.IsContinued() && newest_.audioUri.empty());
}

bool Recorder::LostTheReceiver() {
    if (newest_.finished || report_.instanceId.empty() || !link_.CanReplace()) return false;
    return link_.HasGivenUp() || link_.IsGone();
}

void Recorder::TellOfNextAttempt(bool receiverLost, bool isFirst) {
    if (receiverLost) {
        const std::string log = link_.LogFile();
        console_.Warning(facts_.receiverFailure + "; it is started again" +
                         (log.empty() ? "" : " (its log: " + log + ")"));
        return;
    }
    const std::string why = SourceFailureText(*newest_.cause);
    if (isFirst) {
        console_.Info(why + "; it is tried again for up to " +
                      FormatDuration(options_.connection.reconnectMs));
    } else {
        console_.Detail(why);
    }
}

bool Recorder::Pause(uint64_t ms) {
    const uint64_t end = TickMs() + ms;
    for (;;) {
        const uint64_t now = TickMs();
        facts_.untilReached = UntilIsOver();
        facts_.startOverdue = intake_ == nullptr && now >= startDeadline_;
        if (facts_.untilReached || facts_.startOverdue) return false;
        if (now >= end) return true;
        if (interrupted_.Wait(static_cast<uint32_t>(std::min(end - now, kPauseStepMs)))) {
            return false;
        }
        ShowStatus(facts_.session);
        TellMonitor(true);
    }
}

void Recorder::StartOver() {
    report_.sessionId = "record-" + CreateInstanceId();
    newest_ = {};
    facts_.session = chain_.Whole(newest_);
    facts_.receiverFailure.clear();
    isServed_ = false;
    if (intake_ == nullptr) status_ = LiveStatus();
    monitor_.BeginSession(chain_.IsContinued());
}

bool Recorder::UntilIsOver() const {
    return turn_.until && std::time(nullptr) >= *turn_.until;
}

void Recorder::Attempt() {
    const std::optional<Welcome> welcome = link_.Open();
    if (!welcome) {
        facts_.receiverFailure = link_.FailureText();
        report_.instanceId.clear();
        return;
    }
    report_.instanceId = welcome->instanceId;
    console_.Detail("Receiver " + welcome->instanceId);
    if (const std::string log = link_.LogFile(); !log.empty()) {
        console_.Detail("The receiver's log: " + log);
    }
    SessionFollower follower(link_, console_, welcome->instanceId);
    follower.ShowIn(chain_);
    PrepareRequest request = chain_.IsContinued()
                                 ? MakeContinuationRequest(options_, report_.sessionId)
                                 : MakeSessionRequest(options_, report_.sessionId);
    search_.SetAddress(request);
    report_.url = search_.PublicAddress();
    if (follower.Prepare(request)) {
        if (!chain_.IsContinued()) search_.TellOfWaiting();
        if (!follower.Session().missingAdditions.empty()) {
            console_.Warning("This receiver is an older one; it does not know " +
                             Listed(follower.Session().missingAdditions));
        }
        Follow(follower);
    }
    NoteSession(follower);
    facts_.refused = follower.WasRefused();
    facts_.receiverFailure = follower.FailureText();
}

void Recorder::Follow(SessionFollower& follower) {
    ReceiverWatch watch(link_.Client(), TickMs());
    CutSupervision supervision(facts_.hasEndReference);
    while (follower.Step(AudioComes())) {
        NoteSession(follower);
        StartAudio();
        NoteAudio();
        SuperviseCut(supervision, follower, watch);
        if (intake_ != nullptr) intake_->HoldAcknowledgement(!follower.IsConnected());
        StopWhenDue(follower);
        if (!WatchReceiver(follower, watch)) {
            follower.GiveUp("The receiver does not answer");
            break;
        }
        link_.TidyLogs();
        ShowStatus(facts_.session);
        TellMonitor();
    }
    if (follower.IsOverdue()) link_.GiveUp();
}

void Recorder::NoteSession(const SessionFollower& follower) {
    newest_ = follower.Session();
    PlaceSession();
}

void Recorder::PlaceSession() {
    facts_.session = chain_.Whole(newest_);
    if (intake_ == nullptr || !chain_.IsContinued()) return;
    for (const AudioJoint& joint : intake_->TakeJoints()) {
        if (joint.isNewest) chain_.Place(joint.resumption, newest_);
        console_.ShowEvent(chain_.Note(joint.resumption, report_.sessionId));
    }
    const bool isAllThereIs = framesAtLoss_ == 0 && intake_->GetProgress().framesReceived > 0;
    if (isAllThereIs && !chain_.IsPlaced()) chain_.PlaceFirst(newest_);
    facts_.session = chain_.Whole(newest_);
}

bool Recorder::WatchReceiver(SessionFollower& follower, ReceiverWatch& watch) {
    watch.Heard(std::max(follower.LastHeard(), lastAudio_));
    if (!follower.IsConnected() || stopping_) return true;  // has a bound of its own
    // Audio that stands still while it is recorded is the receiver's fault or the station's.
    const bool stands = intake_ != nullptr && TickMs() - lastAudio_ >= kAudioPauseMs;
    const bool isLookedAt = console_.WantsStatus() || monitor_.IsOn() || stands;
    const auto buffer = watch.Ask(follower.Session(), isLookedAt, TickMs());
    if (buffer) status_.SetBuffer(*buffer, TickMs());
    if (buffer) monitor_.NoteBuffer(*buffer);
    return !watch.IsSilent();
}

void Recorder::StartAudio() {
    if (newest_.audioUri.empty() || isServed_ || stopping_ || !facts_.outputRefusal.empty()) return;
    isServed_ = true;
    lastAudio_ = TickMs();
    if (intake_ != nullptr) {
        intake_->Continue(newest_.audioUri);
        return;
    }
    const SessionRecord& session = facts_.session;
    report_.programStartedAt = UtcBefore(StartLagMs(session));
    if (output_ == nullptr && !OpenOutput(session)) return;
    try {
        intake_ = std::make_unique<AudioIntake>(
            AudioIntake::Source{.uri = session.audioUri, .mayContinue = link_.CanReplace()},
            output_->Format(), MakeTags(MakeReport(session)), output_->Sink(),
            PlanCut(options_, session));
    } catch (const std::exception& e) {  // no descriptors, no threads
        facts_.audio.end = AudioEnd::kLost;
        facts_.audio.failure = e.what();
        audioLostSince_ = lastAudio_;
    }
}

void Recorder::NoteAudio() {
    if (intake_ == nullptr) return;
    const AudioProgress progress = intake_->GetProgress();
    if (progress.framesReceived > framesSeen_) lastAudio_ = TickMs();
    framesSeen_ = progress.framesReceived;
    const bool isLost = progress.end == AudioEnd::kLost || (isServed_ && intake_->IsWaiting());
    if (!isLost) audioLostSince_ = 0;
    if (isLost && audioLostSince_ == 0) audioLostSince_ = TickMs();
}

void Recorder::SuperviseCut(CutSupervision& supervision, const SessionFollower& follower,
                            ReceiverWatch& watch) {
    if (intake_ == nullptr) return;
    if (!stopping_ && chain_.IsPlaced()) {
        supervision.Step(facts_.session, follower, watch, *intake_);
    }
    NoteCut();
}

void Recorder::NoteCut() {
    cut_ = intake_->Cut();
    const bool hasBounds = options_.limits.maximumMs || facts_.hasEndReference;
    const std::optional<Program> before = program_;
    program_ = hasBounds ? ProgramOf(cut_) : std::nullopt;
    const bool isNews = program_ && (!before || before->endSample != program_->endSample ||
                                     before->reason != program_->reason);
    // The receiver does not know how long the programme is: it is told for it.
    if (isNews) console_.ShowEvent(ProgramEndOf(report_.sessionId, *program_));
}

bool Recorder::AudioComes() const {
    return intake_ != nullptr && !intake_->Ended() && !intake_->IsWaiting() &&
           TickMs() - lastAudio_ < kMaxAudioSilenceMs + options_.connection.reconnectMs;
}

bool Recorder::AudioIsLost() {
    return audioLostSince_ != 0 && TickMs() - audioLostSince_ >= kLossExplainedMs;
}

void Recorder::StopWhenDue(SessionFollower& follower) {
    if (stopping_) {
        if (intake_ != nullptr && follower.IsOverdue()) intake_->Stop();
        return;
    }
    const bool hasStarted = facts_.session.startSample.has_value();
    const bool cannotWrite =
        !facts_.outputRefusal.empty() ||
        (intake_ != nullptr && intake_->GetProgress().end == AudioEnd::kOutputFailed);
    if (cut_.isComplete || cannotWrite) {
        stopping_ = true;
    } else if (interrupted_.IsSignalled()) {
        stopping_ = true;
        console_.Info(hasStarted ? "Interrupted; keeping what was recorded" : "Interrupted");
    } else if (UntilIsOver()) {
        stopping_ = facts_.untilReached = true;
    } else if (!hasStarted && TickMs() >= startDeadline_) {
        stopping_ = facts_.startOverdue = true;
    } else if (AudioIsLost()) {
        stopping_ = facts_.audioLost = true;
    }
    if (stopping_) follower.Cancel();
}

void Recorder::ShowStatus(const SessionRecord& session) {
    SessionRecord shown = session;
    shown.program = program_;
    status_.SetSession(shown, stopping_);
    if (intake_ != nullptr) status_.SetAudio(intake_->GetProgress(), intake_->TakePeak());
    status_.SetTime(TickMs());
    console_.ShowStatus(status_.Status());
}

void Recorder::TellMonitor(bool isWaiting) {
    if (!monitor_.IsOn()) return;
    RecordMoment moment{.session = facts_.session, .isStopping = stopping_};
    moment.session.program = program_;
    moment.audio = intake_ != nullptr ? intake_->GetProgress() : facts_.audio;
    if (output_ != nullptr) moment.writtenBytes = output_->BytesWritten();
    moment.isWaiting = isWaiting;
    moment.isContinued = chain_.IsContinued();
    monitor_.Note(moment);
}

// What the receiver has sent is still in the pipe, and ends with it.
void Recorder::FinishAudio() {
    if (!facts_.session.finished && (stopping_ || link_.HasGivenUp())) intake_->Stop();
    intake_->HoldAcknowledgement(false);
    while (!intake_->WaitForEnd(kFinishStep)) {
        NoteAudio();
        TellMonitor();
        const bool isUnwanted = interrupted_.IsSignalled() && !facts_.session.finished;
        if (isUnwanted || !AudioComes()) intake_->Stop();
    }
    intake_->WaitForEnd();
    PlaceSession();
    intake_->Tell(facts_.session.matches);
    intake_->FinishCut();
    NoteCut();
    facts_.session.program = program_;
    facts_.isCut = cut_.isComplete;
    facts_.audio = intake_->GetProgress();
    intake_->AskToFinish();
    AwaitOutput();
    intake_->Finish();
    facts_.audio = intake_->GetProgress();
}

// A file takes what it is given. The reader of standard output may be as slow as it likes, but
// not stand still for ever.
void Recorder::AwaitOutput() {
    uint64_t framesWritten = 0;
    uint64_t lastMoved = TickMs();
    uint64_t hurriedSince = 0;
    while (!intake_->WaitForOutput(kFinishStep)) {
        const uint64_t now = TickMs();
        TellMonitor();
        const AudioProgress progress = intake_->GetProgress();
        if (progress.framesWritten != framesWritten) lastMoved = now;
        framesWritten = progress.framesWritten;
        const bool isHurried =
            interrupted_.IsSignalled() || facts_.audio.end == AudioEnd::kOutputFailed;
        if (isHurried && hurriedSince == 0) hurriedSince = lastMoved = now;
        const bool isTooSlow = isHurried && now - hurriedSince >= kMaxHurryMs;
        const bool isStuck = now - lastMoved >= (isHurried ? kMaxHurriedStandMs : kMaxStandMs);
        if ((!isTooSlow && !isStuck) || output_->Sink().CanSeek()) continue;
        facts_.outputAbandoned = true;
        output_->Sink().Stop();
        return;
    }
}

void Recorder::CloseOutput() {
    report_.finishedAt = UtcNow();
    report_.receiverLog = link_.LogFile();
    if (Decide(facts_).logHelps) {
        if (!report_.receiverLog.empty()) {
            console_.Warning("The receiver's log: " + report_.receiverLog);
        }
    }
    if (output_ == nullptr) {
        report_ = MakeReport(facts_.session);
        return;
    }
    const RecordingOutput::Closing closing =
        output_->Close(MakeReport(facts_.session), facts_.audio.playable);
    for (const std::string& warning : closing.warnings) console_.Warning(warning);
    facts_.closingFailure = closing.failure;
    report_.output = closing.file;
    report_ = MakeReport(facts_.session);
}

RecordReport Recorder::MakeReport(const SessionRecord& session) const {
    RecordReport report = report_;
    const Verdict verdict = Decide(facts_);
    report.exitCode = verdict.exitCode;
    report.message = verdict.message;
    report.format = facts_.audio.format;
    report.frames = facts_.audio.framesWritten;
    report.startSample = cut_.begin ? cut_.begin : session.startSample;
    report.heardAt = session.startSample;
    report.program = program_;
    if (cut_.begin) report.startIsExact = cut_.beginIsExact;
    if (program_ && program_->reason == kEndOutro) report.endIsExact = cut_.endIsExact;
    report.matches = session.matches;
    report.untilReached = facts_.untilReached && !IsComplete(facts_);
    report.notes = facts_.session.startSample ? ProgramNotes(facts_) : NotesAtTheStart(session);
    if (session.finished) report.finishedReason = session.finished->reason;
    return report;
}

}  // namespace receiver
