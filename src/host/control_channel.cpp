#include "host/control_channel.h"

#include <algorithm>
#include <array>
#include <utility>

#include "host/log_record.h"
#include "platform/clock.h"
#include "platform/error_codes.h"
#include "platform/ids.h"
#include "platform/text.h"
#include "wire/messages.h"
#include "wire/rejections.h"

namespace receiver {

using nlohmann::json;

namespace {

constexpr size_t kReadBytes = 4096;
constexpr uint64_t kIoTimeoutMs = 200;
constexpr uint32_t kRefusedWaitMs = 10;

}  // namespace

ControlChannel::ControlChannel(std::string uri, CPcmPipe& pipe, CLog& log)
    : uri_(std::move(uri)), pipe_(pipe), log_(log) {}

void ControlChannel::Listen() {
    pipe_.Close();
    connected_ = false;
    helloReceived_ = false;
    received_.Clear();
    if (pipe_.Listen(uri_) || stopExpected_ || pipe_.Cancellation().IsCancelled()) return;
    throw ControlListenError();
}

void ControlChannel::AcceptClient(uint32_t timeoutMs) {
    if (pipe_.Accept(timeoutMs)) {
        connected_ = true;
        helloReceived_ = false;
        received_.Clear();
        LogMessage({{"type", "CONTROL_CONNECTED"}});
    } else if (pipe_.LastError() != kErrorTimedOut && pipe_.LastError() != kErrorCancelled) {
        Listen();
    }
}

void ControlChannel::WaitForNews(const WakeUpEvent& other, uint64_t timeoutMs) {
    const uint64_t now = TickMs();
    const uint64_t deadline = timeoutMs > UINT64_MAX - now ? UINT64_MAX : now + timeoutMs;
    if (pipe_.WaitForNews(other, deadline) || pipe_.LastError() == kErrorTimedOut) return;
    // A system that is out of means refuses the wait itself: `other` alone will do for now.
    if (pipe_.LastError() != kErrorCancelled) other.Wait(kRefusedWaitMs);
}

void ControlChannel::ReadMessages(const std::function<bool(const json&)>& handle) {
    size_t available = 0;
    if (!pipe_.Peek(&available)) return Disconnect();
    if (available == 0) return;
    std::array<char, kReadBytes> chunk;
    const size_t count = std::min(available, chunk.size());
    if (!pipe_.Read(chunk.data(), count, TickMs() + kIoTimeoutMs)) return Disconnect();
    received_.Append(chunk.data(), count);

    std::string body;
    while (connected_) {
        switch (received_.Next(&body)) {
            case FrameAssembler::Result::kIncomplete:
                return;
            case FrameAssembler::Result::kInvalidLength:
                Reject("", kRejectedFrameLength);
                if (connected_) Disconnect();  // a reply that failed has done so already
                return;
            case FrameAssembler::Result::kFrame:
                if (!HandleBody(body, handle)) return;
        }
    }
}

bool ControlChannel::HandleBody(const std::string& body,
                                const std::function<bool(const json&)>& handle) {
    try {
        const json message = json::parse(body);
        return handle(message);
    } catch (const ControlListenError&) {
        throw;
    } catch (const std::exception& error) {
        // The parser quotes what it could not read, which need not be text.
        Reject("", ReplaceIllFormedUtf8(error.what()));
        return true;
    }
}

bool ControlChannel::Send(json message) {
    message["version"] = kProtocolVersion;
    LogMessage(message);
    if (!connected_) return false;
    // All strings are sound when they come here; should one not be, an answer with
    // U+FFFD in it is better than the end of the process.
    const std::string body = message.dump(-1, ' ', false, json::error_handler_t::replace);
    if (body.size() > kMaxFrameBodyBytes) {
        Disconnect();
        return false;
    }
    const std::string frame = EncodeFrame(body);
    if (!pipe_.Write(frame.data(), frame.size(), TickMs() + kIoTimeoutMs)) {
        Disconnect();
        return false;
    }
    return true;
}

void ControlChannel::Reject(const std::string& requestId, const std::string& text) {
    Send({{"type", kReplyRejected}, {"requestId", requestId}, {"message", text}});
}

void ControlChannel::LogMessage(json message) {
    message["tickMs"] = TickMs();
    message["processId"] = CurrentProcessId();
    log_.Write(LogLevelOf(message), FormatLogRecord(message));
}

void ControlChannel::Disconnect() {
    LogMessage({{"type", "CONTROL_DISCONNECTED"}});
    Listen();
}

}  // namespace receiver
