// Any file or stream that FFmpeg can open, as interleaved integer PCM at a chosen
// rate and width, with the source's channel count. Seeks are exact to the sample:
// directly in PCM inputs, by decoding forward from an earlier point in others.
//
//   Units    Seek takes seconds; rates are Hz; lengths bytes of output PCM.
//   Threads  one at a time.
//   Errors   Open, Read and Seek answer by result; ErrorCode() tells why
//            (kDecoderError...). A failed Open leaves the object closed.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "audio/audio_file.h"

struct AVDictionary;
struct AVFormatContext;

namespace receiver {

inline constexpr uint32_t kDecoderErrorOpen = 256;     // input or its options
inline constexpr uint32_t kDecoderErrorNoAudio = 257;  // no stream info, no audio stream
inline constexpr uint32_t kDecoderErrorCodec = 258;    // no decoder, or bad parameters
inline constexpr uint32_t kDecoderErrorCodecContext = 259;
inline constexpr uint32_t kDecoderErrorCodecOpen = 260;
inline constexpr uint32_t kDecoderErrorResampler = 261;
inline constexpr uint32_t kDecoderErrorOutOfMemory = 262;
inline constexpr uint32_t kDecoderErrorSeek = 263;

class CFFmpegStreamingDecoder : public CAudioFile {
public:
    CFFmpegStreamingDecoder();
    ~CFFmpegStreamingDecoder() override;

    // Before Open.
    void SetOutputSampleRate(uint32_t hz) { outputSampleRate_ = hz; }  // default 44100
    void SetOutputBitsPerSample(int32_t bits) { outputBits_ = bits; }  // 8, 16 (default) or 32
    void SetExactLength(bool exact) { exactLength_ = exact; }  // measure by reading all packets
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

protected:
    // Called by Open with the new context and an empty dictionary, before anything
    // is opened. A negative FFmpeg error code aborts Open. The base restricts it to the file
    // that the path names.
    virtual int ConfigureInput(AVFormatContext* context, AVDictionary** options);
    virtual bool ComputesLength() const { return true; }

    // Lets FFmpeg skip the packets of every stream but the chosen one; after Open.
    void DiscardOtherStreams();
    void SetErrorCode(uint32_t code) { errorCode_ = code; }

private:
    struct Ffmpeg;  // the demuxer, decoder, converter, frame and packet

    bool OpenInput(const std::string& path);
    bool OpenCodec();
    bool OpenConverter();
    bool ComputeLength();
    bool EstimateDuration(double* seconds);
    bool MeasureDuration(double* seconds);
    int NextPacket();
    int NextFrame();
    uint32_t TakePending(uint8_t* buffer, uint32_t count);
    int64_t ConvertFrame(int skip, uint8_t* buffer, uint32_t room);
    bool SeekInput(double seconds, double timeBase);
    void DecodeForwardTo(double target, double start, double timeBase);
    bool SeeksDirectly() const;
    bool Fail(uint32_t code);  // keeps the code, closes, returns false

    std::unique_ptr<Ffmpeg> ffmpeg_;
    WAVEFORMATEX record_;
    std::string path_;
    int32_t streamIndex_ = -1;
    uint32_t outputSampleRate_ = 44100;
    int32_t outputBits_ = 16;
    std::vector<uint8_t> pending_;  // its size is the capacity
    size_t pendingStart_ = 0;       // converted PCM not yet handed out: bytes
    size_t pendingEnd_ = 0;         // pendingStart_..pendingEnd_ of pending_
    uint32_t errorCode_ = 0;
    bool exactLength_ = false;
    uint32_t seekPreRollMs_ = 2000;
    double position_ = -1.0;  // seconds; negative before the first Seek
};

}  // namespace receiver
