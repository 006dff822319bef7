// The contract over the stages of detect/, each on top of a decoder.
#include "audio/ffmpeg_streaming_decoder.h"
#include "contract/audio_file/audio_file_contract.h"
#include "detect/detector_audio_file.h"
#include "detect/receiver_program_audio_file.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

class DetectorSubject final : public AudioFileUnderTest {
public:
    DetectorSubject() { WriteWavFile(Path(), ContractPcm()); }
    CAudioFile& File() override { return file_; }
    std::string Path() override { return folder_.File("audio.wav"); }

private:
    TempFolder folder_;
    // A threshold of 1 lets every word match, so that the callback is busy.
    CDetectorAudioFile file_{std::make_unique<CFFmpegStreamingDecoder>(),
                             {ReferenceFingerprint{0, std::vector<uint32_t>(16)}},
                             [](const DetectorMatch&) {},
                             1.0};
};

// The program view is open from its construction on and is never opened again: here
// opening makes it anew over a decoder at its start. Closed it is a view after Close.
class ProgramOfFile final : public CAudioFile {
public:
    explicit ProgramOfFile(const std::string& path) {
        Open(path);
        Close();
    }
    BOOL Open(const std::string& path) override {
        if (IsOpen()) return view_->Open(path);
        decoder_.Close();
        if (!decoder_.Open(path)) return 0;
        view_ = std::make_unique<CReceiverProgramAudioFile>(decoder_, 0, [] {
            return ReceiverProgramBoundary{UINT64_MAX, 0};
        });
        return 1;
    }
    BOOL Close() override { return view_->Close(); }
    int32_t Read(void* buffer, uint32_t count) override { return view_->Read(buffer, count); }
    // Closed or not, the view tells where it stands; a file that can be opened again does not.
    BOOL Seek(float position) override { return IsOpen() && view_->Seek(position); }
    BOOL GetInfo(AudioFileInfo* info) override { return view_->GetInfo(info); }
    uint32_t GetFormat(const WAVEFORMATEX** format) override { return view_->GetFormat(format); }
    bool IsOpen() const override { return view_ && view_->IsOpen(); }
    uint32_t GetPositionMs() override { return view_->GetPositionMs(); }

private:
    CFFmpegStreamingDecoder decoder_;
    std::unique_ptr<CReceiverProgramAudioFile> view_;
};

class ProgramSubject final : public AudioFileUnderTest {
public:
    ProgramSubject() {
        WriteWavFile(Path(), ContractPcm());
        file_ = std::make_unique<ProgramOfFile>(Path());
    }
    CAudioFile& File() override { return *file_; }
    std::string Path() override { return folder_.File("audio.wav"); }

private:
    TempFolder folder_;
    std::unique_ptr<ProgramOfFile> file_;
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(
    Detect, AudioFileContractTest,
    testing::Values(AudioFileCase{"Detector", [] { return std::make_unique<DetectorSubject>(); }},
                    AudioFileCase{"Program", [] { return std::make_unique<ProgramSubject>(); }}),
    NameOfCase);

}  // namespace receiver
