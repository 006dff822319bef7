// One recording from the request to the closed file: drives the receiver, follows its
// events, and decides how it all ended.
//
//   Threads  one; the interrupted event may be signalled from anywhere.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/manual_reset_event.h"
#include "receiver_client/messages.h"
#include "record/audio_intake.h"
#include "record/receiver_link.h"
#include "record/record_console.h"
#include "record/record_options.h"
#include "record/record_report.h"
#include "recording/part_file.h"

namespace receiver {

class Recorder final {
public:
    // All outlive the object.
    Recorder(const RecordOptions& options, const ManualResetEvent& interrupted,
             RecordConsole& console);
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    ExitCode Run();  // once

private:
    // Why the recorder itself asked the session to stop.
    enum class Stop { kNone, kInterrupted, kNoStart, kOutput };

    void Record();
    bool FindReferences();
    bool OpenOutput();
    bool Prepare();
    void Follow();  // until the session has ended
    bool Step();    // false at the session's end
    void Handle(const receiver::Event& event);
    bool Recover();  // after a lost connection; false when the session is over
    void StopSession(Stop why);
    void CheckStops();
    void UpdateStatus();
    void PollReceiver();

    bool IsComplete() const;
    std::optional<uint64_t> ProgramFrames() const;  // when the program has bounds
    void FinishAudio();
    void Decide();
    void DecideBySession();
    void End(ExitCode code, std::string message);
    void CloseOutput();
    void WriteTags();
    void WriteSidecar();

    const RecordOptions& options_;
    const ManualResetEvent& interrupted_;
    RecordConsole& console_;
    ReceiverLink link_;

    std::unique_ptr<RecordingSink> sink_;  // outlives the intake
    PartFile* part_ = nullptr;             // the sink, when it is a file
    std::unique_ptr<AudioIntake> intake_;
    AudioIntake::Progress audio_;  // at the end

    RecordReport report_;
    RecordStatus status_;
    std::optional<receiver::SessionSnapshot> finished_;
    bool sessionOver_ = false;  // so the receiver says, though FINISHED has not come
    bool sourceFailed_ = false;
    std::string failure_;   // of the receiver or the connection to it
    bool refused_ = false;  // the receiver is well, but not willing
    Stop stop_ = Stop::kNone;
    uint64_t waitDeadline_ = 0;  // for the start; TickMs
    uint64_t stopDeadline_ = 0;  // for the FINISHED of a stopped session
    uint64_t lostSince_ = 0;     // the connection; 0 while there is one
    uint64_t nextPoll_ = 0;
    bool decided_ = false;
};

}  // namespace receiver
