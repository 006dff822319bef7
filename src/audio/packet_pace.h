// How many bytes of a stream make a second, where all of its packets are of one size: so that what
// has arrived and is not decoded yet can be told in time. Private to audio/.
//
//   Threads  one at a time.
#pragma once

#include <algorithm>
#include <cstdint>

#include "audio/ffmpeg.h"

namespace receiver {

class PacketPace final {
public:
    // Each packet of the stream, in its order.
    void Look(const AVPacket& packet, const AVRational& timeBase) {
        if (packet.pos < 0 || packet.size <= 0 || packet.duration <= 0) {
            smallest_ = 0;  // of a container, or of no known length
            return;
        }
        smallest_ = bytes_ == 0 ? packet.size : std::min(smallest_, packet.size);
        largest_ = std::max(largest_, packet.size);
        bytes_ += packet.size;
        seconds_ += static_cast<double>(packet.duration) * av_q2d(timeBase);
        end_ = packet.pos + packet.size;
    }

    // The time of what lies between the newest packet's end and this place in the input's bytes; 0
    // where packets differ in size.
    double SecondsUpTo(int64_t place) const {
        // Frames of one bit rate differ by a byte of padding.
        if (smallest_ == 0 || largest_ - smallest_ > 1 || place <= end_) return 0.0;
        return static_cast<double>(place - end_) * seconds_ / static_cast<double>(bytes_);
    }

private:
    int smallest_ = 0, largest_ = 0;  // of the packets, in bytes
    int64_t bytes_ = 0;               // of all packets
    double seconds_ = 0.0;            // of all packets
    int64_t end_ = 0;                 // of the newest packet
};

}  // namespace receiver
