#include "audio/source_failure.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "audio/ffmpeg.h"
#include "platform/text.h"

namespace receiver {
namespace {

using Kind = SourceFailure::Kind;

constexpr size_t kMaxTextBytes = 300;

const char* ReasonPhrase(int status) {
    static constexpr std::pair<int, const char*> kPhrases[] = {
        {400, "Bad Request"},
        {401, "Unauthorized"},
        {402, "Payment Required"},
        {403, "Forbidden"},
        {404, "Not Found"},
        {405, "Method Not Allowed"},
        {406, "Not Acceptable"},
        {407, "Proxy Authentication Required"},
        {408, "Request Timeout"},
        {410, "Gone"},
        {416, "Range Not Satisfiable"},
        {429, "Too Many Requests"},
        {451, "Unavailable For Legal Reasons"},
        {500, "Internal Server Error"},
        {502, "Bad Gateway"},
        {503, "Service Unavailable"},
        {504, "Gateway Timeout"},
    };
    for (const auto& [number, phrase] : kPhrases) {
        if (number == status) return phrase;
    }
    return "";
}

SourceFailure HttpFailure(int status) {
    std::string text = "the server answers " + std::to_string(status);
    if (const std::string phrase = ReasonPhrase(status); !phrase.empty()) text += " " + phrase;
    return {.kind = Kind::kHttp, .httpStatus = status, .text = std::move(text)};
}

// The TLS library's own line, whatever is in it.
std::string OneLine(std::string_view text) {
    std::string line(text.substr(0, kMaxTextBytes));
    std::replace_if(
        line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; }, ' ');
    const size_t end = line.find_last_not_of(' ');
    line.resize(end == std::string::npos ? 0 : end + 1);
    return ReplaceIllFormedUtf8(line);
}

SourceFailure TlsFailure(const std::string& text) {
    const std::string reason = OneLine(text);
    return {.kind = Kind::kTls,
            .text = reason.empty() ? "no trusted connection can be made"
                                   : "no trusted connection can be made: " + reason};
}

SourceFailure NotAudio() {
    return {.kind = Kind::kNotAudio, .text = "what the server sends is no audio that can be read"};
}

SourceFailure OtherFailure(int averror) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    if (averror < 0) av_strerror(averror, text.data(), text.size());
    const std::string reason = OneLine(text.data());
    return {.text = reason.empty() ? "the source failed" : "the source failed: " + reason};
}

bool IsUnreadable(uint32_t decoderError) {
    return decoderError == kDecoderErrorNoAudio || decoderError == kDecoderErrorCodec ||
           decoderError == kDecoderErrorCodecOpen;
}

}  // namespace

SourceFailure DescribeEnd() {
    return {.kind = Kind::kEnded, .text = "the stream ended"};
}

SourceFailure DescribeFailure(const ConnectionFailure& failure, FailedStep step) {
    if (failure.cancelled) return {.text = "cancelled"};
    if (failure.httpStatus >= 400) return HttpFailure(failure.httpStatus);
    if (!failure.tlsText.empty()) return TlsFailure(failure.tlsText);
    if (failure.lookupFailed) {
        return {.kind = Kind::kNameLookup, .text = "the host's name cannot be looked up"};
    }
    switch (failure.averror) {
        case AVERROR(ECONNREFUSED):
            return {.kind = Kind::kRefused, .text = "the host refuses the connection"};
        case AVERROR(ENETUNREACH):
        case AVERROR(EHOSTUNREACH):
            return {.kind = Kind::kUnreachable, .text = "the host cannot be reached"};
        case AVERROR(ECONNRESET):
        case AVERROR(ECONNABORTED):
        case AVERROR(EPIPE):
            return {.kind = Kind::kReset, .text = "the connection was broken off"};
        case AVERROR(ETIMEDOUT):
            return {.kind = Kind::kTimeout, .text = "nothing came in time"};
        case AVERROR_EOF:
            if (step == FailedStep::kReading) {
                return DescribeEnd();
            }
            break;
        default:
            break;
    }
    if (failure.timedOut) return {.kind = Kind::kTimeout, .text = "nothing came in time"};
    if (step == FailedStep::kReading) {
        return {.kind = Kind::kReset, .text = "the connection was broken off"};
    }
    // The server has answered well, yet its body could not be opened.
    if (IsUnreadable(failure.decoderError) || failure.httpStatus != 0 ||
        failure.averror == AVERROR_INVALIDDATA) {
        return NotAudio();
    }
    return OtherFailure(failure.averror);
}

}  // namespace receiver
