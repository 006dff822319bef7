// The contract over the classes of audio/.
#include "audio/ffmpeg_network_audio_file.h"
#include "audio/ffmpeg_streaming_decoder.h"
#include "audio/reconnecting_audio_file.h"
#include "audio/rubber_buffer_audio_file.h"
#include "contract/audio_file/audio_file_contract.h"
#include "testing/audio_encoder.h"
#include "testing/http_station.h"
#include "testing/scripted_audio_file.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

class DecoderSubject final : public AudioFileUnderTest {
public:
    explicit DecoderSubject(AudioCoding coding) {
        WriteFileBytes(Path(), EncodeAudio(ContractPcm(), coding));
    }
    CAudioFile& File() override { return file_; }
    std::string Path() override { return folder_.File("audio"); }

private:
    TempFolder folder_;
    CFFmpegStreamingDecoder file_;
};

class NetworkSubject final : public AudioFileUnderTest {
public:
    NetworkSubject() {
        StationRoute route;
        route.contentType = MimeTypeOf(AudioCoding::kFlac);
        route.body = EncodeAudio(ContractPcm(), AudioCoding::kFlac);
        station_.Serve("/audio", route);
    }
    CAudioFile& File() override { return file_; }
    std::string Path() override { return station_.Url("/audio"); }

private:
    HttpStation station_;
    CFFmpegNetworkAudioFile file_{nullptr, kTestDeadlineMs};
};

class BufferSubject final : public AudioFileUnderTest {
public:
    BufferSubject() {
        auto source = std::make_unique<ScriptedAudioFile>(ContractPcm());
        ScriptedAudioFile* scripted = source.get();
        file_ = std::make_unique<CRubberBufferAudioFile>(
            std::move(source), [scripted] { scripted->Stop(); }, 4096, kTestDeadlineMs);
    }
    CAudioFile& File() override { return *file_; }
    std::string Path() override { return "scripted"; }
    bool Reopens() const override { return false; }

private:
    std::unique_ptr<CRubberBufferAudioFile> file_;
};

class ReconnectingSubject final : public AudioFileUnderTest {
public:
    CAudioFile& File() override { return file_; }
    std::string Path() override { return "scripted"; }

private:
    ReconnectingAudioFile file_{
        [](const ConnectionFormat&) {
            return SourceConnection{std::make_unique<ScriptedAudioFile>(ContractPcm()), nullptr};
        },
        std::make_shared<CFFmpegNetworkCancellation>(), ReconnectLimits{}, nullptr};
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(
    Audio, AudioFileContractTest,
    testing::Values(
        AudioFileCase{"DecoderOfWav",
                      [] { return std::make_unique<DecoderSubject>(AudioCoding::kWav); }},
        AudioFileCase{"DecoderOfFlac",
                      [] { return std::make_unique<DecoderSubject>(AudioCoding::kFlac); }},
        AudioFileCase{"Network", [] { return std::make_unique<NetworkSubject>(); }},
        AudioFileCase{"Reconnecting", [] { return std::make_unique<ReconnectingSubject>(); }},
        AudioFileCase{"RubberBuffer", [] { return std::make_unique<BufferSubject>(); }}),
    NameOfCase);

}  // namespace receiver
