// One recording from the request to the closed file: starts what takes part in it, begins anew
// where nothing has been recorded yet, goes on in another session where a receiver died, says when
// the session is to stop, and gathers the facts for the verdict.
//
//   Threads  one; the interrupted event may be signalled from anywhere.
#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>

#include "platform/manual_reset_event.h"
#include "receiver_record/control/cut_supervision.h"
#include "receiver_record/control/receiver_link.h"
#include "receiver_record/control/receiver_watch.h"
#include "receiver_record/control/session_follower.h"
#include "receiver_record/control/source_search.h"
#include "receiver_record/control/verdict.h"
#include "receiver_record/display/live_status.h"
#include "receiver_record/display/record_console.h"
#include "receiver_record/metrics/record_monitor.h"
#include "receiver_record/output/audio_intake.h"
#include "receiver_record/output/recording_output.h"
#include "receiver_record/record_report.h"
#include "receiver_record/request/record_options.h"
#include "receiver_record/session_chain.h"

namespace receiver {

class Recorder final {
public:
    // Where it stands among the recordings of this run.
    struct Turn {
        uint64_t number = 1;
        std::optional<std::time_t> until;  // the time that ends it
    };

    // All outlive the object.
    Recorder(const RecordOptions& options, const ManualResetEvent& interrupted,
             RecordConsole& console, RecordMonitor& monitor, ReceiverLink& link, Turn turn);

    ExitCode Run();  // once

    // After Run.
    const RecordReport& Report() const { return report_; }
    bool HasConnected() const { return facts_.session.connected; }

private:
    bool PrepareOutput();
    bool OpenOutput(const SessionRecord& session);
    void Record();
    void Attempt();
    bool MayGoOn(bool receiverLost);
    bool LostTheReceiver();
    // False when the recording is over meanwhile.
    bool Pause(uint64_t ms);
    void TellOfNextAttempt(bool receiverLost, bool isFirst);
    void StartOver();
    bool UntilIsOver() const;
    void Follow(SessionFollower& follower);
    // False when the receiver does not answer any more.
    bool WatchReceiver(SessionFollower& follower, ReceiverWatch& watch);
    void NoteSession(const SessionFollower& follower);
    void PlaceSession();
    void StartAudio();
    void NoteAudio();
    void SuperviseCut(CutSupervision& supervision, const SessionFollower& follower,
                      ReceiverWatch& watch);
    void NoteCut();
    bool AudioComes() const;  // it has come lately, so that the receiver lives
    bool AudioIsLost();       // and the session has had its time to say why
    void StopWhenDue(SessionFollower& follower);
    void ShowStatus(const SessionRecord& session);
    void TellMonitor(bool isWaiting = false);
    void FinishAudio();
    void AwaitOutput();
    void CloseOutput();
    // The report as far as the facts go.
    RecordReport MakeReport(const SessionRecord& session) const;

    const RecordOptions& options_;
    const ManualResetEvent& interrupted_;
    RecordConsole& console_;
    RecordMonitor& monitor_;
    ReceiverLink& link_;
    const Turn turn_;
    SourceSearch search_;
    std::unique_ptr<RecordingOutput> output_;  // outlives the intake
    std::unique_ptr<AudioIntake> intake_;      // once there is audio

    RecordReport report_;   // what is known of it from the beginning; whole after Run
    RecordingFacts facts_;  // of its session: all of them as one
    SessionChain chain_;
    SessionRecord newest_;       // as its receiver has it
    uint64_t framesAtLoss_ = 0;  // received before its receiver died
    bool isServed_ = false;      // the newest session's audio has been connected to
    CutState cut_;
    std::optional<Program> program_;  // as the cut has it; nothing without bounds
    LiveStatus status_;
    uint64_t startDeadline_ = 0;   // TickMs; valid in Record
    uint64_t lastAudio_ = 0;       // TickMs: when more of it had come
    uint64_t audioLostSince_ = 0;  // TickMs; 0 while it is not lost
    uint64_t framesSeen_ = 0;
    bool stopping_ = false;
};

}  // namespace receiver
