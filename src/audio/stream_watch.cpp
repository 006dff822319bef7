#include "audio/stream_watch.h"

#include <cmath>
#include <utility>

#include "audio/container.h"
#include "platform/text.h"

namespace receiver {
namespace {

constexpr size_t kMaxNameBytes = 1024;
// Below it lies what containers round, above it what is missing: the shortest packets of
// audio last 2.5 ms, the segments of a playlist seconds.
constexpr double kMinJumpSeconds = 0.05;
// Beyond it the clock of the sender was set anew, and says nothing of what is missing.
constexpr double kMaxJumpSeconds = 3600.0;
// Damage that follows within this time belongs to the damage before.
constexpr uint64_t kRunMs = 1000;

const char* ValueOf(const AVDictionary* metadata, const char* key) {
    const AVDictionaryEntry* entry = av_dict_get(metadata, key, nullptr, 0);
    return entry ? entry->value : nullptr;
}

// What a station says of the piece that plays: ICY's title, or a file's tags.
std::string TitleOf(const AVFormatContext& context, const AVStream& stream) {
    if (const char* title = ValueOf(context.metadata, "StreamTitle")) return title;
    for (const AVDictionary* metadata : {stream.metadata, context.metadata}) {
        const char* title = ValueOf(metadata, "title");
        if (!title) continue;
        const char* artist = ValueOf(metadata, "artist");
        return artist ? std::string(artist) + " - " + title : title;
    }
    return {};
}

// As it is told: well-formed, and no longer than that.
std::string Presentable(std::string name) {
    if (name.size() > kMaxNameBytes) name.resize(kMaxNameBytes);
    name = ReplaceIllFormedUtf8(name);
    if (name.size() > kMaxNameBytes) {
        size_t end = kMaxNameBytes;
        while ((static_cast<unsigned char>(name[end]) & 0xC0) == 0x80) --end;
        name.resize(end);
    }
    return name;
}

}  // namespace

StreamWatch::StreamWatch(SourceNotes notes, uint32_t outputRate)
    : notes_(std::move(notes)), outputRate_(outputRate) {}

void StreamWatch::LookAtMetadata(AVFormatContext& context, AVStream& stream) {
    const bool isNews = !lookedAtMetadata_ ||
                        (context.event_flags & AVFMT_EVENT_FLAG_METADATA_UPDATED) != 0 ||
                        (stream.event_flags & AVSTREAM_EVENT_FLAG_METADATA_UPDATED) != 0;
    if (!isNews) return;
    lookedAtMetadata_ = true;
    context.event_flags &= ~AVFMT_EVENT_FLAG_METADATA_UPDATED;
    stream.event_flags &= ~AVSTREAM_EVENT_FLAG_METADATA_UPDATED;
    LookAtStation(context);
    LookAtTitle(context, stream);
}

void StreamWatch::LookAtTitle(const AVFormatContext& context, const AVStream& stream) {
    if (!notes_.onTitle) return;
    const std::string title = Presentable(TitleOf(context, stream));
    if (title == title_) return;
    title_ = title;
    notes_.onTitle({.sample = position_, .title = title});
}

void StreamWatch::LookAtStation(const AVFormatContext& context) {
    if (!notes_.onStation) return;
    const char* given = ValueOf(context.metadata, "icy-name");
    const std::string name = Presentable(given ? given : "");
    if (name.empty() || name == station_) return;
    station_ = name;
    notes_.onStation({.sample = position_, .name = name});
}

void StreamWatch::LookAtPacket(const AVPacket& packet, const AVFormatContext& context,
                               const AVStream& stream) {
    if (!notes_.onDamage) return;
    const double unit = av_q2d(stream.time_base);
    packetFrames_ = packet.duration > 0
                        ? static_cast<uint64_t>(std::llround(static_cast<double>(packet.duration) *
                                                             unit * outputRate_))
                        : 0;
    if (packet.flags & AV_PKT_FLAG_CORRUPT) {
        TellDamage(SourceDamage::Kind::kUndecodable, packetFrames_);
    }
    if (packet.dts != AV_NOPTS_VALUE && TellsTime(packet, context)) {
        if (expectedTime_) {
            const double jump = static_cast<double>(packet.dts - *expectedTime_) * unit;
            if (jump >= kMinJumpSeconds && jump < kMaxJumpSeconds) {
                // A container's ticks are coarser than frames: the nearest count is the true one.
                TellDamage(SourceDamage::Kind::kDiscontinuity,
                           static_cast<uint64_t>(std::llround(jump * outputRate_)));
            }
        }
        expectedTime_ = packet.dts + packet.duration;
    } else {
        expectedTime_.reset();
    }
    if (packet.pos >= 0 && IsBareStream(context)) {
        if (expectedPlace_ && packet.pos > *expectedPlace_) {
            TellDamage(SourceDamage::Kind::kUndecodable, 0);
        }
        expectedPlace_ = packet.pos + packet.size;
    }
}

// A page of Ogg tells the time of its end: amid a broadcast FFmpeg counts the packets of the first
// one from 0, unless the codec lets it count them backwards.
bool StreamWatch::TellsTime(const AVPacket& packet, const AVFormatContext& context) {
    if (!IsOgg(context)) return true;
    if (!firstPage_) firstPage_ = packet.pos;
    return packet.pos != *firstPage_;
}

void StreamWatch::LookAtAnswer(int result) {
    if (!notes_.onDamage || result >= 0) return;
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
    TellDamage(SourceDamage::Kind::kUndecodable, packetFrames_);
}

void StreamWatch::TellDamage(SourceDamage::Kind kind, uint64_t frames) {
    const bool goesOn =
        kind == SourceDamage::Kind::kUndecodable && damagedUntil_ && position_ <= *damagedUntil_;
    damagedUntil_ = position_ + kRunMs * outputRate_ / 1000;
    if (!goesOn) notes_.onDamage({.kind = kind, .sample = position_, .frames = frames});
}

}  // namespace receiver
