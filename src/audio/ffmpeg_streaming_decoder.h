// Any file or stream that FFmpeg can open, as interleaved integer PCM at a chosen
// rate and width, with the source's channel count unless another is asked for. Seeks are exact to
// the sample: directly in PCM inputs, by decoding forward from an earlier point in others.
//
//   Units    Seek takes seconds; rates are Hz; lengths bytes of output PCM.
//   Threads  one at a time.
//   Errors   Open, Read and Seek answer by result; ErrorCode() tells why
//            (kDecoderError...). A failed Open leaves the object closed.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "audio/audio_file.h"
#include "audio/decoder_errors.h"
#include "audio/source_notes.h"

struct AVDictionary;
struct AVFormatContext;

namespace receiver {

class StreamWatch;

class CFFmpegStreamingDecoder : public CAudioFile {
public:
    CFFmpegStreamingDecoder();
    ~CFFmpegStreamingDecoder() override;

    // Before Open.
    void SetOutputSampleRate(uint32_t hz) { outputSampleRate_ = hz; }    // default 44100; 0: as is
    void SetOutputChannels(uint16_t count) { outputChannels_ = count; }  // 0, the default: as is
    void SetOutputBitsPerSample(int32_t bits) { outputBits_ = bits; }    // 8, 16 (default) or 32
    // Measures the length by reading all packets; default false.
    void SetExactLength(bool exact) { exactLength_ = exact; }
    uint32_t SeekPreRollMs() const { return seekPreRollMs_; }

    BOOL Open(const std::string& path) override;
    BOOL Close() override;
    // Drops the few samples that the resampler holds back at the end of the input.
    int32_t Read(void* buffer, uint32_t count) override;
    BOOL Seek(float seconds) override;  // 1 also when the input ends before the target
    bool IsOpen() const override { return open_ != 0; }
    uint32_t GetPositionMs() override;  // where the last Seek arrived; unknown before one

    virtual void FillSilence(void* buffer);  // one frame; does nothing without a format

    uint32_t ErrorCode() const { return errorCode_; }
    // What the newest frame says of the broadcast's own time, in seconds, at the first frame that
    // Read gave. Nothing of containers whose times begin anew with each connection.
    std::optional<double> TimeOfStart() const { return timeOfStart_; }
    // How much of the stream has arrived beyond what Read gave, as far as that can be told before
    // it is decoded: where all frames are of one size, and none stands in a container.
    double SecondsAhead() const;

protected:
    // Called by Open with the new context and an empty dictionary, before anything
    // is opened. A negative FFmpeg error code aborts Open. The base restricts it to the file
    // that the path names.
    virtual int ConfigureInput(AVFormatContext* context, AVDictionary** options);
    virtual bool ComputesLength() const { return true; }

    // Before Open: tells the notes' damage and titles from within Open and Read, counted from
    // the first frame that Read gives.
    void WatchStream(const SourceNotes& notes) { notes_ = notes; }
    // Lets FFmpeg skip the packets of every stream but the chosen one; after Open.
    void DiscardOtherStreams();
    void SetErrorCode(uint32_t code) { errorCode_ = code; }
    // While open: the input has said from the beginning where it ends.
    bool HasToldLength() const;
    // FFmpeg's code for what ended the input, 0 while nothing has.
    int InputResult() const { return inputResult_; }

private:
    struct Stages;  // the input, its frames, their PCM, and seeking in all three

    bool OpenStages();
    StreamWatch* MakeWatch();
    void FillRecord();
    bool SetLength();
    void NoteTime(uint64_t position);
    bool ConvertFrame(uint8_t* buffer, uint32_t room, uint32_t* bytes);
    bool Fail(uint32_t code);  // keeps the code, closes, returns false

    std::unique_ptr<Stages> stages_;
    WAVEFORMATEX record_;
    SourceNotes notes_;
    std::string path_;
    uint32_t outputSampleRate_ = 44100;
    int32_t outputBits_ = 16;
    uint16_t outputChannels_ = 0;
    int inputResult_ = 0;
    uint32_t errorCode_ = kDecoderErrorNone;
    bool exactLength_ = false;
    uint32_t seekPreRollMs_ = 2000;
    uint64_t bytesDelivered_ = 0;  // by Read, since Open
    double position_ = -1.0;       // seconds; negative before the first Seek
    std::optional<double> timeOfStart_;
};

}  // namespace receiver
