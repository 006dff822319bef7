#include "control_connection.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/clock.h"
#include "platform/error_codes.h"
#include "platform/text.h"

namespace receiver {
namespace {

using nlohmann::json;

constexpr size_t kReadBytes = 4096;
// Reading what has already arrived takes no time; the bound is for a peer that lies.
constexpr uint64_t kArrivedBytesMs = 1000;
// The receiver's deepest message has 5 levels. Copying and writing JSON recurse, so that
// a hostile depth would overflow the stack of whoever handles the message.
constexpr size_t kMaxDepth = 64;

bool IsTooDeep(const std::string& body) {
    size_t depth = 0;
    bool inText = false;
    for (size_t i = 0; i < body.size(); ++i) {
        const char c = body[i];
        if (inText) {
            if (c == '\\') ++i;
            if (c == '"') inText = false;
        } else if (c == '"') {
            inText = true;
        } else if (c == '[' || c == '{') {
            if (++depth > kMaxDepth) return true;
        } else if ((c == ']' || c == '}') && depth > 0) {
            --depth;
        }
    }
    return false;
}

Error PipeFailure(uint32_t code, const char* doing) {
    switch (code) {
        case kErrorTimedOut:
            return {ErrorKind::kTimedOut, code, "The receiver did not answer in time"};
        case kErrorCancelled:
            return {ErrorKind::kCancelled, code, "Cancelled"};
        case kErrorInvalidName:
            return {ErrorKind::kInvalidArgument, code, "The URI names no pipe"};
        case kErrorAccessDenied:
            return {ErrorKind::kSystem, code, std::string(doing) + ": access denied"};
        default:
            return {ErrorKind::kDisconnected, code,
                    std::string(doing) + " (error " + std::to_string(code) + ")"};
    }
}

}  // namespace

ControlConnection::ControlConnection(const Cancellation& cancellation)
    : pipe_(cancellation.Shared()) {}

bool ControlConnection::Open(const std::string& uri, uint64_t deadline) {
    Close();
    const uint64_t now = TickMs();
    const uint64_t left = deadline > now ? deadline - now : 0;
    if (!pipe_.Connect(uri, static_cast<uint32_t>(std::min<uint64_t>(left, 0xFFFFFFFE)))) {
        return FailPipe("Cannot connect to the receiver");
    }
    open_ = true;
    MutexLock lock(sendMutex_);
    canSend_ = true;
    return true;
}

void ControlConnection::Close() {
    MutexLock lock(sendMutex_);
    canSend_ = false;
    pipe_.Close();
    frames_.Clear();
    open_ = false;
}

bool ControlConnection::Send(const json& message, uint64_t deadline) {
    Error error = SendBeside(message, deadline);
    if (error.kind == ErrorKind::kNone) return true;
    const bool unsent = error.kind == ErrorKind::kInvalidArgument;
    failure_ = std::move(error);
    // The peer may have taken a part of the frame: nothing can follow it.
    if (!unsent) Close();
    return false;
}

Error ControlConnection::SendBeside(const json& message, uint64_t deadline) {
    std::string body;
    try {
        body = message.dump();
    } catch (const json::exception& e) {
        return {ErrorKind::kInvalidArgument, 0, e.what()};
    }
    if (body.size() > kMaxFrameBodyBytes) {
        return {ErrorKind::kInvalidArgument, 0,
                "The command is longer than " + std::to_string(kMaxFrameBodyBytes) + " bytes"};
    }
    const std::string frame = EncodeFrame(body);
    MutexLock lock(sendMutex_);
    if (!canSend_) {
        return {ErrorKind::kDisconnected, 0, "There is no connection to a receiver"};
    }
    const uint32_t code = pipe_.WriteBeside(frame.data(), frame.size(), deadline);
    if (code == kErrorNone) return {};
    canSend_ = false;
    return PipeFailure(code, "Cannot send to the receiver");
}

std::optional<json> ControlConnection::Receive(uint64_t deadline) {
    if (!open_) {
        Fail(ErrorKind::kDisconnected, "There is no connection to a receiver");
        return {};
    }
    for (;;) {
        std::string body;
        switch (frames_.Next(&body)) {
            case FrameAssembler::Result::kFrame:
                return Parse(body);
            case FrameAssembler::Result::kInvalidLength:
                Close();
                Fail(ErrorKind::kProtocol, "The receiver sent a frame of invalid length");
                return {};
            case FrameAssembler::Result::kIncomplete:
                if (!ReceiveBytes(deadline)) return {};
        }
    }
}

// What has come is kept also when the read fails, so that a time-out loses nothing.
bool ControlConnection::ReceiveBytes(uint64_t deadline) {
    std::array<char, kReadBytes> bytes;
    size_t available = 0;
    size_t got = 0;
    bool ok = pipe_.Peek(&available);
    if (ok && available == 0) {
        ok = pipe_.Read(bytes.data(), 1, deadline, &got);
    } else if (ok) {
        ok = pipe_.Read(bytes.data(), std::min(available, bytes.size()), TickMs() + kArrivedBytesMs,
                        &got);
    }
    if (got > 0) frames_.Append(bytes.data(), got);
    if (ok) return true;
    FailPipe("The connection to the receiver was lost");
    if (failure_.kind != ErrorKind::kTimedOut) Close();
    return false;
}

std::optional<json> ControlConnection::Parse(const std::string& body) {
    try {
        if (IsTooDeep(body)) throw std::runtime_error("nested too deep");
        json message = json::parse(body);
        if (!message.is_object()) throw std::runtime_error("no JSON object");
        if (!message.at("type").is_string()) throw std::runtime_error("\"type\" is no text");
        return message;
    } catch (const std::exception& e) {
        Close();
        Fail(ErrorKind::kProtocol,
             "The receiver sent no valid message: " + ReplaceIllFormedUtf8(e.what()));
        return {};
    }
}

bool ControlConnection::Fail(ErrorKind kind, std::string text, uint32_t code) {
    failure_ = {kind, code, std::move(text)};
    return false;
}

bool ControlConnection::FailPipe(const char* doing) {
    failure_ = PipeFailure(pipe_.LastError(), doing);
    return false;
}

}  // namespace receiver
