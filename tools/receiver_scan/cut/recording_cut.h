// Stretches of a recording as files of their own: every sample as the recording has it, at its
// own rate, channels and width.
//
//   Units    samples are frames at the recording's own rate.
//   Threads  one at a time.
//   Errors   CutError with a text for people, and Interrupted once a stop was asked for; a file
//            that was begun is gone.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "audio/ffmpeg_streaming_decoder.h"
#include "receiver_scan/source/interruption.h"

namespace receiver {

class CutError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};
class CutSourceError : public CutError {
public:
    using CutError::CutError;
};

// One reading of a recording from its beginning: that alone finds the same sample in every
// format. Throws CutSourceError.
class RecordingReader final {
public:
    explicit RecordingReader(const std::string& path, StopRequested stop = {});

    uint32_t SampleRate() const { return format_->nSamplesPerSec; }
    uint16_t Channels() const { return format_->nChannels; }
    int Bits() const { return bits_; }  // 16, 24 or 32
    size_t FrameBytes() const { return format_->nBlockAlign; }
    uint64_t Position() const { return position_; }

    // At most `frames` of the next ones, 16-bit PCM or, where Bits says more, 32-bit PCM. None
    // at the end.
    size_t Read(std::vector<std::byte>& pcm, size_t frames);
    void SkipTo(uint64_t position);  // or to the end

private:
    const StopRequested stop_;
    CFFmpegStreamingDecoder decoder_;
    const WAVEFORMATEX* format_ = nullptr;
    int bits_ = 16;
    uint64_t position_ = 0;
    std::vector<std::byte> skipped_;
};

struct Cut {
    uint64_t from = 0;
    uint64_t to = 0;     // the first sample that is no longer in it
    std::string output;  // .wav or .flac
};

struct CutResult {
    uint64_t from = 0;
    uint64_t to = 0;  // earlier than asked for where the recording ends
    uint32_t sampleRate = 0;
    uint16_t channels = 0;
    int bits = 16;
};

// Writes all of them in one reading; they may overlap. Without `overwrite` no file may exist.
// In the order of `cuts`.
std::vector<CutResult> WriteCuts(const std::string& source, const std::vector<Cut>& cuts,
                                 bool overwrite, const StopRequested& stop = {});
inline CutResult WriteCut(const std::string& source, const Cut& cut, bool overwrite,
                          const StopRequested& stop = {}) {
    return WriteCuts(source, {cut}, overwrite, stop).front();
}

// Moves both ends to the quietest sample nearby: where a cut is heard least. An end beyond the
// recording is its end. Reads the recording once.
inline constexpr uint32_t kSnapMs = 100;
Cut SnapToQuiet(const std::string& source, const Cut& cut, const StopRequested& stop = {});

}  // namespace receiver
