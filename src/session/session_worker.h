// The body of a session's worker thread: loads the references, opens the source,
// waits for the start reference, and serves the program over the audio pipe.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "detect/receiver_program_audio_file.h"
#include "detect/reference_loading.h"
#include "pipe/pcm_pipe.h"
#include "session/receiver_session.h"

namespace receiver {

class SessionWorker final {
public:
    explicit SessionWorker(ReceiverSession& session) : session_(session) {}

    // Ends with exactly one FINISHED.
    void Run() noexcept;

private:
    void RunSteps();  // throws std::exception with the text for FINISHED
    void LoadReferences();
    SessionSource MakeNetworkSource(std::vector<ReferenceFingerprint>&& references,
                                    const std::function<void(const DetectorMatch&)>& onMatch) const;
    void BuildChain();
    void OpenSource();
    void AnnounceConnected();
    uint64_t WaitForStart();
    void Position(uint64_t startSample);
    void AnnounceReady(uint64_t startSample);
    void Serve(uint64_t startSample);
    void ReleaseChain();

    ReceiverSession& session_;
    const char* reason_ = "error";
    std::string message_;
    std::vector<ReferenceFingerprint> references_;
    std::shared_ptr<CRubberBufferAudioFile> buffer_;
    std::unique_ptr<CPcmPipe> endpoint_;
    std::unique_ptr<CReceiverProgramAudioFile> programView_;
};

}  // namespace receiver
