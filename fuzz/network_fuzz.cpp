// The network source, fed by a station on loopback whose body is the input: what opens is PCM
// in whole frames, the same in whatever pieces it is read, and what does not says why.
//
// The first byte says how the rest is served (kKinds). Of a playlist the text ends at the first
// zero byte; what is behind that lies at /segment, /segment.aac and /key, and in the text
// "//station" stands for the station's address.
#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "audio/ffmpeg_network_audio_file.h"
#include "fuzz.h"
#include "testing/http_station.h"
#include "testing/patience.h"

namespace receiver {
namespace {

struct Kind {
    const char* path;
    const char* contentType;
    BodyFraming framing = BodyFraming::kChunked;
    size_t icyMetaInterval = 0;
    bool isPlaylist = false;
};

constexpr Kind kKinds[] = {
    {"/radio", "audio/mpeg"},
    {"/radio", "audio/mpeg", BodyFraming::kContentLength, 97},
    {"/radio.m3u8", "application/vnd.apple.mpegurl", BodyFraming::kContentLength, 0, true},
    {"/radio", "application/vnd.apple.mpegurl", BodyFraming::kUntilClose, 0, true},
    {"/radio.aac", "audio/aac"},
    {"/radio.ogg", "application/ogg"},
    {"/radio.flac", "audio/flac", BodyFraming::kContentLength},
    {"/radio.wav", "audio/wav"},
    {"/radio.ts", "video/mp2t"},
    {"/radio.mp4", "audio/mp4", BodyFraming::kContentLength},
    {"/radio.mkv", "audio/x-matroska"},
    {"/radio", "text/html", BodyFraming::kUntilClose},
    {"/radio", "audio/L16;rate=44100;channels=2"},
};

// A live playlist is waited for, until the time-out; everything else is there at once.
constexpr uint32_t kPlaylistTimeoutMs = 200;
constexpr size_t kMaxPcmBytes = size_t{1} << 20;
constexpr std::string_view kStationMark = "//station";

struct Reception {
    bool opened = false;
    uint32_t errorCode = 0;
    std::vector<uint8_t> pcm;
    int32_t last = 0;  // the result that ended it, or the last piece's size
    bool operator==(const Reception&) const = default;
};

bool IsInPlace(const std::string& text, size_t at) {
    return text.compare(at, kStationMark.size(), kStationMark) == 0;
}

// Nothing but the station may be asked: an input that names another host is left out.
bool NamesOtherHosts(const std::string& text) {
    if (text.find("#EXTM3U") == std::string::npos) return false;
    for (size_t at = text.find("//"); at != std::string::npos; at = text.find("//", at + 1)) {
        const size_t end = at + kStationMark.size();
        if (!IsInPlace(text, at)) return true;
        if (end < text.size() && text[end] != '/') return true;
    }
    return false;
}

std::string WithAddress(std::string text, const HttpStation& station) {
    const std::string address = station.Url("").substr(std::string_view("http:").size());
    for (size_t at; (at = text.find(kStationMark)) != std::string::npos;) {
        text.replace(at, kStationMark.size(), address);
    }
    return text;
}

void ServeAll(const Kind& kind, const std::string& input, HttpStation& station) {
    StationRoute route;
    route.contentType = kind.contentType;
    route.framing = kind.framing;
    route.icyMetaInterval = kind.icyMetaInterval;
    if (!kind.isPlaylist) {
        route.body = input;
        station.Serve(kind.path, route);
        return;
    }
    const size_t end = std::min(input.find('\0'), input.size());
    route.body = WithAddress(input.substr(0, end), station);
    station.Serve(kind.path, route);
    route.contentType = "application/octet-stream";
    route.body = input.substr(std::min(end + 1, input.size()));
    for (const char* path : {"/segment", "/segment.aac", "/key"}) station.Serve(path, route);
}

// `pieceBytes` are asked for in turn.
Reception Receive(const std::string& url, uint32_t timeoutMs,
                  const std::vector<uint32_t>& pieceBytes) {
    Reception reception;
    CFFmpegNetworkAudioFile file(nullptr, timeoutMs);
    reception.opened = file.Open(url) != 0;
    reception.errorCode = file.ErrorCode();
    Expect(file.IsOpen() == reception.opened);
    if (!reception.opened) {
        Expect(reception.errorCode >= kDecoderErrorOpen &&
               reception.errorCode <= kDecoderErrorSeek);
        Expect(!file.GetErrorText().empty() && file.GetErrorText() != "Cancelled");
        return reception;
    }
    const WAVEFORMATEX* format = FormatOf16BitPcm(file);
    Expect(format != nullptr);
    Expect(format->nSamplesPerSec == 44100 && format->nChannels > 0);
    Expect(format->nBlockAlign == 2 * format->nChannels);
    AudioFileInfo info{1, 1, 0, 0, 1};
    Expect(file.GetInfo(&info) == 1 && info.lengthBytes == 0);
    std::vector<uint8_t> piece(*std::max_element(pieceBytes.begin(), pieceBytes.end()));
    for (size_t turn = 0; reception.pcm.size() < kMaxPcmBytes; ++turn) {
        const uint32_t wanted = pieceBytes[turn % pieceBytes.size()];
        reception.last = file.Read(piece.data(), wanted);
        if (reception.last <= 0) break;
        Expect(static_cast<uint32_t>(reception.last) <= wanted);
        reception.pcm.insert(reception.pcm.end(), piece.begin(), piece.begin() + reception.last);
    }
    if (reception.last <= 0) Expect(reception.pcm.size() % format->nBlockAlign == 0);
    return reception;
}

void ExpectTheSame(Reception& whole, Reception& inPieces) {
    Expect(whole.opened == inPieces.opened && whole.errorCode == inPieces.errorCode);
    const bool bothEnded = whole.last <= 0 && inPieces.last <= 0;
    if (!bothEnded) {
        whole.pcm.resize(std::min(whole.pcm.size(), kMaxPcmBytes));
        inPieces.pcm.resize(std::min(inPieces.pcm.size(), kMaxPcmBytes));
    }
    Expect(whole.pcm == inPieces.pcm);
    Expect((whole.last <= 0) == (inPieces.last <= 0));
    if (bothEnded) Expect(whole.last == inPieces.last);
}

}  // namespace
}  // namespace receiver

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace receiver;
    if (size == 0) return 0;
    const Kind& kind = kKinds[data[0] % std::size(kKinds)];
    const std::string input(reinterpret_cast<const char*>(data) + 1, size - 1);
    if (NamesOtherHosts(input)) return 0;
    HttpStation station;
    ServeAll(kind, input, station);
    const bool mayWait = input.find("#EXTM3U") != std::string::npos;
    const uint32_t timeoutMs = mayWait ? kPlaylistTimeoutMs : kPatienceMs;
    Reception whole = Receive(station.Url(kind.path), timeoutMs, {65536});
    Expect(station.RequestCount() >= 1);
    if (mayWait) return 0;  // where a time-out falls depends on the machine
    Expect(station.RequestCount() == 1);
    Reception inPieces = Receive(station.Url(kind.path), timeoutMs, {1, 7, 4096, 3, 20001});
    ExpectTheSame(whole, inPieces);
    return 0;
}
