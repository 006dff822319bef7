// What receiver-record says of itself to those who watch over many recordings. Plain data; the
// counters are those of the whole run, which with --repeat is of many recordings.
//
//   Units  seconds, bytes, ratios of 0..1; times are seconds of the Unix clock.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "receiver_client/messages.h"
#include "receiver_record/exit_code.h"

namespace receiver {

enum class RecorderState {
    kStarting,    // its receiver
    kConnecting,  // to the station
    kScanning,    // for the start
    kRecording,
    kDraining,  // the source is lost, and what came before is served
    kStopping,
    kFinishing,  // what came is written
    kWaiting,    // before it tries again, or for the next programme
    kEnded,
};
inline constexpr std::array kAllRecorderStates{
    RecorderState::kStarting,  RecorderState::kConnecting, RecorderState::kScanning,
    RecorderState::kRecording, RecorderState::kDraining,   RecorderState::kStopping,
    RecorderState::kFinishing, RecorderState::kWaiting,    RecorderState::kEnded};
// "starting", "connecting", ...
const char* RecorderStateName(RecorderState state);

// Of one recording that is listened for.
struct ReferenceMetrics {
    struct Heard {
        double ber = 0;
        double time = 0;  // when it was told
    };
    std::string id;
    Role role = Role::kOther;
    uint64_t matches = 0;
    std::optional<Heard> last;
};

struct RecordMetrics {
    struct LastRecording {
        ExitCode exitCode = ExitCode::kFailure;
        std::string endReason;
        double seconds = 0;
        double endTime = 0;
    };

    std::string id;      // empty: none was given
    std::string stream;  // its host
    double startTime = 0;
    RecorderState state = RecorderState::kStarting;
    std::optional<double> bufferSeconds;   // as the receiver has last told
    std::optional<double> programSeconds;  // how much of the programme has come
    std::optional<double> programLength;   // once its end is known
    double streamSeconds = 0;
    double writtenSeconds = 0;
    uint64_t writtenBytes = 0;
    uint64_t reconnections = 0;
    double outageSeconds = 0;
    uint64_t gaps = 0;
    double lostSeconds = 0;
    uint64_t damages = 0;
    std::vector<ReferenceMetrics> references;
    std::map<std::string, uint64_t> recordings;  // that have ended, by OutcomeName
    std::optional<LastRecording> lastRecording;
    std::optional<double> lastCompleteTime;
    std::optional<ExitCode> exitCode;  // once the program ends
};

}  // namespace receiver
