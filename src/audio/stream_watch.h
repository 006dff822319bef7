// Looks at what passes from the input to the decoder for who wants to be told: titles that
// change, packets that the decoder refuses, time stamps that jump. Private to audio/.
//
//   Units    "position" is the frame of the output that the next decoded frame begins.
//   Threads  one at a time; the notes are told from within the calls.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "audio/ffmpeg.h"
#include "audio/source_notes.h"

namespace receiver {

class StreamWatch final {
public:
    // Of `notes`, the damage and the titles.
    StreamWatch(SourceNotes notes, uint32_t outputRate);

    void SetPosition(uint64_t position) { position_ = position; }

    // The input is open, or has given a packet.
    void LookAtMetadata(AVFormatContext& context, AVStream& stream);
    // A packet of the stream, before the decoder gets it.
    void LookAtPacket(const AVPacket& packet, const AVFormatContext& context,
                      const AVStream& stream);
    // What the decoder answered, for a packet or a frame.
    void LookAtAnswer(int result);

private:
    void LookAtTitle(const AVFormatContext& context, const AVStream& stream);
    void LookAtStation(const AVFormatContext& context);
    bool TellsTime(const AVPacket& packet, const AVFormatContext& context);
    void TellDamage(SourceDamage::Kind kind, uint64_t frames);

    const SourceNotes notes_;
    const uint32_t outputRate_;
    uint64_t position_ = 0;
    bool lookedAtMetadata_ = false;
    std::string title_;
    std::string station_;
    std::optional<int64_t> expectedTime_;   // of the next packet, in the stream's time base
    std::optional<int64_t> expectedPlace_;  // of the next packet, in the input's bytes
    std::optional<int64_t> firstPage_;      // its place in the bytes of Ogg, once there is one
    uint64_t packetFrames_ = 0;             // of the newest packet, in output frames
    // Damage comes in runs of packets: one run is told once.
    std::optional<uint64_t> damagedUntil_;
};

}  // namespace receiver
