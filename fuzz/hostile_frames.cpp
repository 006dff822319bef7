#include "fuzz/hostile_frames.h"

#include <utility>

#include "testing/raw_control_client.h"
#include "wire/control_frame.h"
#include "wire/messages.h"
#include "wire/rejections.h"

namespace receiver {
namespace {

constexpr size_t kMaxGarbageBytes = 24;
constexpr size_t kMaxNested = 60;

HostileFrame RefusedBody(std::string_view body, const std::string& message = {}) {
    return {RawControlClient::Frame(body), kReplyRejected, "", message};
}

}  // namespace

HostileFrame HostileFrames::Next() {
    switch (random_.Below(16)) {
        case 0:
        case 1:
            return Garbage();
        case 2:
            return RefusedBody("[]", kRejectedNoObject);
        case 3:
            return RefusedBody("1e999");  // beyond what a number can be
        case 4:
            return RefusedBody("{\"type\":\"HELLO\",\"requestId\":\"r1\",\"vers");
        case 5:
            return RefusedBody("{\"a\":\"\xC3\x28\"}");  // no UTF-8
        case 6:
            return Nested(1 + random_.Below(kMaxNested), random_.Below(2) == 0);
        case 7:
            return Hello();
        case 8:
            return Refused("\"type\":\"NOTHING\",\"version\":1", kRejectedUnknownCommand);
        case 9:
            return Refused("\"type\":\"HELLO\",\"version\":2", kRejectedVersion);
        case 10:
            return Refused("\"version\":1");  // no type
        case 11:
            return Refused("\"type\":\"CANCEL\",\"version\":1,\"sessionId\":\"other\"",
                           kRejectedUnknownSession);
        case 12:
            return Refused("\"type\":\"CANCEL\",\"version\":1,\"sessionId\":[{}]");
        case 13:
            return Refused("\"type\":\"PREPARE\",\"version\":1,\"sessionId\":\"../s\"");
        case 14:
            return {RawControlClient::Frame("{\"requestId\":\"" + takenId_ +
                                            "\",\"type\":\"SHUTDOWN\",\"version\":1}"),
                    kReplyRejected, takenId_, kRejectedRequestIdReused};
        default:
            return RefusedBody(R"({"requestId":7,"type":"SHUTDOWN","version":1})");
    }
}

HostileFrame HostileFrames::NextLarge() {
    return Nested(kMaxFrameBodyBytes / 2, random_.Below(2) == 0);
}

HostileFrame HostileFrames::Hello() {
    const std::string id = NextId();
    return {RawControlClient::Frame(R"({"type":"HELLO","version":1,"requestId":")" + id + "\"}"),
            kReplyWelcome, id};
}

HostileFrame HostileFrames::BeforeHello() {
    return Refused("\"type\":\"SHUTDOWN\",\"version\":1", kRejectedNoHello);
}

HostileFrame HostileFrames::WrongLength() {
    constexpr uint32_t kLengths[] = {0, kMaxFrameBodyBytes + 1, 0x7FFFFFFF, 0xFFFFFFFF};
    const uint32_t length = kLengths[random_.Below(std::size(kLengths))];
    return {RawControlClient::LengthField(length) + "{}", kReplyRejected, "", kRejectedFrameLength};
}

std::string HostileFrames::CutFrame() {
    const std::string frame = Hello().bytes;
    return frame.substr(0, 1 + random_.Below(frame.size() - 1));
}

// A quote alone is no JSON, whatever follows it but another quote.
HostileFrame HostileFrames::Garbage() {
    std::string body = "\"";
    for (size_t bytes = random_.Below(kMaxGarbageBytes); bytes > 0; --bytes) {
        const auto byte = static_cast<char>(random_.Below(256));
        body += byte == '"' ? 'q' : byte;
    }
    return RefusedBody(body);
}

HostileFrame HostileFrames::Nested(size_t depth, bool closed) {
    std::string body(depth, '[');
    if (!closed) return RefusedBody(body);
    return RefusedBody(body.append(depth, ']'), kRejectedNoObject);
}

HostileFrame HostileFrames::Refused(const std::string& fields, const std::string& message) {
    const std::string id = NextId();
    return {RawControlClient::Frame("{\"requestId\":\"" + id + "\"," + fields + "}"),
            kReplyRejected, id, message};
}

}  // namespace receiver
